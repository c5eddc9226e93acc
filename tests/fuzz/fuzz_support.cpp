#include "fuzz_support.h"

#include <sys/mman.h>
#include <unistd.h>

#include <csetjmp>
#include <ctime>
#include <string>
#include <cstdlib>
#include <cstring>

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

static char compile_dir[] = "/tmp/talvon-fuzz-XXXXXX";

// Left after an abort, with the program that tcc rejected.
static void remove_compile_dir() {
  remove((std::string(compile_dir) + "/tx").c_str());
  rmdir(compile_dir);
}

// The program is copied to a file of its own: tcc runs as another process.
static std::string copy_program(FILE* program) {
  static bool made = false;
  if (!made) {
    if (mkdtemp(compile_dir) == nullptr) abort();
    atexit(remove_compile_dir);
    made = true;
  }
  std::string path = std::string(compile_dir) + "/tx";
  if (fflush(program) != 0) abort();
  long size = ftell(program);
  FILE* copy = fopen(path.c_str(), "w");
  if (copy == nullptr || size < 0) abort();
  std::string text(static_cast<size_t>(size), '\0');
  if (pread(fileno(program), text.data(), text.size(), 0) != size) abort();
  fwrite(text.data(), 1, text.size(), copy);
  if (fclose(copy) != 0) abort();
  return path;
}

void compile_sample(FILE* program) {
  static double next = 0.0;
  double start = seconds_now();
  if (start < next) return;
  std::string source = copy_program(program);
  std::string output = source + ".out";
  ChildExit exit = run_child(tcc_command(TALVON_SOURCE_DIR "/platform/compat", output, source));
  remove(output.c_str());
  // Compiling takes at most about a quarter of the fuzzing time.
  double took = seconds_now() - start;
  next = seconds_now() + (3 * took > COMPILE_INTERVAL_SECONDS ? 3 * took : COMPILE_INTERVAL_SECONDS);
  if (!exit.started) abort();
  if (exit.status != 0) {
    fprintf(stderr, "fuzz: a checked model gave a program that tcc rejects (%s)\n",
            source.c_str());
    abort();
  }
}
