#include "expr/ctext.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "codegen/emitter.h"
#include "core/cell.h"
#include "core/list.h"
#include "core/reader.h"
#include "support/emitted.h"
#include "support/process.h"
#include "support/terms.h"

namespace {

// Script values known when the program is written: s a span of 27 months,
// d the date of March 1960, each at a place of its own.
const int32_t MARCH_1960 = 12 * 1960 + 3;

const Cell* environment() {
  return acons(symbol("s"), span_source(27, 3, 5, "env.tal"),
               acons(symbol("d"), date_source(MARCH_1960, 4, 6, "env.tal"), nil()));
}

// (define (twice a) (* a 2))
const Cell* defs() { return acons(symbol("twice"), cons(parse("(a)"), parse("(* a 2)")), nil()); }

// Entries (name type expression), first newest. w is the value of s, v
// uses w twice, and bad uses a variable that nothing defines. t has a
// definition that would fail if it were ever translated.
const char* const CDEFS =
    "((v t_span (+ w w)) (w t_span (v_span s)) (bad t_span (+ w zz)) (t t_span (abs 1)))";

const Cell* cdefs() { return entries_of(CDEFS); }

// x and y are already C variables of the program: they are never looked up.
const Cell* xy() {
  return acons(symbol("x"), symbol("x"), acons(symbol("y"), symbol("y"), nil()));
}

const Cell* translate(const Cell* term, const Cell* accumulator) {
  return ctermToCtext(term, cdefs(), defs(), environment(), accumulator);
}

std::string name_of(const Cell* key) { return is_symbol(key) ? symbol_name(key) : "(not a symbol)"; }

const struct {
  const char* term;
  const char* text;
} flattened[] = {
    {"1", "1"},
    {"t", "t"},
    {"(+ x 1)", "(x+1)"},
    {"(/ x 2)", "(x/(double)2)"},
    {"(^ x 2)", "pow(x,2)"},
    {"(min x y)", "fmin(x,y)"},
    {"(gauss x 0 1)", "gauss(x,0,1)"},
    {"(dfsa_yield t)", "dfsa_yield(t)"},
    {"(if (< x y) 1 0)", "((x<y)?1:0)"},
    {"(and (< x 1) (> y 2))", "((x<1)&&(y>2))"},
    {"(span2years x)", "(x/12.0)"},
    {"(collective_mortality_male x)", "collectiveMortalityMale(x)"},
    {"(if (and (< t x) (>= t y)) (min x y) (span2years (max x y)))",
     "(((t<x)&&(t>=y))?fmin(x,y):(fmax(x,y)/12.0))"},
    // Values known now go in as constants.
    {"(v_date d)", "23523"},
    {"(v_span s)", "27"},
    {"(v_real (c (* 2 0.5)))", "(2*0.500000)"},
    // A negative constant after a minus keeps C from reading a decrement.
    {"(- x -3)", "(x-(-3))"},
    {"(- x (v_real -0.25))", "(x-(-0.250000))"},
    {"(+ x -3)", "(x+-3)"},
};

// None of these needs a variable that is not in the accumulator already.
TEST(CtextTest, FlattenedTexts) {
  for (const auto& f : flattened) {
    const Cell* start = xy();
    const Cell* result = translate(parse(f.term), start);
    EXPECT_EQ(flat(head(result)), f.text) << f.term;
    EXPECT_EQ(tail(result), start) << f.term;
  }
}

// w is the span s; v is (+ w w). Translating v brings in w first, then v,
// each once however often it is used.
TEST(CtextTest, VariablesEnterWithTheirDefinitions) {
  const Cell* result = translate(parse("(span2years v)"), nil());
  EXPECT_EQ(flat(head(result)), "(v/12.0)");
  const Cell* accumulator = tail(result);
  ASSERT_EQ(length(accumulator), 2);
  EXPECT_EQ(name_of(head(first(accumulator))), "v");
  EXPECT_EQ(flat(tail(first(accumulator))), "(w+w)");
  EXPECT_EQ(name_of(head(second(accumulator))), "w");
  const Cell* w = tail(second(accumulator));
  ASSERT_TRUE(is_span(w));
  EXPECT_EQ(span_value(w), 27);
  EXPECT_EQ(flat(w), "27");
}

// The pairs written oldest first give every variable after those it uses.
TEST(CtextTest, AccumulatorWritesInDependencyOrder) {
  Outcome o = run_fatal([] {
    compactMode = FALSE;
    const Cell* accumulator = bindCtext(symbol("result"), parse("(* v (v_real 0.5))"), cdefs(),
                                        defs(), environment(), xy());
    emitAssignments(2, accumulator);
  });
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(o.out, "  w=\n    27;\n  v=\n    (w+w);\n  result=\n    (v*0.500000);\n");
  EXPECT_EQ(o.err, "");
}

struct Failing {
  const char* term;
  const char* out;
  int where;  // 0: the outermost term; else a character of line 1
  const char* message;
};

const Failing failing[] = {
    // Atoms and variables
    {"\"a\"", "\"a\"\n", 2, "ctermToCtext: Unknown atom"},
    {"q", "q\n", 1, "Unknown C variable"},
    {"(gauss x y (min x q))", "q\n", 19, "Unknown C variable"},
    // Values known now
    {"(v_date 5)", "5\n", 9, "expected date"},
    {"(v_span 2.5)", "2.500000\n", 9, "expected span"},
    {"(v_real (date 2019 1))", "", 2, "expected real"},
    {"(v_real \"a\")", "\"a\"\n", 10, "verifyCExpr: Illegal atom"},
    {"(v_real (c (+ w 1)))", "", 13, "incompatible arguments of '+'"},
    {"(v_real (c (+ x 1)))", "x\n", 15, "verifyCExpr: Unknown variable"},
    {"(v_date q)", "\nq\n", 9, "aget_strict: Unknown variable"},
    // Operators with their own arity message: reported at the head,
    // before any argument is looked at.
    {"(span2years)", "", 2, "span2years has arity 1"},
    {"(v_date x y)", "", 2, "v_date has arity 1"},
    {"(v_span)", "", 2, "v_span has arity 1"},
    {"(v_real)", "", 2, "value has arity 1"},
    {"(dfsa_yield)", "", 2, "dfsa_yield has arity 1"},
    {"(gauss q 0)", "", 2, "gauss has arity 3"},
    {"(if x y)", "", 2, "if has arity 3"},
    {"(collective_mortality_male x y)", "", 2, "collective_mortality_male has arity 1"},
    // Two-argument operators: the term is written and reported.
    {"(+ q 1 2)", "(+ q 1 2)\n", 0, "operation has arity 2"},
    // Operators not in the table, decided before the arguments
    {"(abs q)", "(abs q)\n", 0, "ctermToCtext: Unknown operator"},
    {"((+ x 1) 2)", "((+ x 1) 2)\n", 0, "ctermToCtext: Unknown operator"},
};

TEST(CtextDeathTest, ReportsTheFirstFaultAtItsPlace) {
  for (const Failing& f : failing) {
    Outcome o = run_fatal([&] { translate(relocated(parse(f.term)), xy()); });
    std::string where = f.where == 0 ? position("outer.tal", 9, 99)
                                     : position("(from string)", 1, f.where);
    EXPECT_EQ(o.status, 1) << f.term;
    EXPECT_EQ(o.out, f.out) << f.term;
    EXPECT_EQ(o.err, where + f.message + "\n") << f.term;
  }
}

// A value of the wrong kind is reported where the value came from.
TEST(CtextDeathTest, WrongValueKindAtTheValue) {
  Outcome o = run_fatal([] { translate(parse("(v_date s)"), xy()); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "span-2-03\n");
  EXPECT_EQ(o.err, position("env.tal", 3, 5) + "expected date\n");
}

// The fault inside a definition is reported in the definition's text.
TEST(CtextDeathTest, FaultInsideADefinition) {
  Outcome o = run_fatal([] { translate(parse("(+ x bad)"), xy()); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "zz\n");
  // "((v t_span (+ w w)) (w t_span (v_span s)) (bad t_span (+ w zz)) ..."
  EXPECT_EQ(o.err, position("(from string)", 1, 60) + "Unknown C variable\n");
}

// Argument lists of tens of thousands of elements.
TEST(CtextDeathTest, LongArgumentLists) {
  const int n = 50000;
  std::vector<const Cell*> items;
  for (int i = 0; i < n; i++) items.push_back(i % 2 == 0 ? integer(i) : symbol(i % 3 ? "x" : "w"));
  const Cell* arguments = list_of(items);
  const Cell* start = xy();
  const Cell* result = ctermListToCtext(arguments, cdefs(), defs(), environment(), start);
  const Cell* texts = head(result);
  ASSERT_EQ(length(texts), n);
  EXPECT_EQ(flat(first(texts)), "0");
  EXPECT_EQ(flat(second(texts)), "x");
  EXPECT_EQ(flat(fourth(texts)), "w");
  // w enters once.
  EXPECT_EQ(length(tail(result)), 3);
  EXPECT_EQ(tail(tail(result)), start);

  Outcome o = run_fatal([&] { translate(cons(parse("+"), arguments), xy()); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out.substr(0, 10), "(+ 0 x 2 w");
  EXPECT_EQ(o.out.substr(o.out.size() - 9), "49998 x)\n");
  EXPECT_EQ(o.err, position("(from string)", 1, 1) + "operation has arity 2\n");

}

}  // namespace
