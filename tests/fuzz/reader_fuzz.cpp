// The reader on any bytes: as a text (parse), as a plain file and as a
// scrambled file; whatever it reads is printed back.
#include "core/printer.h"
#include "core/reader.h"
#include "tests/fuzz/fuzz_support.h"

struct Input {
  const uint8_t* data;
  size_t size;
};

static void parseText(void* context) {
  const Input* input = static_cast<const Input*>(context);
  print_cell_line(parse(input_text(input->data, input->size).c_str()));
}

static void print(void* context) {
  print_cell_line(static_cast<const Cell*>(context));
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  quiet_fuzz_process();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input = {data, size};
  run_until_exit(parseText, &input);
  for (bool scrambled : {false, true}) {
    const Cell* items = read_file_until_exit(input_file(data, size), scrambled);
    if (items != nullptr) run_until_exit(print, const_cast<Cell*>(items));
  }
  return 0;
}
