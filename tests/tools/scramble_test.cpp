// talvon-scramble writes files the reader takes back in scrambled mode.
#include <gtest/gtest.h>

#include "core/printer.h"
#include "core/reader.h"
#include "support/process.h"

namespace {

const std::string SCRIPT = "(define (x) \"h\xc3\xa9llo\")\r\n; comment\n(define (y) (+ 1 2.5))\n";

Outcome scramble(const std::vector<std::string>& args) {
  std::vector<std::string> argv = {TALVON_SCRAMBLE_EXE};
  argv.insert(argv.end(), args.begin(), args.end());
  return run_program(argv);
}

TEST(ScrambleTest, ScrambledFileReadsBackUnderItsName) {
  TempDir dir;
  write_file(dir.file("plain"), SCRIPT);
  ASSERT_EQ(scramble({dir.file("plain"), dir.file("model.bin")}).status, 0);

  std::string path = dir.file("model.bin");
  Outcome o = run_fatal([&] { print_cell_line(read_scrambled_source(path.c_str())); });
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.err, "");
  EXPECT_EQ(o.out, "((define (x) \"h\xc3\xa9llo\") (define (y) (+ 1 2.500000)))\n");
}

// Bytes of a file scrambled for the name "a" (byte sum 97) by the C
// runtime's generator, worked out independently of our own.
TEST(ScrambleTest, MatchesTheRuntimeSequence) {
  uint32_t state = 97;
  std::string expected;
  for (char c : std::string("(x)")) {
    state = state * 214013u + 2531011u;
    expected.push_back(static_cast<char>((((state >> 16) & 0x7fff) ^ static_cast<unsigned char>(c)) & 255));
  }
  TempDir dir;
  write_file(dir.file("plain"), "(x)");
  ASSERT_EQ(scramble({dir.file("plain"), dir.file("a")}).status, 0);
  EXPECT_EQ(read_file(dir.file("a")), expected);
  // The NAME argument chooses the seed by its base name; twice is the original.
  ASSERT_EQ(scramble({dir.file("plain"), dir.file("b"), "dir/a"}).status, 0);
  EXPECT_EQ(read_file(dir.file("b")), expected);
  ASSERT_EQ(scramble({dir.file("b"), dir.file("c"), "a"}).status, 0);
  EXPECT_EQ(read_file(dir.file("c")), "(x)");
}

TEST(ScrambleDeathTest, BadArguments) {
  Outcome o = scramble({"only-one"});
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, "Usage: talvon-scramble IN OUT [NAME]\n");
  o = scramble({"/nonexistent/in", "/tmp/out"});
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, "talvon-scramble: cannot open /nonexistent/in: No such file or directory\n");
}

}  // namespace
