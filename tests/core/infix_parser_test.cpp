// The infix parser: the shape of every form, the positions of operators and
// operands, and every message at its place.
#include "core/infix_parser.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>

#include "core/list.h"
#include "core/printer.h"
#include "core/reader.h"
#include "support/cells.h"
#include "support/process.h"

namespace {

// ---- shapes ----

TEST(InfixShapes, GrammarTable) {
  const struct {
    const char* input;
    const char* expected;  // as the reader writes it
  } cases[] = {
      {" a ( x , y , z ) ", "(a x y z)"},
      {"x ^ y ^ z", "(^ x (^ y z))"},
      {"x-y-z-w", "(- (- (- x y) z) w)"},
      {"1*(2+3)/4", "(/ (* 1 (+ 2 3)) 4)"},
      {"-\"a\"*-1.2", "(* (- 0 \"a\") (- 0 1.2))"},
      {"a - -b", "(- a (- 0 b))"},
      {"-x^2", "(^ (- 0 x) 2)"},
      {"+x", "(+ 0 x)"},
      {"((a))", "a"},
      {"a+b*c^d", "(+ a (* b (^ c d)))"},
      {"a | b & c", "(or a (and b c))"},
      {"a+1 = b*2 & c", "(and (= (+ a 1) (* b 2)) c)"},
      {"a!=b", "(!= a b)"}, {"a<b", "(< a b)"}, {"a<=b", "(<= a b)"}, {"a >= b", "(>= a b)"},
      {"\"a\"\"b\"", "\"a\"\"b\""},
      {"f(g(x),-1)", "(f (g x) (- 0 1))"},
      {"a.b+c", "(+ a.b c)"},
      {" ; a comment\n a\n +b", "(+ a b)"},
      {"\xe9+1", "(+ \xe9 1)"},  // bytes above 127 are ordinary characters
      {"if(span2years(age)<=12,0,0.02*10^(-((span2years(age)-12)^2)/2100))/12",
       "(/ (if (<= (span2years age) 12) 0"
       " (* 0.02 (^ 10 (/ (- 0 (^ (- (span2years age) 12) 2)) 2100)))) 12)"},
      // One operator at the lowest three levels, and the rest unread: the
      // parser looks one character ahead only, so a later fault is not seen.
      {"a b\t", "a"},
      {"a&b&\t", "(and a b)"},
      {"a < b < c", "(< a b)"},
      {"f(x) )", "(f x)"},
      {"\"s\"(x)", "\"s\""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(printed(parseExpr0(c.input)), printed(parse(c.expected))) << c.input;
  }
}

// Reals have the reader's bits; the sign's zero and parseExpr0's cells are
// the parser's own; the expression syntax does not leak into the reader.
TEST(InfixShapes, CellsTheParserMakes) {
  EXPECT_EQ(second(parseExpr0("0.7*1.25"))->real, 0.7000000000000001);
  const Cell* zero = second(parseExpr0("-x"));
  ASSERT_TRUE(is_integer(zero));
  EXPECT_STREQ(zero->file, "core/infix_parser.cpp");
  EXPECT_EQ(zero->character, 0);
  EXPECT_STREQ(parseExpr0("x")->file, "core/infix_parser.cpp");
  EXPECT_EQ(parseExpr0("x")->character, 1);
  EXPECT_STREQ(parse("a+b")->text, "a+b");
}

// ---- positions ----

struct PositionCase {
  const char* text;
  std::initializer_list<int> path;
  int line;
  int character;
};

// The string cell stands at line 5, character 10, so the text's first
// character is character 11.
TEST(InfixPositions, ContinueFromTheStringCell) {
  const PositionCase cases[] = {
      {"x*y", {}, 5, 12},      // an operation takes its operator's place
      {"x*y", {1}, 5, 11},
      {"x|y", {0}, 5, 12},
      {"-x", {0}, 5, 11},      // sign
      {"x=y", {0}, 5, 13},     // comparisons: the character after the operator
      {"x<=y", {0}, 5, 14},
      {"x < y", {0}, 5, 14},
      {"f(x, 12)", {}, 5, 11}, // a call takes its function's place
      {"f(x, 12)", {2}, 5, 16},
      {"\"s\"", {}, 5, 12},    // a string literal: after its quote
      {"(a)", {}, 5, 12},      // parentheses add no level and no place
      {"a+\nb", {2}, 6, 1},    // a newline starts the next line
      {"a\r\n<b", {0}, 6, 2},
  };
  for (const PositionCase& c : cases) {
    SCOPED_TRACE(c.text);
    const Cell* cell = parseExpr(string_source(c.text, 5, 10, "m.tal"));
    for (int i : c.path) cell = nth(i, cell);
    EXPECT_EQ(cell->line, c.line);
    EXPECT_EQ(cell->character, c.character);
    EXPECT_STREQ(cell->file, "m.tal");
  }
}

// The counter continues from a read string cell's own character, which is
// already that of the text's first character: everything lands one to the
// right of where it stands in the script.
TEST(InfixPositions, AStringReadFromAScriptContinuesItsLineAndCharacter) {
  const Cell* text = second(parse("(f\n  \"x * y\")"));
  ASSERT_EQ(text->character, 4);
  const Cell* product = parseExpr(text);
  EXPECT_EQ(product->line, 2);
  EXPECT_EQ(product->character, 7);
  EXPECT_EQ(third(product)->character, 9);
}

// ---- messages ----

struct FatalCase {
  const char* text;
  int line;
  int character;
  const char* message;
  const char* out;
};

// The string cell stands at line 2, character 0: the text's first character
// is character 1 of line 2.
TEST(InfixParserDeathTest, EveryMessageAtItsPosition) {
  const FatalCase cases[] = {
      {"", 2, 0, "unexpected character", ""},
      {"a+", 2, 2, "unexpected character", ""},
      {"a+\n*", 3, 1, "unexpected character", ""},
      {"a==b", 2, 3, "unexpected character", ""},
      {"a< =b", 2, 4, "unexpected character", ""},  // "< =" is "<" before "="
      {"f()", 2, 3, "unexpected character", ""},
      {".5", 2, 1, "unexpected character", ""},
      {"x + (a*(b)", 2, 5, "no matching parenthesis found", ""},
      {"(a b)", 2, 4, "expected right parenthesis", ""},
      {"f(x y)", 2, 5, "malformed parameter list", ""},
      {"2(x)", 2, 2, "malformed function", ""},
      {"a ! b", 2, 4, "exprected = after !", ""},
      {"1x+1", 2, 3, "malformed number", ""},
      {"1.2.3", 2, 5, "malformed fraction", ""},
      {"f(\"abc)", 2, 4, "end of file in string", ""},
      {"a\tb", 2, 2, "Invalid character", "Character code=9\n"},
  };
  for (const FatalCase& c : cases) {
    SCOPED_TRACE(c.text);
    Outcome o = run_fatal([&] { parseExpr(string_source(c.text, 2, 0, "e.tal")); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, c.out);
    EXPECT_EQ(o.err, position("e.tal", c.line, c.character) + c.message + "\n");
  }
}

TEST(InfixParserDeathTest, OnlyAStringCanBeParsed) {
  Outcome o = run_fatal([] { parseExpr(symbol_source("x", 4, 2, "m.tal")); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.err, position("m.tal", 4, 2) + "parseExpr: expected string\n");
}

}  // namespace
