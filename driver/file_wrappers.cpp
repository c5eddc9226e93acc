#include "driver/file_wrappers.h"

#include <unistd.h>

#include <cstdlib>

#include "driver/diagnostics.h"

FILE* open_file(const char* label, const char* path, const char* mode) {
  FILE* stream = fopen(path, mode);
  if (stream == nullptr) {
    printf("Trying to open %s\n", path);
    pdie_label(label, "fopen()");
  }
  return stream;
}

FILE* reopen_file(const char* label, const char* path, const char* mode, FILE* stream) {
  FILE* reopened = freopen(path, mode, stream);
  if (reopened == nullptr) pdie_label(label, "freopen()");
  return reopened;
}

void close_file(const char* label, FILE* stream) {
  if (fclose(stream) != 0) pdie_label(label, "fclose(talvon side)");
}

// One thread reads a stream at a time, so its lock is not taken per byte.
int read_char(const char* label, FILE* stream) {
  int c = getc_unlocked(stream);
  if (c == EOF && !feof(stream)) pdie_label(label, "getc()");
  return c;
}

void* allocate(const char* label, size_t size) {
  void* block = malloc(size);
  if (block == nullptr) pdie_label(label, "malloc()");
  return block;
}

void close_descriptor(const char* label, int descriptor) {
  if (close(descriptor) != 0) pdie_label(label, "close()");
}
