// The infix parser on any text, as a string of a script would hand it over;
// the parse is printed back.
#include "core/infix_parser.h"
#include "core/printer.h"
#include "tests/fuzz/fuzz_support.h"

static void parseInfix(void* context) {
  const std::string* text = static_cast<const std::string*>(context);
  print_cell_line(parseExpr0(text->c_str()));
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  quiet_fuzz_process();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text = input_text(data, size);
  run_until_exit(parseInfix, &text);
  return 0;
}
