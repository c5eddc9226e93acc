#include "fuzz_support.h"

#include <sys/mman.h>
#include <unistd.h>

#include <csetjmp>
#include <cstdlib>
#include <cstring>

#include "core/reader.h"

extern "C" [[noreturn]] void __real_exit(int status);

static jmp_buf* armed = nullptr;

extern "C" [[noreturn]] void __wrap_exit(int status) {
  if (armed != nullptr) {
    jmp_buf* target = armed;
    armed = nullptr;
    fflush(stdout);
    longjmp(*target, 1);
  }
  __real_exit(status);
}

bool run_until_exit(void (*body)(void*), void* context) {
  jmp_buf start;
  if (setjmp(start) != 0) return false;
  armed = &start;
  body(context);
  armed = nullptr;
  return true;
}

void quiet_fuzz_process() {
  if (freopen("/dev/null", "w", stdout) == nullptr) abort();
}

const char* input_file(const uint8_t* data, size_t size) {
  static int fd = -1;
  static char path[64];
  if (fd < 0) {
    fd = memfd_create("input", 0);
    if (fd < 0) abort();
    snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
  }
  if (ftruncate(fd, 0) != 0 || pwrite(fd, data, size, 0) != static_cast<ssize_t>(size)) abort();
  return path;
}

std::string input_text(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  return std::string(text.c_str());
}

struct FileRead {
  const char* path;
  bool scrambled;
  const Cell* items;
};

static void readFile(void* context) {
  FileRead* read = static_cast<FileRead*>(context);
  read->items = read->scrambled ? read_scrambled_source(read->path) : read_source(read->path);
}

const Cell* read_file_until_exit(const char* path, bool scrambled) {
  FileRead read = {path, scrambled, nullptr};
  reader.stream = nullptr;
  if (run_until_exit(readFile, &read)) return read.items;
  if (reader.stream != nullptr) fclose(reader.stream);
  reader.stream = nullptr;
  return nullptr;
}
