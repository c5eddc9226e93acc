#include "fuzz_support.h"

#include <sys/mman.h>
#include <unistd.h>

#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "core/reader.h"
#include "expr/eval.h"
#include "platform/child_process.h"
#include "platform/compat_include.h"

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
  resetNesting();  // a jump leaves the calls it abandoned counted
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

static double seconds_now() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + now.tv_nsec * 1e-9;
}

// tcc runs as another process: it reads the program's memory file and
// writes its output into one of its own, by their paths under /proc.
static std::string fd_path(int fd) {
  return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(fd);
}

static std::string program_path(FILE* program) {
  if (fflush(program) != 0) abort();
  long size = ftell(program);
  if (size < 0 || ftruncate(fileno(program), size) != 0) abort();  // no earlier text after it
  return fd_path(fileno(program));
}

void compile_sample(FILE* program) {
  static double next = 0.0;
  double start = seconds_now();
  if (start < next) return;
  static int output = memfd_create("tcc-output", 0);
  if (output < 0) abort();
  std::string source = program_path(program);
  ChildExit exit =
      run_child(tcc_command(TALVON_SOURCE_DIR "/platform/compat", fd_path(output), source));
  // Compiling takes at most about a quarter of the fuzzing time.
  double took = seconds_now() - start;
  next = seconds_now() + (3 * took > COMPILE_INTERVAL_SECONDS ? 3 * took : COMPILE_INTERVAL_SECONDS);
  if (!exit.started) abort();
  if (exit.status != 0) {
    fprintf(stderr, "fuzz: a checked model gave a program that tcc rejects\n");
    abort();
  }
}
