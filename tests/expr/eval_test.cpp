#include "expr/eval.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "core/list.h"
#include "core/reader.h"
#include "support/cells.h"
#include "support/model_script.h"
#include "support/process.h"

namespace {

// Value definitions as the statement passes make them: name to
// (parameters . body), the last definition first. Among them, `max`
// stands in for the operation of that name and `f` sees y dynamically.
const Cell* defs() {
  const Cell* defs = nil();
  for (const char* text : {"(define (double x) (* x 2))", "(define (f) y)", "(define (g y) (f))",
                           "(define (h x) x)", "(define (max a b) (quote own))"}) {
    const Cell* statement = parse(text);
    const Cell* lhs = second(statement);
    defs = acons(head(lhs), cons(tail(lhs), third(statement)), defs);
  }
  return defs;
}

// x is bound twice: the first binding counts.
const Cell* environment() {
  return acons(symbol("x"), integer(1),
               acons(symbol("y"), integer(9), acons(symbol("x"), integer(3), nil())));
}

const Cell* run(const char* text) { return eval(parse(text), defs(), environment()); }

TEST(EvalTest, Values) {
  const struct {
    const char* expression;
    const char* printed;
  } cases[] = {
      {"(quote (+ x y))", "(+ x y)"},
      {"(c (+ x zz))", "(+ x zz)"},
      {"(is (+ x y))", "(+ x y)"},
      {"(parseBool (+ x y))", "(+ x y)"},
      // if, and, or evaluate only what they need
      {"(if 0 1 2)", "1"},
      {"(if (parseBool ()) 1 2)", "2"},
      {"(if () (/ 1 \"a\") 3)", "3"},
      {"(and () (/ 1 \"a\"))", "()"},
      {"(or 5 (/ 1 \"a\"))", "5"},
      {"(parse \"years2span(65)\")", "(years2span 65)"},
      {"(parseEval \"1+2*3\")", "7"},
      {"(parseEvalBig \"years2span(65)\")", "span-64-12"},
      // Elements after the second of a pair are ignored, even faulty ones.
      {"(assoc (\"a\" 1 (/ 1 \"a\")) (\"b\" (+ 1 1)))", "((\"a\" . 1) (\"b\" . 2))"},
      {"(/ 7 2)", "3.500000"},
      {"(= 1 1.0)", "0"},
      {"(= \"a\" 1)", "()"},
      {"(= (list 1 \"x\") (quote (1 \"x\")))", "0"},
      // With a NaN operand <= and >= are the negations of the opposite order.
      {"(< (/ 0 0) 1)", "()"},
      {"(<= (/ 0 0) 1)", "0"},
      {"(>= (/ 0 0) 1)", "0"},
      {"(date 2019 0)", "date-2018-12"},
      {"(date 178956970 8)", "date--178956970--8"},  // month counts wrap
      {"(span 1 6)", "span-1-06"},
      {"(years2span 65)", "span-64-12"},
      {"(span2years (span 1 6))", "1.500000"},
      {"(stringToSymbol \"abc\")", "abc"},
      {"(aget_default 7 (assoc (\"a\" 1)) \"b\")", "7"},
      {"(aget (quote ((\"a\" 1))) \"a\")", "(1)"},
      {"(aget (assoc (\"a\" 1) (\"a\" 2)) \"a\")", "1"},  // the first pair of a key decides
      // replace keeps heads and compares by equal
      {"(replace (quote (f a (g a))) (quote a) 7)", "(f 7 (g 7))"},
      {"(replace (quote ((a) a)) (quote a) 7)", "((a) 7)"},
      {"(replace (quote (f (a b) a)) (quote (a b)) 7)", "(f 7 a)"},
      {"(replace (quote (f 1 1.0)) 1 2)", "(f 2 1.000000)"},
      {"(replace (list (date 2019 1)) (date 2019 1) 0)", "(date-2019-01)"},
      // substitute replaces the first binding for the body only; its value
      // is computed outside
      {"(substitute (list x y) x 10)", "(10 9)"},
      {"(list (substitute x x 10) x)", "(10 1)"},
      {"(substitute x x (+ x 1))", "2"},
      // user functions: dynamic scope, extra arguments ignored, own names first
      {"(substitute (f) y 3)", "3"},
      {"(g 5)", "5"},
      {"(list (h 2) x)", "(2 1)"},
      {"(double 21 99)", "42"},
      {"(max 1 2)", "2.000000"},
      {"(function (x) (+ x 1))", "2"},
  };
  for (const auto& c : cases) EXPECT_EQ(printed(run(c.expression)), c.printed) << c.expression;
  const Cell* dotted = cons(symbol("f"), cons(symbol("a"), integer(5)));
  EXPECT_EQ(printed(replaceTerm(dotted, symbol("a"), symbol("b"))), "(f b . 5)");
  EXPECT_EQ(printed(dotted), "(f a . 5)");
}

// Computed results carry the expression's place; a true comparison is the
// shared true cell, a false one a fresh nil of the evaluator's own.
TEST(EvalTest, PlacesOfResults) {
  for (const char* text : {"(+ 1 2)", "(date 2019 1)", "(span2years (span 1 0))"}) {
    const Cell* value = run(text);
    EXPECT_STREQ(value->file, "(from string)") << text;
    EXPECT_EQ(value->character, 2) << text;
  }
  EXPECT_EQ(run("(< 1 2)"), truth());
  const Cell* no = run("(< 2 1)");
  EXPECT_STREQ(no->file, "expr/eval.cpp");
  EXPECT_EQ(no->character, 0);
  EXPECT_EQ(run("(stringToSymbol \"abc\")")->character, 18);
}

TEST(EvalTest, GaussDensity) {
  const struct {
    const char* expression;
    double value;
  } cases[] = {
      {"(gauss 0 0 1)", 0.3989422804014327},
      {"(gauss 11 0 1)", 0.0},
      {"(gauss 10 0 1)", 7.69459862670642e-23},  // z * z of exactly 100 takes the formula
      {"(gauss 2 1 0)", 0.0},
  };
  for (const auto& c : cases) {
    const Cell* value = run(c.expression);
    EXPECT_EQ(value->real, c.value) << c.expression;
    EXPECT_STREQ(value->file, "expr/eval.cpp");
  }
  EXPECT_TRUE(std::isnan(run("(gauss 1 1 0)")->real));
  EXPECT_EQ(gauss(1.0, 1.0, 2.0), 0.3989422804014327 / 2.0);
}

// Long argument and number lists are walked in loops, not recursion.
TEST(EvalTest, LongListsWork) {
  const int N = 50000;
  std::string text = "list(1";
  for (int i = 2; i <= N; i++) text += "," + std::to_string(i);
  const Cell* numbers = eval(list2(symbol("parseEvalBig"), string((text + ")").c_str())), nil(), nil());
  ASSERT_EQ(length(numbers), N);
  EXPECT_EQ(nth(N - 1, numbers)->whole, N);

  // An assoc of N pairs ("k<i>" i) and a user function of N parameters.
  std::vector<std::string> keys;
  for (int i = 0; i < N; i++) keys.push_back("k" + std::to_string(i));
  const Cell* pairs = nil();
  const Cell* parameters = nil();
  for (int i = N - 1; i >= 0; i--) {
    pairs = cons(list2(string(keys[i].c_str()), integer(i)), pairs);
    parameters = cons(symbol(keys[i].c_str()), parameters);
  }
  const Cell* table = eval(cons(symbol("assoc"), pairs), nil(), nil());
  EXPECT_EQ(aget_string(table, keys[N - 1].c_str())->whole, N - 1);
  const Cell* wide = acons(symbol("wide"), cons(parameters, symbol(keys[N - 1].c_str())), nil());
  EXPECT_EQ(eval(cons(symbol("wide"), numbers), wide, nil())->whole, N);
}

std::string at(int character, const char* message) {
  return position("(from string)", 1, character) + message + "\n";
}

// Arguments are evaluated before anything looks at the operator or the
// arity, and the last argument first.
TEST(EvalDeathTest, EveryFaultAtItsPlace) {
  const struct {
    const char* text;
    std::string out;
    std::string err;
  } cases[] = {
      {"(cashflow 1)", "\n(cashflow 1)\n", at(2, "eval: Unknown operator")},
      {"((quote f) 1)", "\n((quote f) 1)\n", at(3, "eval: Unknown operator")},
      {"(+ zz 1)", "\nzz\n", at(4, "aget_strict: Unknown variable")},
      {"(function (zz) (+ zz 1))", "\nzz\n", at(19, "aget_strict: Unknown variable")},
      {"(substitute (f) y zz)", "\nzz\n", at(19, "aget_strict: Unknown variable")},
      {"(nope (/ 1 \"a\"))", "", at(8, "Division of non-numbers")},
      {"(double zz ww)", "\nww\n", at(12, "aget_strict: Unknown variable")},
      {"(+ (/ 1 \"a\") (- 1 \"b\"))", "", at(15, "Subtraction from integer of non-number")},
      {"(and 1 (/ 1 \"a\"))", "", at(9, "Division of non-numbers")},
      // substitute computes its value before the body
      {"(substitute (+ 1 \"a\") x (- 1 \"b\"))", "",
       at(26, "Subtraction from integer of non-number")},
      // assoc goes from the first pair on, key before value
      {"(assoc (\"a\" (+ 1 \"a\")) (\"b\" (- 1 \"b\")))", "",
       at(14, "Addition of integer to non-number")},
      {"(= 1 \"a\")", "", at(2, "Comparison of number to non-numbers")},
      // <= and > swap their operands, so the second operand's kind decides
      {"(<= 1 \"a\")", "", at(2, "Comparison of non-scalar")},
      {"(> \"a\" 1)", "", at(2, "Comparison of number to non-numbers")},
      {"(date 2019 \"a\")", "\"a\"\n", at(13, "value of non-integer")},
      {"(years2span (span 1 0))", "span-0-12\n", at(14, "value of non-integer")},
      {"(span2years 12)", "", at(13, "value of non-span")},
      {"(stringToSymbol 5)", "", at(17, "value of non-string")},
      {"(gauss 0 0 \"s\")", "", at(13, "cannot convert non-real to real")},
      {"(parse 1)", "", at(8, "parseExpr: expected string")},
      {"(parseEval \"1/\"\"a\"\"\")", "", at(15, "Division of non-numbers")},
      // deep equality has no rule for two distinct date cells
      {"(aget (list (list (date 2019 1))) (date 2019 1))", "", "Unexpected tag\n"},
  };
  for (const auto& c : cases) {
    Outcome o = run_fatal([&] { run(c.text); });
    EXPECT_EQ(o.status, 1) << c.text;
    EXPECT_EQ(o.out, c.out) << c.text;
    EXPECT_EQ(o.err, c.err) << c.text;
  }
}

// A missing argument ends at the list's end, a cell of talvon's own.
TEST(EvalDeathTest, MissingArgumentsEndAtTheListEnd) {
  const struct {
    const char* text;
    const char* file;
  } cases[] = {
      {"(date 2019)", "expr/eval.cpp"},
      {"(double)", "expr/eval.cpp"},
      {"(if () 1)", "core/reader.cpp"},
      {"(assoc (\"a\"))", "core/reader.cpp"},
  };
  for (const auto& c : cases) {
    Outcome o = run_fatal([&] { run(c.text); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "()\n");
    EXPECT_TRUE(ownPosition(o.err, c.file, "head of non-cons")) << c.text << o.err;
  }
}

}  // namespace
