// talvon-scramble IN OUT [NAME]: writes IN scrambled for the base name under
// which talvon will read it (NAME, or OUT's base name). Scrambling is its
// own inverse, so the same command unscrambles.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/reader.h"
#include "platform/crt_rand.h"

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
  FILE* out = fopen(out_path, "wb");
  if (out == nullptr) return fail("cannot create", out_path);
  crt_srand(scramble_seed(name));
  for (int c = getc(in); c != EOF; c = getc(in)) putc((crt_rand() ^ c) & 255, out);
  if (ferror(in)) return fail("cannot read", in_path);
  fclose(in);
  if (fclose(out) != 0) return fail("cannot write", out_path);
  return 0;
}
