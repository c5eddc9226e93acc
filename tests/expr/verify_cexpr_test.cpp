#include "expr/verify_cexpr.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/cell.h"
#include "core/list.h"
#include "core/reader.h"
#include "support/model_script.h"
#include "support/process.h"
#include "support/terms.h"

namespace {

// d and e are dates, s and u spans; x is a bound script variable and f a
// one-parameter value definition.
const char* const CDEFS = "((d t_date) (e t_date) (s t_span) (u t_span))";

const Cell* cdefs() { return entries_of(CDEFS); }
const Cell* bound() { return parse("(x)"); }
const Cell* defs() { return acons(symbol("f"), cons(parse("(a)"), parse("a")), nil()); }

const Cell* type_of(const Cell* expression) {
  return verifyCExpr(bound(), cdefs(), defs(), expression);
}

std::string type_name(const Cell* type) {
  return is_symbol(type) ? symbol_name(type) : "(not a symbol)";
}

const struct {
  const char* text;
  const char* type;
} typed[] = {
    {"1", "t_real"},
    {"d", "t_date"},
    {"s", "t_span"},
    {"(+ d s)", "t_date"},
    {"(- d e)", "t_span"},
    {"(= 1 2)", "bool"},
    {"(min s u)", "t_span"},
    {"(if (< d e) d e)", "t_date"},
    {"(collective_mortality_male s)", "t_real"},
    {"(v_date x)", "t_date"},
    {"(v_real (date 2019 10))", "t_real"},
    {"(+ (span2years (- (+ d s) e)) (if (and (< d e) (>= s u)) 1 (* 2 3)))", "t_real"},
};

TEST(VerifyCExprTest, TypesOfExpressions) {
  for (const auto& t : typed) EXPECT_EQ(type_name(type_of(parse(t.text))), t.type) << t.text;
  EXPECT_EQ(type_name(type_of(date(12 * 2019 + 10))), "t_date");
  EXPECT_EQ(type_name(type_of(list3(symbol("+"), date(5), span_at(7, integer(0))))), "t_date");
}

// A variable has the type cell of its cdef, the newest entry first.
TEST(VerifyCExprTest, VariablesTakeTheirCdefType) {
  const Cell* cdefs = entries_of("((d t_span) (d t_date))");
  const Cell* type = verifyCExpr(nil(), cdefs, nil(), symbol("d"));
  EXPECT_EQ(type, head(tail(head(cdefs))));
  EXPECT_EQ(type_name(type), "t_span");
  // The second argument of if gives the type.
  EXPECT_EQ(verifyCExpr(nil(), cdefs, nil(), parse("(if (< 1 2) d d)")), type);
}

struct Failing {
  const char* text;
  const char* out;
  int where;  // 0: the outermost expression; else a character of line 1
  const char* message;
};

const Failing failing[] = {
    // Atoms
    {"\"a\"", "\"a\"\n", 2, "verifyCExpr: Illegal atom"},
    {"(+ \"a\" 1)", "\"a\"\n", 5, "verifyCExpr: Illegal atom"},
    {"(+ 1 ())", "()\n", -1, "verifyCExpr: Illegal atom"},
    {"q", "q\n", 1, "verifyCExpr: Unknown variable"},
    // Values known when the program is written
    {"(v_date x y)", "", 2, "v_date has arity 1"},
    {"(v_span)", "", 2, "v_span has arity 1"},
    {"(v_real)", "", 2, "value has arity 1"},
    {"(if 1 2)", "", 2, "if has arity 3"},
    {"(v_date y)", "\ny\n", 9, "Unbound symbol"},
    {"(v_span (g x))", "\n(g x)\n", 10, "verifyCompoundExpression: Unknown operator"},
    {"(v_real (is a))", "", 10, "Argument of 'is' must be state"},
    // if
    {"(if 1 2 3)", "", 2, "first argument of if must be bool"},
    {"(if (< d e) 1 s)", "", 2, "second and third argument of if must be the same type"},
    // span2years
    {"(span2years)", "", 2, "span2years has arity 1"},
    {"(span2years 12)", "", 0, "argument of span2years must be a span"},
    // and, or
    {"(and (< d e) 1)", "", 0, "arguments of 'and' and 'or' must be bool"},
    {"(and (< d e))", "", 0, "Wrong arity"},
    // relations, min and max
    {"(< d 1)", "", 0, "incompatible arguments of relation"},
    {"(max 1 2 3)", "", 0, "Wrong arity"},
    // *, /, ^
    {"(* s 2)", "", 0, "arguments must be numbers"},
    // +, -
    {"(+ d e)", "", 0, "incompatible arguments of '+'"},
    {"(- s d)", "", 0, "incompatible arguments of '-'"},
    // collective mortality
    {"(collective_mortality_male 3)", "", 0, "argument of collective_mortality_male must be span"},
    {"(collective_mortality_female 3)", "", 0,
     "argument of collective_mortality_female must be span"},
    {"(collective_mortality_male s u)", "", 0, "Wrong arity"},
    // Unknown operators, after their arguments
    {"(gauss 1 2 3)", "(gauss 1 2 3)\n", 2, "verifyCExpr: Unknown operator"},
    {"((+ 1 2) 3)", "((+ 1 2) 3)\n", 3, "verifyCExpr: Unknown operator"},
    {"(+ q d e)", "q\n", 4, "verifyCExpr: Unknown variable"},
};

TEST(VerifyCExprDeathTest, ReportsTheFirstFaultAtItsPlace) {
  for (const Failing& f : failing) {
    Outcome o = run_fatal([&] { type_of(relocated(parse(f.text))); });
    std::string where = f.where == 0 ? position("outer.tal", 9, 99)
                                     : position("(from string)", 1, f.where);
    EXPECT_EQ(o.status, 1) << f.text;
    EXPECT_EQ(o.out, f.out) << f.text;
    if (f.where < 0) {
      // An empty list read in a script lies at the reader's own place.
      EXPECT_TRUE(ownPosition(o.err, "core/reader.cpp", f.message)) << f.text << "\n" << o.err;
    } else {
      EXPECT_EQ(o.err, where + f.message + "\n") << f.text;
    }
  }
}

TEST(VerifyCExprDeathTest, ListIsTypedFirstToLast) {
  Outcome o = run_fatal([] { verifyCExprList(bound(), cdefs(), defs(), parse("(1 q r)")); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "q\n");
  EXPECT_EQ(o.err, position("(from string)", 1, 4) + "verifyCExpr: Unknown variable\n");
}

// Argument lists of tens of thousands of elements.
TEST(VerifyCExprDeathTest, LongArgumentLists) {
  const int n = 50000;
  std::vector<const Cell*> items;
  for (int i = 0; i < n; i++) items.push_back(i % 2 == 0 ? integer(i) : symbol("d"));
  const Cell* arguments = list_of(items);
  EXPECT_EQ(length(verifyCExprList(bound(), cdefs(), defs(), arguments)), n);

  Outcome o = run_fatal([&] { type_of(cons(parse("sum"), arguments)); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out.substr(0, 10), "(sum 0 d 2");
  EXPECT_EQ(o.out.substr(o.out.size() - 9), "49998 d)\n");
  EXPECT_EQ(o.err, position("(from string)", 1, 1) + "verifyCExpr: Unknown operator\n");
}

}  // namespace
