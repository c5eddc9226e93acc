// The S-expression reader: positions, numbers, strings, comments, the
// unwrapping of files, standard input, scrambled files and every message.
#include "core/reader.h"

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string>

#include "core/list.h"
#include "core/printer.h"
#include "platform/crt_rand.h"
#include "support/cells.h"
#include "support/fatal_cases.h"
#include "support/process.h"

namespace {

// Cells keep the path they were read under, so it must outlive them.
const Cell* read_file_text(const TempDir& dir, const std::string& name,
                           const std::string& content) {
  std::string path = dir.file(name);
  write_file(path, content);
  return read_source(strdup(path.c_str()));
}

TEST(ReaderTest, CellsCarryLineAndCharacterOfTheirFirstCharacter) {
  const struct {
    const char* text;
    std::initializer_list<int> path;  // list indices from the outside in
    int line;
    int character;
  } cases[] = {
      {"(abc 1)", {}, 1, 2},           // a list takes its first element's place
      {"(abc 1)", {1}, 1, 6},
      {"(a \"xy\")", {1}, 1, 5},       // string: first character after the quote
      {"(a \"\")", {1}, 1, 5},         // empty string: at its closing quote
      {"(a -7)", {1}, 1, 4},           // negative integer: at its sign
      {"(a\r\nbc)", {1}, 2, 1},        // CR LF: the CR is not counted
      {"(a ; c\n b)", {1}, 2, 2},
      {"(a \"x\ny\" b)", {2}, 2, 4},   // a newline inside a string counts
      {"(\xc3\xa9 b)", {1}, 1, 5},     // bytes above 127 are one character each
  };
  for (const auto& c : cases) {
    const Cell* cell = parse(c.text);
    for (int i : c.path) cell = nth(i, cell);
    EXPECT_EQ(cell->line, c.line) << c.text;
    EXPECT_EQ(cell->character, c.character) << c.text;
    EXPECT_STREQ(cell->file, "(from string)");
  }
  // An empty list and a list's end are the reader's own cells.
  const Cell* list = parse("(a ())");
  for (const Cell* nil_cell : {second(list), tail(tail(list))}) {
    EXPECT_STREQ(nil_cell->file, "core/reader.cpp");
    EXPECT_EQ(nil_cell->character, 0);
  }
}

// Integers wrap in 32 bits; a sign or point without a digit after the sign
// makes a symbol; doubled quotes stand for one and nothing else escapes.
TEST(ReaderTest, Atoms) {
  const struct {
    const char* text;
    CellTag tag;
    const char* printed;
  } cases[] = {
      {"007", CellTag::integer, "7"},
      {"+5", CellTag::integer, "5"},
      {"-2147483648", CellTag::integer, "-2147483648"},
      {"2147483648", CellTag::integer, "-2147483648"},
      {"4294967297", CellTag::integer, "1"},
      {"3000000000.5", CellTag::real, "-1294967295.500000"},  // wraps before the fraction
      {"5.", CellTag::real, "5.000000"},
      {"-", CellTag::symbol, "-"},
      {"+.5", CellTag::symbol, "+.5"},
      {"-x", CellTag::symbol, "-x"},
      {"a.b", CellTag::symbol, "a.b"},
      {"x.", CellTag::symbol, "x."},
      {"a\"b", CellTag::symbol, "a\"b"},
      {"\xe9t\xff", CellTag::symbol, "\xe9t\xff"},
      {"a\rb", CellTag::symbol, "ab"},  // a CR is dropped wherever it stands
      {"\"\"\"a\"\"\"", CellTag::string, "\"\"a\"\""},
      {"\"\"", CellTag::string, "\"\""},
      {"\"a\\nb\"", CellTag::string, "\"a\\nb\""},
      {"\"a\r\nb\"", CellTag::string, "\"a\nb\""},
      {"\"(a ; b)\"", CellTag::string, "\"(a ; b)\""},
  };
  for (const auto& c : cases) {
    const Cell* cell = parse(c.text);
    EXPECT_EQ(cell->tag, c.tag) << c.text;
    EXPECT_EQ(printed(cell), c.printed) << c.text;
  }
}

TEST(ReaderTest, RealsTakeTheirFractionFromTheLastDigit) {
  EXPECT_EQ(parse("0.3")->real, 3 * 0.1);  // not the double nearest 0.3
  EXPECT_EQ(parse("0.7")->real, 0.7000000000000001);
  EXPECT_EQ(parse("-0.3")->real, -0.30000000000000004);
  EXPECT_EQ(parse("+1.5")->real, 1.5);
}

TEST(ReaderTest, TokensEndAtParenthesesBlanksAndComments) {
  EXPECT_EQ(printed(parse("  ; heading\n(define (f x)\n  ; body\n  (+ x 1)) ; done")),
            "(define (f x) (+ x 1))");
  EXPECT_EQ(printed(parse("(a(b)c;d\n e)")), "(a (b) c e)");
  // A quote starts a string only where an item starts.
  EXPECT_TRUE(equal(parse("(\"x\"2 a\"b)"), list3(string("x"), integer(2), symbol("a\"b"))));
}

TEST(ReaderTest, LongListsRead) {
  std::string text = "(";
  for (int i = 0; i < 50000; i++) text += std::to_string(i) + " ";
  const Cell* list = parse((text + ")").c_str());
  EXPECT_EQ(nth(49999, list)->whole, 49999);
  TempDir dir;
  std::string file_text;
  for (int i = 0; i < 30000; i++) file_text += "(s)\n";
  EXPECT_EQ(length(read_file_text(dir, "long.tal", file_text)), 30000);
}

// A file's statements may stand alone or inside one outer list.
TEST(ReaderTest, FilesUnwrapTheirFirstItem) {
  TempDir dir;
  const struct {
    const char* content;
    const char* expected;
  } cases[] = {
      {"(define (x) 1) (define (y) 2)", "((define (x) 1) (define (y) 2))"},
      {"((a) b) (c)", "((a) b)"},  // the first item is unwrapped, the rest dropped
      {"(() x)", "((() x))"},      // an empty first element is not a list
      {"a b", "(a b)"},
      {" ; nothing\n", "()"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(printed(read_file_text(dir, "s.tal", c.content)), c.expected) << c.content;
  }
}

// Standard input is read through a child whose descriptor 0 is a file.
TEST(ReaderTest, DashReadsStandardInputThenLeavesItOnDevNull) {
  TempDir dir;
  std::string input = dir.file("input.tal");
  write_file(input, "(a 1)\n(b \"s\")\n");
  Outcome o = run_fatal([&] {
    int fd = open(input.c_str(), O_RDONLY);
    if (fd < 0 || dup2(fd, 0) < 0) _exit(3);
    close(fd);
    const Cell* items = read_source("-");
    print_cell_line(items);
    const Cell* b = first(second(items));
    printf("%s %d %d\n", b->file, b->line, b->character);
    printf("%d\n", getc(stdin));
    char target[256] = {0};
    if (readlink("/proc/self/fd/0", target, sizeof target - 1) < 0) _exit(4);
    printf("%s\n", target);
  });
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.err, "");
  EXPECT_EQ(o.out, "((a 1) (b \"s\"))\n- 2 2\n-1\n/dev/null\n");
}

// The seed is the byte sum of the base name; a backslash does not separate.
TEST(ReaderScrambledTest, SeedIsTheByteSumOfTheBaseName) {
  EXPECT_EQ(scramble_seed("dir/sub/ab"), 97u + 98u);
  EXPECT_EQ(scramble_seed("dir/"), 0u);
  EXPECT_EQ(scramble_seed("a\\b"), 97u + 92u + 98u);
}

// A scrambled file reads back with the positions of its plain text, takes
// one rand value per byte and none after, and leaves plain mode behind.
TEST(ReaderScrambledTest, AFileScrambledUnderItsBaseNameReadsBack) {
  TempDir dir;
  const std::string plain = "; model\r\n(define (x) 0.3)\r\n(define (y) \"q\"\"\")\n";
  std::string path = dir.file("run.bin");
  write_scrambled(path, plain);
  const Cell* items = read_scrambled_source(path.c_str());
  int after = crt_rand();
  crt_srand(scramble_seed("run.bin"));
  for (size_t i = 0; i < plain.size(); i++) crt_rand();
  EXPECT_EQ(after, crt_rand());
  EXPECT_EQ(printed(items), "((define (x) 0.300000) (define (y) \"q\"\"))");
  const Cell* y = second(items);
  EXPECT_EQ(y->line, 3);
  EXPECT_EQ(y->character, 2);
  EXPECT_STREQ(y->file, path.c_str());
  EXPECT_EQ(printed(read_file_text(dir, "plain.tal", "(p q)")), "((p q))");
  // Base names of the same byte sum read the same.
  for (const char* name : {"ad", "bc", "da"}) {  // 97 + 100 = 98 + 99
    write_scrambled(dir.file("ad"), "(policy 1 \"x\")");
    rename(dir.file("ad").c_str(), dir.file(name).c_str());
    std::string renamed = dir.file(name);
    EXPECT_EQ(printed(read_scrambled_source(renamed.c_str())), "((policy 1 \"x\"))") << name;
  }
}

TEST(ReaderDeathTest, EveryMessageAtItsPosition) {
  const struct {
    const char* text;
    int line;
    int character;
    const char* message;
    const char* out;
  } cases[] = {
      {"\t", 1, 1, "Invalid character", "Character code=9\n"},
      {"a ; tab\tin a comment", 1, 8, "Invalid character", "Character code=9\n"},
      {"\"tab\tin a string\"", 1, 5, "Invalid character", "Character code=9\n"},
      {"a\r\n\x01", 2, 1, "Invalid character", "Character code=1\n"},
      {"(a) )", 1, 5, "unexpected left parenthesis", ""},
      {"(a , b)", 1, 4, "unexpected character", ""},
      {"(a .5)", 1, 4, "unexpected character", ""},
      {"x\n  (a (b)", 2, 4, "end of file in list", ""},
      {"(", 1, 1, "end of file in list", ""},     // nothing after it to count
      {"(a\n \"x\"\"", 2, 3, "end of file in string", ""},
      {"1x ", 1, 3, "malformed number", ""},      // the character after the token
      {"-12a\n", 2, 0, "malformed number", ""},
      {"1.2.3 ", 1, 6, "malformed fraction", ""},
      {"1.-", 1, 3, "malformed fraction", ""},    // at the end: the last character
  };
  for (const auto& c : cases) {
    Outcome o = run_fatal([&] { parse(c.text); });
    EXPECT_EQ(o.status, 1) << c.text;
    EXPECT_EQ(o.out, c.out) << c.text;
    EXPECT_EQ(o.err, position("(from string)", c.line, c.character) + c.message + "\n") << c.text;
  }
}

TEST(ReaderDeathTest, ParseFilesAndFailures) {
  TempDir dir;
  std::string bad = dir.file("bad.tal");
  write_file(bad, "(define (x)\r\n\t1)");
  std::string missing = dir.file("missing.tal");
  const std::string no_file = "fopen(source): No such file or directory\n";
  const std::string many = "string parser: more than one expression found\n";
  expect_fatal_cases({
      {"empty", [] { parse(""); }, 1, "", "String parser: no expressions found\n"},
      {"two", [] { parse("\"a\"b"); }, 1, "", many},
      {"no unwrapping", [] { parse("((a) b) (c)"); }, 1, "", many},
      {"file", [&] { read_source(bad.c_str()); }, 1, "Character code=9\n",
       position(bad, 2, 1) + "Invalid character\n"},
      {"missing", [&] { read_source(missing.c_str()); }, 1, "Trying to open " + missing + "\n",
       no_file},
      {"missing scrambled", [&] { read_scrambled_source(missing.c_str()); }, 1,
       "Trying to open " + missing + "\n", no_file},
      {"directory", [&] { read_source(dir.path.c_str()); }, 1, "", "getc(): Is a directory\n"},
  });
}

}  // namespace
