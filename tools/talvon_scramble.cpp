// talvon-scramble IN OUT [NAME]: writes IN scrambled for the base name under
// which talvon will read it (NAME, or OUT's base name). Scrambling is its
// own inverse, so the same command unscrambles.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "talvon_version.h"
#include "tools/run/scramble.h"

static int fail(const char* what, const char* path) {
  fprintf(stderr, "talvon-scramble: %s %s: %s\n", what, path, strerror(errno));
  return 1;
}

static const char* const USAGE =
    "Usage: talvon-scramble IN OUT [NAME]\n"
    "\n"
    "Writes IN scrambled as talvon reads its scripts: each byte XOR the next\n"
    "value of the C runtime's generator seeded with the byte sum of NAME (by\n"
    "default OUT's base name). The same command unscrambles. IN may be \"-\"\n"
    "for standard input.\n"
    "\n"
    "  -h, --help   this text\n"
    "  --version    talvon-scramble's version\n";

int main(int argc, char** argv) {
  if (argc == 2 && (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0)) {
    fputs(USAGE, stdout);
    return 0;
  }
  if (argc == 2 && strcmp(argv[1], "--version") == 0) {
    printf("talvon-scramble %s\n", TALVON_VERSION);
    return 0;
  }
  if (argc != 3 && argc != 4) {
    fprintf(stderr, "Usage: talvon-scramble IN OUT [NAME]\n");
    return 1;
  }
  const char* in_path = argv[1];
  const char* out_path = argv[2];
  const char* name = argc == 4 ? argv[3] : out_path;
  FILE* in = strcmp(in_path, "-") == 0 ? stdin : fopen(in_path, "rb");
  if (in == nullptr) return fail("cannot open", in_path);
  std::string bytes;
  char buffer[65536];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, in)) > 0;) bytes.append(buffer, n);
  if (ferror(in)) return fail("cannot read", in_path);
  if (in != stdin) fclose(in);
  FILE* out = fopen(out_path, "wb");
  if (out == nullptr) return fail("cannot create", out_path);
  std::string text = scrambled(bytes, name);
  fwrite(text.data(), 1, text.size(), out);
  if (fclose(out) != 0) return fail("cannot write", out_path);
  return 0;
}
