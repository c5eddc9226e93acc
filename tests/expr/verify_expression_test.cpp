#include "expr/verify_expression.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/cell.h"
#include "core/list.h"
#include "core/reader.h"
#include "support/model_script.h"
#include "support/process.h"
#include "support/terms.h"

namespace {

struct Context {
  const char* bound = "()";
  const char* states = "()";
  const char* defs = "()";
  const char* cdefs = "()";
};

Outcome check(const Cell* expression, const Context& c = {}) {
  return run_fatal([&] {
    verifyExpression(parse(c.bound), parse(c.states), entries_of(c.cdefs), entries_of(c.defs),
                     expression);
  });
}

Outcome check(const char* text, const Context& c = {}) {
  return check(relocated(parse(text)), c);
}

// The place a fault is reported: 0 is the relocated outermost expression,
// -1 no place at all (die), else a character of line 1 of the text.
std::string place(int character) {
  if (character == 0) return position("outer.tal", 9, 99);
  if (character < 0) return "";
  return position("(from string)", 1, character);
}

struct Passing {
  const char* text;
  Context context;
};

const Passing passing[] = {
    {"1", {}},
    {"(+ x y)", {.bound = "(x y)"}},
    {"(is active)", {.states = "(idle active)"}},
    {"(function (x) (+ x y))", {.bound = "(y)"}},
    {"(substitute (+ x y) x y)", {.bound = "(y)"}},
    {"(quote (1 2 undefined (3)))", {}},
    {"(c (v_real (+ x 1)))", {.bound = "(x)"}},
    {"(assoc (\"a\" 1) (\"b\" y))", {}},
    {"(assoc)", {.defs = "((assoc () 1))"}},
    {"(f 1)", {.defs = "((f (x) x))"}},
    {"(f 1)", {.defs = "((f (x) x) (f (x y) x))"}},
    {"(max 1 2)", {.defs = "((max (a b c) a))"}},
    {"(cashflow p)", {.bound = "(p)"}},
    {"(if (< x 1) (f x) (+ x 1))", {.bound = "(x)", .defs = "((f (x) x))"}},
};

TEST(VerifyExpressionTest, AcceptsWellFormedExpressions) {
  for (const Passing& p : passing) {
    Outcome o = check(p.text, p.context);
    EXPECT_EQ(o.status, 0) << p.text << "\n" << o.err;
    EXPECT_EQ(o.out, "") << p.text;
    EXPECT_EQ(o.err, "") << p.text;
  }
}

struct Failing {
  const char* text;
  Context context;
  const char* out;
  int where;
  const char* message;
};

// A string read in a script lies at the character after its opening quote;
// the text it holds starts one further on.
const Failing failing[] = {
    // Variables
    {"y", {}, "\ny\n", 1, "Unbound symbol"},
    // Operators and arity; arguments come before the arity and the operator
    {"(+ 1)", {}, "", 0, "Wrong arity"},
    {"(+ y)", {}, "\ny\n", 4, "Unbound symbol"},
    {"(1 2)", {}, "", 0, "Expression operators must be symbols"},
    {"(g 1)", {}, "\n(g 1)\n", 0, "verifyCompoundExpression: Unknown operator"},
    {"(f 1 2)", {.defs = "((f (x) x) (f (x y) x))"}, "", 0, "Wrong arity"},
    {"(if (< x 1) (f x) (g x))", {.bound = "(x)", .defs = "((f (x) x))"}, "\n(g x)\n", 20,
     "verifyCompoundExpression: Unknown operator"},
    // is
    {"(is)", {.states = "(a)"}, "", 0, "Arity of 'is' is 1"},
    {"(is active)", {.bound = "(active)"}, "", 0, "Argument of 'is' must be state"},
    {"(function (x) (is x))", {}, "", 16, "Argument of 'is' must be state"},
    // function
    {"(function (x 1) x)", {}, "", 14, "Function arguments must be symbolds"},
    {"(function (x) (function (y) (+ x z)))", {}, "\nz\n", 34, "Unbound symbol"},
    {"(function (x))", {}, "", 0, "Arity of 'function' is 2"},
    // substitute: the variable, then the expression, then the value
    {"(substitute x x (+ x 1))", {}, "\nx\n", 20, "Unbound symbol"},
    {"(substitute (+ x 1) \"x\" 41)", {}, "", 0,
     "Second argument of 'substitute' must be a symbol"},
    {"(substitute x x)", {}, "", 0, "Arity of 'substitute' is 3"},
    // quote, c, parseBool
    {"(quote)", {}, "", 0, "Arity of 'quote' is 1"},
    {"(c)", {}, "", 0, "Arity of 'c' is 1"},
    {"(parseBool)", {}, "", 0, "Arity of 'parseBool' is 1"},
    {"(parseEvalBig \"1\" \"2\")", {}, "", 0, "Arity of 'parseEvalBig' is 1"},
    {"(c (+ age 1))", {.bound = "(age)"}, "age\n", 7, "verifyCExpr: Unknown variable"},
    {"(c \"a\")", {}, "\"a\"\n", 5, "verifyCExpr: Illegal atom"},
    // parse, parseEval, parseEvalBig
    {"(parse)", {}, "", 0, "Arity of 'parse' is 1"},
    {"(parse 5)", {}, "", 0, "Arg 1 of 'parse' must be string"},
    {"(parse \"dfsa_yield(t)\")", {}, "\nt\n", 21, "Unbound symbol"},
    {"(parseEval \"g(1)\")", {}, "\n(g 1)\n", 14, "verifyCompoundExpression: Unknown operator"},
    {"(parseEvalBig \"a ! b\")", {.bound = "(a b)"}, "", 20, "exprected = after !"},
    // assoc: only its first pair is looked at
    {"(assoc (\"a\") (\"b\" 2))", {}, "", 10, "Malformed assoc"},
    {"(assoc (\"a\" y))", {}, "\ny\n", 13, "Unbound symbol"},
};

TEST(VerifyExpressionDeathTest, ReportsTheFirstFaultAtItsPlace) {
  for (const Failing& f : failing) {
    Outcome o = check(f.text, f.context);
    EXPECT_EQ(o.status, 1) << f.text;
    EXPECT_EQ(o.out, f.out) << f.text;
    EXPECT_EQ(o.err, place(f.where) + f.message + "\n") << f.text;
  }
}

// Every built-in operation takes exactly its number of arguments; list any.
TEST(VerifyExpressionDeathTest, BuiltinArities) {
  const struct {
    const char* name;
    int arity;
  } builtins[] = {
      {"replace", 3}, {"stringToSymbol", 1}, {"date", 2}, {"span", 2},  {"years2span", 1},
      {"span2years", 1}, {"if", 3},          {"and", 2},  {"or", 2},    {"=", 2},
      {"!=", 2},      {"<", 2},              {"<=", 2},   {">", 2},     {">=", 2},
      {"+", 2},       {"*", 2},              {"-", 2},    {"/", 2},     {"^", 2},
      {"min", 2},     {"max", 2},            {"aget", 2}, {"aget_default", 3},
      {"cashflow", 1}, {"generate", 3}, {"list", -1},
  };
  for (const auto& b : builtins) {
    for (int n = 0; n <= 4; n++) {
      std::vector<const Cell*> items{symbol(b.name)};
      for (int i = 0; i < n; i++) items.push_back(integer(i));
      Outcome o = check(list_of(items));
      if (n == b.arity || b.arity < 0) {
        EXPECT_EQ(o.status, 0) << b.name << " with " << n << "\n" << o.err;
      } else {
        EXPECT_EQ(o.status, 1) << b.name << " with " << n;
        EXPECT_EQ(o.err.substr(o.err.find('\n') + 1), "Wrong arity\n") << b.name << " with " << n;
      }
    }
  }
}

TEST(VerifyExpressionDeathTest, DatesAndSpansAreUnexpected) {
  const Cell* month = date(12 * 2019 + 10);
  const Cell* cases[] = {
      month,
      list3(symbol("+"), integer(1), span_at(12, month)),
      list3(symbol("function"), nil(), month),
  };
  for (const Cell* c : cases) {
    Outcome o = check(c);
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, "Unexpected tag\n");
  }
  // Unexamined places may hold them, and a C-level expression has dates.
  EXPECT_EQ(check(list2(symbol("quote"), month)).status, 0);
  EXPECT_EQ(check(list2(symbol("c"), month)).status, 0);
}

