// The S-expression reader: positions, numbers, strings, comments, the
// unwrapping of files, standard input, scrambled files and every message.
#include "core/reader.h"

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "core/list.h"
#include "core/printer.h"
#include "platform/crt_rand.h"
#include "support/cells.h"
#include "support/process.h"

namespace {

// Follows list indices from the outside in: {1, 0} is the head of the
// second element.
const Cell* at_path(const Cell* c, std::initializer_list<int> path) {
  for (int i : path) c = nth(i, c);
  return c;
}

// Cells keep the path they were read under, so it must outlive them.
const Cell* read_file_text(const TempDir& dir, const std::string& name,
                           const std::string& content) {
  std::string path = dir.file(name);
  write_file(path, content);
  return read_source(strdup(path.c_str()));
}

// The Microsoft C runtime generator written out from its definition, to
// check the system's one against and to scramble test files with.
struct Lcg {
  uint64_t state;
  int next() {
    state = (state * 214013 + 2531011) % 4294967296ull;
    return static_cast<int>((state >> 16) % 32768);
  }
};

uint32_t byte_sum(const std::string& name) {
  uint32_t sum = 0;
  for (unsigned char c : name) sum += c;
  return sum;
}

std::string scramble(const std::string& plain, const std::string& base_name) {
  Lcg lcg{byte_sum(base_name)};
  std::string out;
  for (unsigned char c : plain) out.push_back(static_cast<char>((lcg.next() ^ c) & 255));
  return out;
}

// ---- positions ----

struct PositionCase {
  const char* text;
  std::initializer_list<int> path;
  int line;
  int character;
};

TEST(ReaderPositions, CellsCarryLineAndCharacterOfTheirFirstCharacter) {
  const PositionCase cases[] = {
      {"(abc 1)", {}, 1, 2},           // a list takes its first element's place
      {"(abc 1)", {1}, 1, 6},          // integer
      {"(a \"xy\")", {1}, 1, 5},       // string: first character after the quote
      {"(a \"\")", {1}, 1, 5},         // empty string: at its closing quote
      {"(a -7)", {1}, 1, 4},           // negative integer: at its sign
      {"((b) c)", {}, 1, 3},           // outer list, through its head
      {"(a\nbc)", {1}, 2, 1},          // after a newline: character 1
      {"(a\r\nbc)", {1}, 2, 1},        // CR LF: the CR is not counted
      {"(a ; c\n b)", {1}, 2, 2},
      {"(a \"x\ny\" b)", {2}, 2, 4},   // a newline inside a string counts
      {"(\xc3\xa9 b)", {1}, 1, 5},     // bytes above 127 are one character each
  };
  for (const PositionCase& c : cases) {
    SCOPED_TRACE(c.text);
    const Cell* cell = at_path(parse(c.text), c.path);
    EXPECT_EQ(cell->line, c.line);
    EXPECT_EQ(cell->character, c.character);
    EXPECT_STREQ(cell->file, "(from string)");
  }
}

TEST(ReaderPositions, EmptyListsAndListEndsAreMadeByTheReaderItself) {
  const Cell* list = parse("(a ())");
  const Cell* empty = second(list);
  EXPECT_TRUE(is_nil(empty));
  EXPECT_STREQ(empty->file, "core/reader.cpp");
  EXPECT_EQ(empty->character, 0);
  const Cell* end = tail(tail(list));
  EXPECT_TRUE(is_nil(end));
  EXPECT_STREQ(end->file, "core/reader.cpp");
  EXPECT_EQ(end->character, 0);
}

// ---- tokens and numbers ----

TEST(ReaderNumbers, IntegersWrapInThirtyTwoBits) {
  const struct {
    const char* text;
    int32_t value;
  } cases[] = {
      {"0", 0},
      {"007", 7},
      {"-5", -5},
      {"+5", 5},
      {"2147483647", INT_MAX},
      {"-2147483648", INT_MIN},
      {"2147483648", INT_MIN},
      {"4294967295", -1},
      {"4294967297", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    const Cell* cell = parse(c.text);
    ASSERT_TRUE(is_integer(cell));
    EXPECT_EQ(cell->whole, c.value);
  }
}

TEST(ReaderNumbers, RealsTakeTheirFractionFromTheLastDigit) {
  const struct {
    const char* text;
    double value;
  } cases[] = {
      {"0.3", 0.30000000000000004},  // 3 * 0.1, not the double nearest 0.3
      {"0.7", 0.7000000000000001},
      {"5.", 5.0},
      {"-0.3", -0.30000000000000004},
      {"-2.5", -2.5},
      {"+1.5", 1.5},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    const Cell* cell = parse(c.text);
    ASSERT_TRUE(is_real(cell));
    EXPECT_EQ(cell->real, c.value);
  }
  // 3000000000 is -1294967296 as a signed 32-bit value.
  EXPECT_EQ(parse("3000000000.5")->real, -1294967296.0 + 0.5);
}

TEST(ReaderTokens, SignsAndPointsWithoutADigitAfterTheSignMakeSymbols) {
  const char* symbols[] = {"-", "+", "-x", "+.5", "-.5", "x1", "a.b", "x.", "a-b", "<=", "!",
                           "\\", "a\"b"};
  for (const char* text : symbols) {
    SCOPED_TRACE(text);
    const Cell* cell = parse(text);
    ASSERT_TRUE(is_symbol(cell));
    EXPECT_STREQ(cell->text, text);
  }
}

TEST(ReaderTokens, TokensEndAtParenthesesBlanksAndComments) {
  EXPECT_TRUE(equal(parse("(a(b)c;d\n e)"),
                    list4(symbol("a"), list1(symbol("b")), symbol("c"), symbol("e"))));
  EXPECT_TRUE(equal(parse("(\xe9\r\r \"\x80\xff\" a\rb)"),
                    list3(symbol("\xe9"), string("\x80\xff"), symbol("ab"))));
  // A quote starts a string only where an item starts.
  EXPECT_TRUE(equal(parse("(\"x\"2 a\"b)"), list3(string("x"), integer(2), symbol("a\"b"))));
}

// ---- strings ----

TEST(ReaderStrings, DoubledQuotesStandForOneAndNothingElseEscapes) {
  const struct {
    const char* text;
    const char* value;
  } cases[] = {
      {"\"\"\"a\"\"\"", "\"a\""},
      {"\"\"", ""},
      {"\"a\\nb\"", "a\\nb"},
      {"\"a\nb\"", "a\nb"},
      {"\"a\r\nb\"", "a\nb"},
      {"\"(a ; b)\"", "(a ; b)"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    const Cell* cell = parse(c.text);
    ASSERT_TRUE(is_string(cell));
    EXPECT_STREQ(cell->text, c.value);
  }
}

// ---- lists, comments and files ----

TEST(ReaderLists, NestedListsAndComments) {
  const Cell* read = parse("  ; heading\n(define (f x)\n  ; body\n  (+ x 1)) ; done");
  const Cell* expected =
      list3(symbol("define"), list2(symbol("f"), symbol("x")),
            list3(symbol("+"), symbol("x"), integer(1)));
  EXPECT_TRUE(equal(read, expected)) << printed(read);
}

TEST(ReaderLists, LongListsRead) {
  std::string text = "(";
  for (int i = 0; i < 50000; i++) text += std::to_string(i) + " ";
  text += ")";
  const Cell* list = parse(text.c_str());
  EXPECT_EQ(length(list), 50000);
  EXPECT_EQ(nth(49999, list)->whole, 49999);

  TempDir dir;
  std::string file_text;
  for (int i = 0; i < 30000; i++) file_text += "(s)\n";
  EXPECT_EQ(length(read_file_text(dir, "long.tal", file_text)), 30000);
}

TEST(ReaderFiles, StatementsMayStandAloneOrInsideOneOuterList) {
  TempDir dir;
  const struct {
    const char* content;
    const char* expected;
  } cases[] = {
      {"(define (x) 1) (define (y) 2)", "((define (x) 1) (define (y) 2))"},
      {"((a) b) (c)", "((a) b)"},  // the first item is unwrapped, the rest dropped
      {"(a) (b)", "((a) (b))"},
      {"(() x)", "((() x))"},      // an empty first element is not a list
      {"a b", "(a b)"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.content);
    const Cell* items = read_file_text(dir, "s.tal", c.content);
    EXPECT_TRUE(equal(items, parse(c.expected))) << printed(items);
  }

  const Cell* empty = read_file_text(dir, "empty.tal", " ; nothing\n");
  EXPECT_TRUE(is_nil(empty));
  EXPECT_STREQ(empty->file, "core/reader.cpp");
}

// Standard input is read through a child whose descriptor 0 is a file.
TEST(ReaderFiles, DashReadsStandardInputThenLeavesItOnDevNull) {
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

// ---- scrambled files ----

TEST(ReaderScrambled, SeedIsTheByteSumOfTheBaseName) {
  EXPECT_EQ(scramble_seed("ab"), 97u + 98u);
  EXPECT_EQ(scramble_seed("dir/sub/ab"), 97u + 98u);
  EXPECT_EQ(scramble_seed("dir/"), 0u);
  EXPECT_EQ(scramble_seed("a\\b"), 97u + 92u + 98u);  // a backslash does not separate
}

// A scrambled file reads back with the positions of its plain text, takes
// one rand value per byte and none after, and leaves plain mode behind.
TEST(ReaderScrambled, AFileScrambledUnderItsBaseNameReadsBack) {
  TempDir dir;
  const std::string plain = "; model\r\n(define (x) 0.3)\r\n(define (y) \"q\"\"\")\n";
  std::string path = dir.file("run.bin");
  write_file(path, scramble(plain, "run.bin"));
  const Cell* items = read_scrambled_source(path.c_str());
  Lcg lcg{byte_sum("run.bin")};
  for (size_t i = 0; i < plain.size(); i++) lcg.next();
  EXPECT_EQ(crt_rand(), lcg.next());
  EXPECT_TRUE(equal(items, parse("((define (x) 0.3) (define (y) \"q\"\"\"))"))) << printed(items);
  const Cell* y = second(items);
  EXPECT_EQ(y->line, 3);
  EXPECT_EQ(y->character, 2);
  EXPECT_STREQ(y->file, path.c_str());
  EXPECT_TRUE(equal(read_file_text(dir, "plain.tal", "(p q)"), parse("((p q))")));
}

TEST(ReaderScrambled, BaseNamesWithTheSameByteSumReadTheSame) {
  TempDir dir;
  const std::string plain = "(policy 1 2.5 \"x\")";
  for (const char* name : {"ad", "bc", "da"}) {  // 97 + 100 = 98 + 99
    SCOPED_TRACE(name);
    write_file(dir.file(name), scramble(plain, "ad"));
    std::string path = dir.file(name);
    EXPECT_TRUE(equal(read_scrambled_source(path.c_str()), list1(parse(plain.c_str()))));
  }
}

// ---- messages ----

struct FatalCase {
  const char* text;
  int line;
  int character;
  const char* message;
  const char* out;
};

void expect_fatal_parse(const FatalCase& c) {
  SCOPED_TRACE(c.text);
  Outcome o = run_fatal([&] { parse(c.text); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, c.out);
  EXPECT_EQ(o.err, position("(from string)", c.line, c.character) + c.message + "\n");
}

TEST(ReaderDeathTest, EveryMessageAtItsPosition) {
  const FatalCase cases[] = {
      {"\t", 1, 1, "Invalid character", "Character code=9\n"},
      {"a ; tab\tin a comment", 1, 8, "Invalid character", "Character code=9\n"},
      {"\"tab\tin a string\"", 1, 5, "Invalid character", "Character code=9\n"},
      {"a\r\n\x01", 2, 1, "Invalid character", "Character code=1\n"},
      {"(a) )", 1, 5, "unexpected left parenthesis", ""},
      {"(a , b)", 1, 4, "unexpected character", ""},
      {".", 1, 1, "unexpected character", ""},
      {"(a .5)", 1, 4, "unexpected character", ""},
      {"x\n  (a (b)", 2, 4, "end of file in list", ""},
      {"(", 1, 1, "end of file in list", ""},     // nothing after it to count
      {"(a\n \"x\"\"", 2, 3, "end of file in string", ""},
      {"1x ", 1, 3, "malformed number", ""},      // the character after the token
      {"1e5 ", 1, 4, "malformed number", ""},
      {"-12a\n", 2, 0, "malformed number", ""},
      {"1.2.3 ", 1, 6, "malformed fraction", ""},
      {"1.-", 1, 3, "malformed fraction", ""},    // at the end: the last character
  };
  for (const FatalCase& c : cases) expect_fatal_parse(c);
}

TEST(ReaderDeathTest, ParseNeedsExactlyOneExpression) {
  const struct {
    const char* text;
    const char* err;
  } cases[] = {
      {"", "String parser: no expressions found\n"},
      {"a b", "string parser: more than one expression found\n"},
      {"\"a\"b", "string parser: more than one expression found\n"},
      {"((a) b) (c)", "string parser: more than one expression found\n"},  // no unwrapping
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    Outcome o = run_fatal([&] { parse(c.text); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, c.err);
  }
}

TEST(ReaderDeathTest, FileMessagesNameThePath) {
  TempDir dir;
  std::string path = dir.file("bad.tal");
  write_file(path, "(define (x)\r\n\t1)");
  Outcome o = run_fatal([&] { read_source(path.c_str()); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "Character code=9\n");
  EXPECT_EQ(o.err, position(path, 2, 1) + "Invalid character\n");
}

TEST(ReaderDeathTest, AMissingFileCannotBeOpened) {
  TempDir dir;
  std::string path = dir.file("missing.tal");
  Outcome o = run_fatal([&] { read_source(path.c_str()); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "Trying to open " + path + "\n");
  EXPECT_EQ(o.err, "fopen(source): No such file or directory\n");

  Outcome scrambled = run_fatal([&] { read_scrambled_source(path.c_str()); });
  EXPECT_EQ(scrambled.status, 1);
  EXPECT_EQ(scrambled.err, "fopen(source): No such file or directory\n");
}

TEST(ReaderDeathTest, AFailedReadEndsWithItsLabel) {
  TempDir dir;
  Outcome o = run_fatal([&] { read_source(dir.path.c_str()); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.err, "getc(): Is a directory\n");
}

}  // namespace
