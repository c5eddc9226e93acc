// Product definitions: their checks, state spaces and pay data.
#include "model/products.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/list.h"
#include "core/reader.h"
#include "model/product_pay.h"
#include "model/product_states.h"
#include "support/cells.h"
#include "support/model_script.h"
#include "support/process.h"

namespace {

const std::string AB = "(split (x) all (a b) (init x))";
const std::string CD = "(split (y) all (c d) (init y))";
const std::string A_CD = "(split (y) a (c d) (init y))";
const std::string DATES = "(cdef t_date d (v_date 1)) (cdef t_date e (v_date 2))";

// The record of the one product of a script.
const Cell* recordOf(const std::vector<std::string>& lines) {
  const Cell* products = runPasses(script(lines)).products;
  EXPECT_EQ(length(products), 1);
  return tail(head(products));
}

std::string field(const Cell* record, const char* key) { return printed(aget_named(record, key)); }

TEST(ProductsTest, EachKindOfCashflowGivesItsRecord) {
  struct Case {
    std::vector<std::string> lines;
    const char *keys, *tuples, *expiry, *states, *size;
  } cases[] = {
      {{AB, "(product_definition (p n) (= 0 0) (while a (* 2 (v_real n))))"},
       "(nodeTuples splitAssoc expiry payStates paySize payTransitions)", "(((a)) ((b)))",
       "(= 0 0)", "(((a)))", "(* 2 (v_real n))"},
      {{AB, "(product_definition (p) (< d e) (when (to a b) 5))", DATES},
       "(nodeTuples splitAssoc expiry payTransitions paySize payStates)", "(((a)) ((b)))",
       "(< d e)", "()", "5"},
      {{AB, "(product_definition (p) (<= d e) 100)", DATES},
       "(nodeTuples splitAssoc expiry paySize payTransitions payStates)", "(())", "(<= d e)",
       "(())", "100"},
  };
  for (const Case& c : cases) {
    const Cell* record = recordOf(c.lines);
    EXPECT_EQ(printed(akeys(record)), c.keys) << c.lines[1];
    EXPECT_EQ(field(record, "nodeTuples"), c.tuples) << c.lines[1];
    EXPECT_EQ(field(record, "expiry"), c.expiry) << c.lines[1];
    EXPECT_EQ(field(record, "payStates"), c.states) << c.lines[1];
    EXPECT_EQ(field(record, "paySize"), c.size) << c.lines[1];
  }
  // A move is a pair of tuples, not a list; a plain amount has no split.
  const Cell* record = recordOf(cases[1].lines);
  const Cell* move = cons(parse("((a))"), parse("((b))"));
  EXPECT_TRUE(equal(aget_named(record, "payTransitions"), list1(move)));
  EXPECT_EQ(field(recordOf(cases[2].lines), "splitAssoc"), "()");
}

TEST(ProductsTest, LastStateOfTheConditionComesFirstAndAlternativesPayInReverse) {
  const Cell* record = recordOf({AB, CD, "(product_definition (p) (= 0 0) (while (and a c) 1))"});
  EXPECT_EQ(field(record, "nodeTuples"), "(((c) (a)) ((c) (b)) ((d) (a)) ((d) (b)))");
  EXPECT_EQ(field(record, "payStates"), "(((c) (a)))");
  record = recordOf({AB, "(product_definition (p) (= 0 0) (while (or a b) 1))"});
  EXPECT_EQ(field(record, "payStates"), "(((b)) ((a)))");
  record = recordOf({AB, CD, "(product_definition (p) (= 0 0)",
                     "  (when (or (to (and a c) (and b c)) (to (and b d) (and a d))) 1))"});
  const Cell* expected = list2(cons(parse("((d) (b))"), parse("((d) (a))")),
                               cons(parse("((c) (a))"), parse("((c) (b))")));
  EXPECT_TRUE(equal(aget_named(record, "payTransitions"), expected))
      << field(record, "payTransitions");
}

TEST(ProductsTest, LinearCombinationPaysAsAWholeAndProductsStandLastFirst) {
  const Cell* record =
      recordOf({"(product_definition (p) (= 0 0) (linear_combination (1 (q 2)) (0.5 (r))))"});
  EXPECT_EQ(field(record, "paySize"), "(linear_combination (1 (q 2)) (0.500000 (r)))");
  EXPECT_EQ(field(record, "payStates"), "(())");
  EXPECT_EQ(printed(akeys(runPasses(script({"(product_definition (p) (= 0 0) (linear_combination))",
                                         "(product_definition (q) (= 0 0) 1)"}))
                           .products)),
            "(q p)");
}

TEST(ProductsTest, SplitTreeHoldsThePathsToTheNamedStates) {
  Model m = runPasses(script({AB, A_CD, "(product_definition (p) (= 0 0) (while c 1))"}));
  const Cell* record = tail(head(m.products));
  EXPECT_EQ(field(record, "nodeTuples"), "(((a (c))) ((a (d))) ((b)))");
  const Cell* s1 = head(aget(m.states, symbol("a")));
  const Cell* s2 = head(aget(m.states, symbol("c")));
  const Cell* expected = list1(cons(
      s1, list2(cons(symbol("a"), list1(cons(s2, list2(list1(symbol("c")), list1(symbol("d")))))),
                list1(symbol("b")))));
  EXPECT_TRUE(equal(aget_named(record, "splitAssoc"), expected)) << field(record, "splitAssoc");
  EXPECT_EQ(field(record, "payStates"), "(((a (c))))");
}

TEST(ProductsTest, SplitsStandInTheOrderTheWalkMeetsThem) {
  // e, the last state named, is met first; then c, whose path brings the
  // split into a and b and, inside a, the split into c and d.
  Model m =
      runPasses(script({AB, A_CD, "(split (z) all (e f) (init z))",
                        "(product_definition (p) (= 0 0) (while (or (and b f) (and c e)) 1))"}));
  const Cell* record = tail(head(m.products));
  EXPECT_EQ(field(record, "nodeTuples"),
            "(((e) (a (c))) ((e) (a (d))) ((e) (b)) ((f) (a (c))) ((f) (a (d))) ((f) (b)))");
  EXPECT_EQ(field(record, "payStates"), "(((e) (a (c))) ((f) (b)))");
}

TEST(ProductStatesTest, StatesOfAConditionInOrderOfLastOccurrence) {
  struct Case {
    const char* cashflow;
    const char* states;
  } cases[] = {
      {"(while (or a (and b a) c) 5)", "(b a c)"},
      {"(when (or (to a b) (to (and c a) d)) 5)", "(b c a d)"},
      {"(+ 1 2)", "()"},
      {"(linear_combination (1 (p)))", "()"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(printed(productDefToStates(parse(c.cashflow))), c.states) << c.cashflow;
  }
}

TEST(ProductStatesTest, NodeTuplesVaryTheFirstSplitSlowest) {
  // Hand-built tree: S1 of (a b) with a divided by S2 of (c d e), then S3 of (f g).
  const Cell* s1 = parse("(() all (a b) 0 () ())");
  const Cell* s2 = parse("(() a (c d e) 0 () ())");
  const Cell* s3 = parse("(() all (f g) 0 () ())");
  const Cell* inner = list1(cons(s2, parse("((c) (d) (e))")));
  const Cell* tree = list2(cons(s1, list2(cons(symbol("a"), inner), list1(symbol("b")))),
                           cons(s3, parse("((f) (g))")));
  EXPECT_EQ(printed(splitAssocToNodeTuples(tree)),
            "(((a (c)) (f)) ((a (c)) (g)) ((a (d)) (f)) ((a (d)) (g)) ((a (e)) (f)) ((a (e)) (g)) "
            "((b) (f)) ((b) (g)))");
  EXPECT_EQ(printed(splitAssocToNodeTuples(nil())), "(())");
}

TEST(ProductPayTest, UndividedStatesOfATuple) {
  EXPECT_EQ(printed(tupleToStates(parse("((a (c (e)) (d)) (f))"))), "(f d e)");
  EXPECT_EQ(printed(nodeTuplesToConjunctions(parse("(((a)) ((b (c))))"))),
            "(((c) (b (c))) ((a) (a)))");
  const Cell* conjunctions = nodeTuplesToConjunctions(parse("(((c) (a)) ((c) (b)))"));
  EXPECT_EQ(printed(setAget(conjunctions, parse("(b c b)"))), "((c) (b))");
  EXPECT_EQ(printed(conjunctionToStates(parse("(and a b)"))), "(a b)");
  EXPECT_EQ(printed(conjunctionToStates(parse("a"))), "(a)");
}

TEST(ProductStatesTest, InitialTupleFromThePolicyEnvironment) {
  Model m = runPasses(
      script({"(split (x) all (a b) (init x))", "(split (y) a (c d) (init (if y (is d) (is c))))",
              "(product_definition (p) (= 0 0) (while d 1))"}));
  const Cell* record = tail(head(m.products));
  struct Case {
    const char* x;
    const char* y;
    const char* tuple;
    int index;
  } cases[] = {
      {"a", "()", "((a (c)))", 0},
      {"a", "1", "((a (d)))", 1},
      {"b", "1", "((b))", 2},
  };
  for (const Case& c : cases) {
    const Cell* environment = acons(symbol("x"), parse(c.x), acons(symbol("y"), parse(c.y), nil()));
    const Cell* tuple = initialNodeTuple(aget_named(record, "splitAssoc"), m.defs, environment);
    EXPECT_EQ(printed(tuple), c.tuple) << c.x << " " << c.y;
    EXPECT_EQ(nodeTupleIndex(aget_named(record, "nodeTuples"), tuple), c.index) << c.x << c.y;
  }
}

TEST(ProductStatesDeathTest, InitialTupleThatIsNoProductState) {
  Model m = runPasses(script({AB, "(product_definition (p) (= 0 0) (while a 1))"}));
  const Cell* record = tail(head(m.products));
  const Cell* environment = acons(symbol("x"), parse("\n  z"), nil());
  const Cell* tuple = initialNodeTuple(aget_named(record, "splitAssoc"), m.defs, environment);
  Outcome o = run_fatal([&] { nodeTupleIndex(aget_named(record, "nodeTuples"), tuple); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "((z))\n");
  EXPECT_EQ(o.err, position("(from string)", 2, 3) + "Cannot find initial state\n");
}

TEST(ProductsDeathTest, ConjunctionNamingNoProductStateDiesWithoutPosition) {
  const Cell* statements =
      script({AB, CD, "(product_definition (p) (= 0 0) (while (or (and a c) a) 1))"});
  Outcome o = run_fatal([&] { runPasses(statements); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, "setAget: conjunction not found\n");
  EXPECT_EQ(o.out, "");
}

TEST(ProductsDeathTest, FaultsReportedAtTheirCell) {
  struct Fault {
    std::string line;  // the product statement, line 4 after the splits and cdefs
    int character;
    std::string message;
  };
  const std::string p = "(product_definition (p) ";
  const std::string pc = p + "(= 0 0) ";
  const Fault faults[] = {
      {pc + ")", 22, "Product definitions take three arguments"},
      {"(product_definition p (= 0 0) 1)", 21, "Malformed product lhs"},
      {"(product_definition (p x 3) (= 0 0) 1)", 26,
       "First argument of product def must be list of symbols"},
      {p + "(+ 1 2) 1)", 26, "expiry must be a Boolean"},
      {p + "(> d e) 1)", 26, "malformed expiry"},
      {p + "(= 0 1) 1)", 26, "Expiry can have form (= 0 0)"},
      {pc + "d)", 33, "atom: cashflow must be a real"},
      {pc + "(when (to a b)))", 34, "when takes two arguments"},
      {pc + "(when a 1))", 39, "when conjunction must be a list"},
      {pc + "(when (to a) 1))", 40, "Malformed arrow"},
      {pc + "(when (to a x) 1))", 45, "Unknown state"},
      {pc + "(when (to (or a) b) 1))", 44, "Malformed state conjunction"},
      {pc + "(when (to a b) d))", 34, "when: cashflow must be a real"},
      {pc + "(while a 1 2))", 34, "while takes two arguments"},
      {pc + "(while (or a b c) 1))", 48, "Unknown state"},
      {pc + "(while a d))", 34, "while: cashflow must be a real"},
      {pc + "(linear_combination (1)))", 54, "Malformed linear combination"},
      {pc + "(linear_combination (1 (q)) (d (r))))", 34,
       "linear_combination: coefficient must be a real"},
      {pc + "(v_date 1))", 34, "cashflow must be a real"},
  };
  for (const Fault& f : faults) {
    const Cell* statements = script({AB, DATES, f.line});
    Outcome o = run_fatal([&] { runPasses(statements); });
    EXPECT_EQ(o.status, 1) << f.line;
    EXPECT_EQ(o.err, at(4, f.character) + f.message + "\n") << f.line;
    EXPECT_EQ(o.out, "") << f.line;
  }
  // Parameters are the only script variables of a product.
  const Cell* statements = script({AB, DATES, pc + "(v_real n))"});
  Outcome o = run_fatal([&] { runPasses(statements); });
  EXPECT_EQ(o.err, at(4, 41) + "Unbound symbol\n");
  EXPECT_EQ(o.out, "\nn\n");
  statements = script({"(product_definition)"});
  o = run_fatal([&] { runPasses(statements); });
  EXPECT_TRUE(ownPosition(o.err, "core/reader.cpp", "Product definitions take three arguments"))
      << o.err;
}

}  // namespace