// (+ 1 . 2): the elements before the end are checked first; an empty first
// pair of an assoc read in a script lies at the reader's own place; a list
// of expressions is checked first to last.
TEST(VerifyExpressionDeathTest, ListsAndTheirEnds) {
  Outcome o = check(cons(symbol("+"), cons(integer(1), integer(2))));
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, "Malformed expression list\n");
  o = check("(assoc () (\"a\" 1))");
  EXPECT_EQ(o.status, 1);
  EXPECT_TRUE(ownPosition(o.err, "core/reader.cpp", "Malformed assoc")) << o.err;
  o = run_fatal([] { verifyExpressionList(nil(), nil(), nil(), nil(), parse("(1 y z)")); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "\ny\n");
  EXPECT_EQ(o.err, position("(from string)", 1, 4) + "Unbound symbol\n");
}

// Argument and parameter lists of tens of thousands of elements.
TEST(VerifyExpressionDeathTest, LongLists) {
  const int n = 50000;
  std::vector<const Cell*> items{symbol("list")};
  for (int i = 0; i < n; i++) items.push_back(integer(i));
  EXPECT_EQ(check(list_of(items)).status, 0);

  items.push_back(parse("y"));
  Outcome o = check(list_of(items));
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, position("(from string)", 1, 1) + "Unbound symbol\n");

  std::vector<const Cell*> parameters;
  for (int i = 0; i < n; i++) {
    parameters.push_back(symbol(strdup(("p" + std::to_string(i)).c_str())));
  }
  EXPECT_EQ(check(list3(symbol("function"), list_of(parameters), parameters.back())).status, 0);

}

}  // namespace
