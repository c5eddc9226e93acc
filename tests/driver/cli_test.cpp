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
      {"Test"},
      {"TEST"},
      {"help"},
      {"test", "x"},
      {"echo"},
      {"echo", "a", "b"},
      {"exec", "a", "b"},
      {"exec", "a", "b", "c", "d"},
      {"server", "a", "b", "c", "d"},
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

TEST(EchoTest, PrintsAFileAsOneLine) {
  TempDir dir;
  write_file(dir.file("a.tal"), "; two statements\r\n(define (x) 1)\n(define (y) \"a\"\"b\" 0.3 -7)\n");
  Outcome o = talvon({"echo", dir.file("a.tal")});
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.out, "((define (x) 1) (define (y) \"a\"b\" 0.300000 -7))\n");
  EXPECT_EQ(o.err, "");
}

TEST(EchoTest, UnwrapsOneOuterList) {
  Outcome o = talvon({"echo", "-"}, "((define (x) 1) (define (y) 2))");
  EXPECT_EQ(o.out, "((define (x) 1) (define (y) 2))\n");
  o = talvon({"echo", "-"}, "((a) b) (c)");
  EXPECT_EQ(o.out, "((a) b)\n");
}

TEST(EchoTest, ReadsStandardInput) {
  Outcome o = talvon({"echo", "-"}, "(a (b c) ())");
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.out, "((a (b c) ()))\n");
}

TEST(EchoDeathTest, PointCannotStartAnItem) {
  Outcome o = talvon({"echo", "-"}, "(a (b . c))");
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, position("-", 1, 7) + "unexpected character\n");
}

TEST(EchoTest, EmptyFilePrintsEmptyList) {
  Outcome o = talvon({"echo", "-"}, "  ; nothing\n");
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.out, "()\n");
}

TEST(EchoDeathTest, MissingFile) {
  Outcome o = talvon({"echo", "/nonexistent/x.tal"});
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "Trying to open /nonexistent/x.tal\n");
  EXPECT_EQ(o.err, "fopen(source): No such file or directory\n");
}

TEST(EchoDeathTest, ScriptFaultNamesFileLineAndCharacter) {
  TempDir dir;
  std::string path = dir.file("bad.tal");
  write_file(path, "(define (x)\n  \"open");
  Outcome o = talvon({"echo", path});
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.err, position(path, 2, 4) + "end of file in string\n");
}

TEST(EchoDeathTest, TabIsInvalid) {
  Outcome o = talvon({"echo", "-"}, "(a\tb)");
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "Character code=9\n");
  EXPECT_EQ(o.err, position("-", 1, 3) + "Invalid character\n");
}

TEST(EchoTest, ExampleScriptReads) {
  Outcome o = talvon({"echo", TALVON_SOURCE_DIR "/models/example.tal"});
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.err, "");
  EXPECT_EQ(o.out.substr(0, 18), "((define (retireme");
}

}  // namespace
