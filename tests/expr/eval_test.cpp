#include "expr/eval.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "core/list.h"
#include "core/printer.h"
#include "core/reader.h"
#include "support/cells.h"
#include "support/model_script.h"
#include "support/process.h"

namespace {

// Value definitions as the statement passes make them: name to
// (parameters . body), the last definition first.
const Cell* defs_of(const std::vector<const char*>& definitions) {
  const Cell* defs = nil();
  for (const char* text : definitions) {
    const Cell* statement = parse(text);
    const Cell* lhs = second(statement);
    defs = acons(head(lhs), cons(tail(lhs), third(statement)), defs);
  }
  return defs;
}

// An environment whose bindings stand in the given order.
const Cell* env_of(const std::vector<std::pair<const char*, const char*>>& bindings) {
  const Cell* environment = nil();
  for (size_t i = bindings.size(); i-- > 0;) {
    environment = acons(symbol(bindings[i].first), parse(bindings[i].second), environment);
  }
  return environment;
}

const Cell* run(const char* text, const Cell* defs = nullptr, const Cell* environment = nullptr) {
  if (defs == nullptr) defs = nil();
  if (environment == nullptr) environment = nil();
  return eval(parse(text), defs, environment);
}

struct ValueCase {
  const char* expression;
  const char* printed;
  CellTag tag;
};

void expect_values(const std::vector<ValueCase>& cases, const Cell* defs = nullptr,
                   const Cell* environment = nullptr) {
  for (const ValueCase& c : cases) {
    SCOPED_TRACE(c.expression);
    const Cell* value = run(c.expression, defs, environment);
    EXPECT_EQ(printed(value), c.printed);
    EXPECT_EQ(value->tag, c.tag);
  }
}

TEST(EvalTest, AtomsAndQuotingFormsGiveTheirCellsThemselves) {
  const Cell* bound = real(0.5);
  EXPECT_EQ(eval(symbol("r"), nil(), acons(symbol("r"), bound, nil())), bound);

  const char* forms[] = {"quote", "c", "is", "parseBool"};
  for (const char* form : forms) {
    SCOPED_TRACE(form);
    const Cell* argument = parse("(+ x y)");
    const Cell* expression = list2(symbol(form), argument);
    EXPECT_EQ(eval(expression, nil(), nil()), argument);
  }
}

TEST(EvalTest, SpecialForms) {
  expect_values({
      {"(if 0 1 2)", "1", CellTag::integer},
      {"(if () 1 2)", "2", CellTag::integer},
      {"(if (parseBool ()) 1 2)", "2", CellTag::integer},
      {"(if () (/ 1 \"a\") 3)", "3", CellTag::integer},
      {"(and () (/ 1 \"a\"))", "()", CellTag::nil},
      {"(and 1 2)", "2", CellTag::integer},
      {"(or 5 (/ 1 \"a\"))", "5", CellTag::integer},
      {"(parse \"years2span(65)\")", "(years2span 65)", CellTag::cons},
      {"(parseEval \"years2span(65)\")", "span-64-12", CellTag::span},
      {"(parseEval \"1+2*3\")", "7", CellTag::integer},
      {"(assoc (\"a\" 1) (\"b\" (+ 1 1)))", "((\"a\" . 1) (\"b\" . 2))", CellTag::cons},
      // Elements after the second of a pair are ignored, even faulty ones.
      {"(assoc (\"a\" 1 (/ 1 \"a\")))", "((\"a\" . 1))", CellTag::cons},
      {"(substitute (+ x 1) x 41)", "42", CellTag::integer},
  });
}

TEST(EvalTest, Operations) {
  expect_values({
      {"(+ 2 3)", "5", CellTag::integer},
      {"(/ 7 2)", "3.500000", CellTag::real},
      {"(^ 2 10)", "1024.000000", CellTag::real},
      {"(max 1 2)", "2.000000", CellTag::real},
      {"(= 1 1.0)", "0", CellTag::integer},
      {"(= \"a\" 1)", "()", CellTag::nil},
      {"(= (list 1 \"x\") (quote (1 \"x\")))", "0", CellTag::integer},
      {"(< 1 2)", "0", CellTag::integer},
      // With a NaN operand <= and >= are the negations of the opposite order.
      {"(< (/ 0 0) 1)", "()", CellTag::nil},
      {"(<= (/ 0 0) 1)", "0", CellTag::integer},
      {"(date 2019 0)", "date-2018-12", CellTag::date},
      {"(= (date 2019 13) (date 2020 1))", "0", CellTag::integer},
      {"(span 1 6)", "span-1-06", CellTag::span},
      {"(years2span 65)", "span-64-12", CellTag::span},
      {"(span2years (span 1 6))", "1.500000", CellTag::real},
      {"(list 1 (+ 1 1) \"x\")", "(1 2 \"x\")", CellTag::cons},
      {"(stringToSymbol \"abc\")", "abc", CellTag::symbol},
      {"(aget_default 7 (assoc (\"a\" 1)) \"b\")", "7", CellTag::integer},
      {"(aget (assoc (\"a\" 1)) \"b\")", "()", CellTag::nil},
      {"(aget (quote ((\"a\" 1))) \"a\")", "(1)", CellTag::cons},
      // The first pair of a key decides.
      {"(aget (assoc (\"a\" 1) (\"a\" 2)) \"a\")", "1", CellTag::integer},
  });
}

TEST(EvalTest, ComputedResultsCarryTheExpressionPosition) {
  const char* texts[] = {"(+ 1 2)", "(date 2019 1)", "(span2years (span 1 0))"};
  for (const char* text : texts) {
    SCOPED_TRACE(text);
    const Cell* value = run(text);
    EXPECT_STREQ(value->file, "(from string)");
    EXPECT_EQ(value->line, 1);
    EXPECT_EQ(value->character, 2);
  }
  // A true comparison is the shared true cell, a false one a fresh nil of
  // the evaluator's own.
  EXPECT_EQ(run("(< 1 2)"), truth());
  const Cell* no = run("(< 2 1)");
  EXPECT_STREQ(no->file, "expr/eval.cpp");
  EXPECT_EQ(no->character, 0);
  // stringToSymbol keeps the string's position.
  const Cell* name = run("(stringToSymbol \"abc\")");
  EXPECT_EQ(name->character, 18);
}

TEST(EvalTest, GaussDensity) {
  struct Case {
    const char* expression;
    double value;
  };
  const Case cases[] = {
      {"(gauss 0 0 1)", 0.3989422804014327},
      {"(gauss 11 0 1)", 0.0},
      {"(gauss 10 0 1)", 7.69459862670642e-23},  // z * z of exactly 100 takes the formula
      {"(gauss 2 1 0)", 0.0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.expression);
    const Cell* value = run(c.expression);
    ASSERT_EQ(value->tag, CellTag::real);
    EXPECT_EQ(value->real, c.value);
    EXPECT_STREQ(value->file, "expr/eval.cpp");
    EXPECT_EQ(value->character, 0);
  }
  EXPECT_TRUE(std::isnan(run("(gauss 1 1 0)")->real));
  EXPECT_EQ(gauss(1.0, 1.0, 2.0), 0.3989422804014327 / 2.0);
}

TEST(EvalTest, ReplaceKeepsHeads) {
  expect_values({
      {"(replace (quote (f a (g a))) (quote a) 7)", "(f 7 (g 7))", CellTag::cons},
      {"(replace (quote ((a) a)) (quote a) 7)", "((a) 7)", CellTag::cons},
      {"(replace (quote (f (a b) a)) (quote (a b)) 7)", "(f 7 a)", CellTag::cons},
      {"(replace (quote (f 1 1.0)) 1 2)", "(f 2 1.000000)", CellTag::cons},
  });
}

TEST(EvalTest, ReplaceSharesAndKeepsTheListEnd) {
  const Cell* dotted = cons(symbol("f"), cons(symbol("a"), integer(5)));
  const Cell* replaced = replaceTerm(dotted, symbol("a"), symbol("b"));
  EXPECT_EQ(printed(replaced), "(f b . 5)");
  EXPECT_EQ(printed(dotted), "(f a . 5)");
  // A head is never compared, so a date there meets no equality.
  EXPECT_EQ(printed(run("(replace (list (date 2019 1)) (date 2019 1) 0)")), "(date-2019-01)");
}

TEST(EvalTest, SubstituteReplacesTheFirstBindingForTheBodyOnly) {
  const Cell* environment = env_of({{"x", "1"}, {"y", "2"}, {"x", "3"}});
  std::string before = printed(environment);
  expect_values({
      {"(substitute (list x y) x 10)", "(10 2)", CellTag::cons},
      {"(list (substitute x x 10) x)", "(10 1)", CellTag::cons},
      // The value is computed in the outer environment.
      {"(substitute x x (+ x 1))", "2", CellTag::integer},
  },
                nullptr, environment);
  EXPECT_EQ(printed(environment), before);
}

TEST(EvalTest, UserFunctionsUseDynamicScope) {
  const Cell* defs = defs_of({
      "(define (double x) (* x 2))",
      "(define (f) y)",
      "(define (g y) (f))",
      "(define (h x) x)",
      "(define (max a b) (quote own))",
  });
  const Cell* environment = env_of({{"x", "1"}, {"y", "9"}});
  expect_values({
      {"(substitute (f) y 3)", "3", CellTag::integer},
      {"(f)", "9", CellTag::integer},
      {"(g 5)", "5", CellTag::integer},
      {"(list (h 2) x)", "(2 1)", CellTag::cons},
      {"(double 21 99)", "42", CellTag::integer},
      {"(max 1 2)", "2.000000", CellTag::real},
      {"(function (x) (+ x 1))", "2", CellTag::integer},
  },
                defs, environment);
}

// Long argument and number lists are walked in loops, not recursion.
TEST(EvalTest, LongListsWork) {
  const int N = 50000;
  std::string text = "list(";
  for (int i = 1; i <= N; i++) {
    if (i > 1) text += ",";
    text += std::to_string(i);
  }
  text += ")";
  const Cell* string_cell = string(text.c_str());
  const Cell* numbers = eval(list2(symbol("parseEvalBig"), string_cell), nil(), nil());
  ASSERT_EQ(length(numbers), N);
  EXPECT_EQ(first(numbers)->whole, 1);
  EXPECT_EQ(nth(N - 1, numbers)->whole, N);

  // An assoc of N pairs ("k<i>" i).
  std::vector<std::string> keys;
  for (int i = 0; i < N; i++) keys.push_back("k" + std::to_string(i));
  const Cell* pairs = nil();
  for (int i = N - 1; i >= 0; i--) pairs = cons(list2(string(keys[i].c_str()), integer(i)), pairs);
  const Cell* table = eval(cons(symbol("assoc"), pairs), nil(), nil());
  ASSERT_EQ(length(table), N);
  EXPECT_EQ(aget_string(table, keys[N - 1].c_str())->whole, N - 1);

  // A user function of N parameters.
  const Cell* parameters = nil();
  for (int i = N - 1; i >= 0; i--) parameters = cons(symbol(keys[i].c_str()), parameters);
  const Cell* defs = acons(symbol("wide"), cons(parameters, symbol(keys[N - 1].c_str())), nil());
  EXPECT_EQ(eval(cons(symbol("wide"), numbers), defs, nil())->whole, N);
}

// Death tests

const char* FROM_STRING = "(from string)";

void expect_fatal(const char* text, const std::string& out, const std::string& err,
                  const Cell* defs = nullptr, const Cell* environment = nullptr) {
  SCOPED_TRACE(text);
  Outcome o = run_fatal([&] { run(text, defs, environment); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, out);
  EXPECT_EQ(o.err, err);
}

// A fault at a cell that talvon made: its file, character 0, and the message.
void expect_fatal_at_own_cell(const char* text, const std::string& out, const std::string& file,
                              const std::string& message, const Cell* defs = nullptr) {
  SCOPED_TRACE(text);
  Outcome o = run_fatal([&] { run(text, defs); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, out);
  EXPECT_TRUE(ownPosition(o.err, file, message)) << o.err;
}

std::string at(int character, const char* message) {
  return position(FROM_STRING, 1, character) + message + "\n";
}

TEST(EvalDeathTest, UnknownOperatorAndVariable) {
  expect_fatal("(cashflow 1)", "\n(cashflow 1)\n", at(2, "eval: Unknown operator"));
  expect_fatal("((quote f) 1)", "\n((quote f) 1)\n", at(3, "eval: Unknown operator"),
               defs_of({"(define (f x) x)"}));
  expect_fatal("(+ x 1)", "\nx\n", at(4, "aget_strict: Unknown variable"));
  expect_fatal("(function (x) (+ x 1))", "\nx\n", at(18, "aget_strict: Unknown variable"));
  // Reported at the symbol in the definition's body.
  expect_fatal("(f)", "\ny\n", at(13, "aget_strict: Unknown variable"),
               defs_of({"(define (f) y)"}));
}

// Arguments are evaluated before anything looks at the operator or the
// arity, and the last argument first.
TEST(EvalDeathTest, ArgumentsAreCheckedFirstAndLastFirst) {
  expect_fatal("(g (/ 1 \"a\"))", "", at(5, "Division of non-numbers"));
  expect_fatal("(date x)", "\nx\n", at(7, "aget_strict: Unknown variable"));
  expect_fatal("(double x y)", "\ny\n", at(11, "aget_strict: Unknown variable"),
               defs_of({"(define (double x) (* x 2))"}));
  expect_fatal("(+ (/ 1 \"a\") (- 1 \"b\"))", "", at(15, "Subtraction from integer of non-number"));
  expect_fatal("(and 1 (/ 1 \"a\"))", "", at(9, "Division of non-numbers"));
  // substitute computes its value before the body.
  expect_fatal("(substitute (+ 1 \"a\") x (- 1 \"b\"))", "",
               at(26, "Subtraction from integer of non-number"));
  // assoc goes from the first pair on, key before value.
  expect_fatal("(assoc (\"a\" (+ 1 \"a\")) (\"b\" (- 1 \"b\")))", "",
               at(14, "Addition of integer to non-number"));
}

TEST(EvalDeathTest, ScalarMessagesAtTheExpression) {
  struct Case {
    const char* expression;
    const char* message;
  };
  const Case cases[] = {
      {"(+ 1 \"a\")", "Addition of integer to non-number"},
      {"(= 1 \"a\")", "Comparison of number to non-numbers"},
      // <= and > swap their operands, so the second operand's kind decides.
      {"(<= 1 \"a\")", "Comparison of non-scalar"},
      {"(> 1 \"a\")", "Comparison of non-scalar"},
      {"(!= (span 0 1) 1)", "Comparison of span to non-span"},
  };
  for (const Case& c : cases) {
    expect_fatal(c.expression, "", at(2, c.message));
  }
}

TEST(EvalDeathTest, BuiltInArgumentKinds) {
  expect_fatal("(date 2019 \"a\")", "\"a\"\n", at(13, "value of non-integer"));
  expect_fatal("(span 1.5 0)", "1.500000\n", at(7, "value of non-integer"));
  expect_fatal("(years2span (span 1 0))", "span-0-12\n", at(14, "value of non-integer"));
  expect_fatal("(span2years 12)", "", at(13, "value of non-span"));
  expect_fatal("(stringToSymbol 5)", "", at(17, "value of non-string"));
  expect_fatal("(gauss 0 0 \"s\")", "", at(13, "cannot convert non-real to real"));
  expect_fatal("(parse x)", "", at(8, "parseExpr: expected string"));
  expect_fatal("(parseEvalBig (quote \"a\"))", "", at(16, "parseExpr: expected string"));
  expect_fatal("(parseEval \"1/\"\"a\"\"\")", "", at(15, "Division of non-numbers"));
}

TEST(EvalDeathTest, MissingArgumentsEndAtTheListEnd) {
  expect_fatal_at_own_cell("(date 2019)", "()\n", "expr/eval.cpp", "head of non-cons");
  expect_fatal_at_own_cell("(double)", "()\n", "expr/eval.cpp", "head of non-cons",
                           defs_of({"(define (double x) (* x 2))"}));
  expect_fatal_at_own_cell("(if () 1)", "()\n", "core/reader.cpp", "head of non-cons");
  expect_fatal_at_own_cell("(assoc (\"a\"))", "()\n", "core/reader.cpp", "head of non-cons");
}

// Deep equality has no rule for two distinct date cells.
TEST(EvalDeathTest, EqualityOnDatesInsideStructures) {
  const char* texts[] = {
      "(replace (list 0 (date 2019 1)) (date 2019 1) 0)",
      "(aget (list (list (date 2019 1))) (date 2019 1))",
  };
  for (const char* text : texts) expect_fatal(text, "", "Unexpected tag\n");
}

}  // namespace
