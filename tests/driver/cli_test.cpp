// The talvon executable's command line, run for real.
#include <gtest/gtest.h>

#include "support/process.h"

namespace {

const std::string USAGE =
    "Usage: talvon subcommand arg1 ... argn\n"
    "\n"
    "Only useful invokation from command line:\n"
    "talvon test\n";

Outcome talvon(std::vector<std::string> args, const std::string& input = "") {
  args.insert(args.begin(), TALVON_EXE);
  return run_program(args, input);
}

TEST(CommandLineDeathTest, WrongCommandLinesPrintUsage) {
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"TEST"},
      {"test", "x"},
      {"echo"},
      {"exec", "a", "b"},
      {"exec", "a", "b", "c", "d"},
      {"server", "a", "b", "c", "d", "e", "f"},
  };
  for (const auto& args : cases) {
    Outcome o = talvon(args);
    std::string shown = args.empty() ? "(none)" : args[0] + " +" + std::to_string(args.size() - 1);
    EXPECT_EQ(o.status, 1) << shown;
    EXPECT_EQ(o.out, USAGE) << shown;
    EXPECT_EQ(o.err, "\n") << shown;
  }
}

// echo prints a script as one line: a file, or standard input for "-".
TEST(EchoDeathTest, PrintsTheScriptOrItsFault) {
  TempDir dir;
  write_file(dir.file("a.tal"), "; two\r\n(define (x) 1)\n(define (y) \"a\"\"b\" 0.3 -7)\n");
  write_file(dir.file("bad.tal"), "(define (x)\n  \"open");
  struct Case {
    std::string file, input;
    int status;
    std::string out, err;
  };
  const Case cases[] = {
      {dir.file("a.tal"), "", 0, "((define (x) 1) (define (y) \"a\"b\" 0.300000 -7))\n", ""},
      {"-", "((a) b) (c)", 0, "((a) b)\n", ""},
      {"-", "(a (b c) ())", 0, "((a (b c) ()))\n", ""},
      {"-", "  ; nothing\n", 0, "()\n", ""},
      {"-", "(a (b . c))", 1, "", position("-", 1, 7) + "unexpected character\n"},
      {"-", "(a\tb)", 1, "Character code=9\n", position("-", 1, 3) + "Invalid character\n"},
      {dir.file("bad.tal"), "", 1, "", position(dir.file("bad.tal"), 2, 4) + "end of file in string\n"},
      {"/nonexistent/x.tal", "", 1, "Trying to open /nonexistent/x.tal\n",
       "fopen(source): No such file or directory\n"},
  };
  for (const Case& c : cases) {
    Outcome o = talvon({"echo", c.file}, c.input);
    EXPECT_EQ(o.status, c.status) << c.file << " " << c.input;
    EXPECT_EQ(o.out, c.out) << c.file << " " << c.input;
    EXPECT_EQ(o.err, c.err) << c.file << " " << c.input;
  }
}

}  // namespace
