// talvon-scramble IN OUT [NAME]: writes IN scrambled for the base name under
// which talvon will read it (NAME, or OUT's base name). Scrambling is its
// own inverse, so the same command unscrambles.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "tools/run/scramble.h"

static int fail(const char* what, const char* path) {
  fprintf(stderr, "talvon-scramble: %s %s: %s\n", what, path, strerror(errno));
  return 1;
}

int main(int argc, char** argv) {
  if (argc != 3 && argc != 4) {
    fprintf(stderr, "Usage: talvon-scramble IN OUT [NAME]\n");
    return 1;
  }
  const char* in_path = argv[1];
  const char* out_path = argv[2];
  const char* name = argc == 4 ? argv[3] : out_path;
  FILE* in = fopen(in_path, "rb");
  if (in == nullptr) return fail("cannot open", in_path);
  std::string bytes;
  char buffer[65536];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, in)) > 0;) bytes.append(buffer, n);
  if (ferror(in)) return fail("cannot read", in_path);
  fclose(in);
  FILE* out = fopen(out_path, "wb");
  if (out == nullptr) return fail("cannot create", out_path);
  std::string text = scrambled(bytes, name);
  fwrite(text.data(), 1, text.size(), out);
  if (fclose(out) != 0) return fail("cannot write", out_path);
  return 0;
}
