// Split statements and the `states` they build.
#include "model/splits.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/list.h"
#include "model/statements.h"
#include "support/cells.h"
#include "support/model_script.h"
#include "support/process.h"

namespace {

const Cell* statesOf(const Cell* statements) {
  verifyStatements(statements);
  const Cell* defs = statementsToDefs(statements);
  const Cell* cdefs = statementsToCdefs(statements, defs);
  return statementsToStates(cdefs, defs, statements, nil());
}

TEST(SplitsTest, RecordHoldsClausesByKindInClauseOrder) {
  const Cell* states = statesOf(script({
      "(split (x y) all (a b c)",
      "  (intensity a b 0.1) (weight a 0.5) (init (if x (is a) (is c)))",
      "  (intensity b a (* 2 (v_real y))) (weight b 0.25))",
  }));
  EXPECT_EQ(printed(akeys(states)), "(c b a)");
  // The children share one chain.
  EXPECT_EQ(aget(states, symbol("a")), aget(states, symbol("c")));
  const Cell* split = head(aget(states, symbol("c")));
  EXPECT_EQ(length(split), 6);
  EXPECT_EQ(printed(splitParameters(split)), "(x y)");
  EXPECT_EQ(printed(splitParent(split)), "all");
  EXPECT_EQ(printed(splitChildren(split)), "(a b c)");
  EXPECT_EQ(printed(splitInit(split)), "(if x (is a) (is c))");
  EXPECT_EQ(printed(splitIntensities(split)), "((a b 0.100000) (b a (* 2 (v_real y))))");
  EXPECT_EQ(printed(splitWeights(split)), "((a 0.500000) (b 0.250000))");
}

TEST(SplitsTest, ChainsRunInnermostFirstAndSplitsOfOneParentGroupLastFirst) {
  const Cell* states = statesOf(script({
      "(split (x) all (a b) (init x))",
      "(split (y) a (c d) (init y))",
      "(define (f) 1)",
      "(split (z) c (e f) (init z))",
      "(split (w) all (g h) (init w))",
  }));
  EXPECT_EQ(printed(akeys(states)), "(h g f e d c b a)");
  const Cell* chain = aget(states, symbol("e"));
  ASSERT_EQ(length(chain), 3);
  EXPECT_EQ(printed(splitParent(first(chain))), "c");
  EXPECT_EQ(printed(splitParent(second(chain))), "a");
  EXPECT_EQ(printed(splitParent(third(chain))), "all");
  // The tail of a chain is the parent's chain itself.
  EXPECT_EQ(tail(chain), aget(states, symbol("c")));
  EXPECT_EQ(length(aget(states, symbol("h"))), 1);
}

TEST(SplitsTest, StartingStatesAreKept) {
  const Cell* statements = script({"(split (x) a (c d) (init x))"});
  const Cell* start = statesOf(script({"(split (x) all (a b) (init x))"}));
  const Cell* states = statementsToStates(nil(), nil(), statements, start);
  EXPECT_EQ(printed(akeys(states)), "(d c b a)");
}

TEST(SplitsDeathTest, FaultsReportedAtTheirCell) {
  struct Fault {
    std::vector<std::string> lines;
    int line, character;
    std::string message, out;
  };
  const std::string ok = "(split (x) all (a b) (init x))";
  const Fault faults[] = {
      {{"(split x all (a b) (init x))"}, 2, 8, "Malformed split parameter list", ""},
      {{"(split (x 1 y) all (a b) (init x))"}, 2, 11, "Split parameters must be symbols", ""},
      {{"(split (x))"}, 2, 9, "Split must have parent state", ""},
      {{"(split (x) (all) (a b) (init x))"}, 2, 13, "Split parent must be a symbol", ""},
      {{"(split (x) a (c d) (init x))", ok}, 2, 12, "Unknown split parent state", ""},
      {{"(split (x) all)"}, 2, 9, "Split must have list of children", ""},
      {{"(split (x) all (a) (init x))"}, 2, 9, "Split must have at least two children", ""},
      {{"(split (x) all (a 2 b) (init x))"}, 2, 19, "Split children must be symbols", ""},
      {{"(split (x) all (a b) 4 (init x) 5)"}, 2, 33, "Malformed split", ""},
      {{"(split (x) all (a b) (foo 1) (init x) (bar 2))"}, 2, 40, "Unknown split keyword", ""},
      // The keyword check comes before the init check.
      {{"(split (x) all (a b) (interest 1))"}, 2, 23, "Unknown split keyword", ""},
      {{"(split (x) all (a b) (init y) (init x))"}, 2, 28,
       "Split must have one initiation statement", ""},
      {{"(split (x) all (a b) (init x x))"}, 2, 28, "Split must have one expression", ""},
      {{"(split () all (a b) (init x))"}, 2, 27, "Unbound symbol", "\nx\n"},
      {{"(split (x) all (a b) (init (is c)))"}, 2, 29, "Argument of 'is' must be state", ""},
      {{"(split (x) all (a b) (init x) (intensity a b))"}, 2, 42,
       "Intensities must take three arguments", ""},
      {{"(split (x) all (a b) (init x) (intensity c b 0.1))"}, 2, 42,
       "First argument of intensity must be a state", ""},
      // A later intensity clause is checked as well.
      {{"(split (x) all (a b) (init x)",
        "  (intensity a b 0.1) (intensity b a 0.2) (intensity a c 0.3))"},
       3, 54, "Second argument of intensity must be a state", ""},
      {{"(split (x) all (a b) (init x) (intensity a b (v_date x)))"}, 2, 42,
       "intensities shall be reals", ""},
      {{"(split (x) all (a b) (init x) (weight a))"}, 2, 39, "Weights take two arguments", ""},
      {{"(split (x) all (a b) (init x) (weight c 0.5))"}, 2, 39,
       "First argument of weight must be a split state", ""},
      {{"(split (x) all (a b) (init x) (weight b 0.5) (weight a (v_date x)))"}, 2, 54,
       "weights shall be reals", ""},
      {{ok, "(split (x) all (c a) (init x))"}, 3, 19, "Split children must be unique", ""},
      // Uniqueness comes after all clause checks.
      {{"(split (x) all (a a) (init x) (weight c 1))"}, 2, 39,
       "First argument of weight must be a split state", ""},
  };
  for (const Fault& f : faults) {
    const Cell* statements = script(f.lines);
    Outcome o = run_fatal([&] { statesOf(statements); });
    EXPECT_EQ(o.status, 1) << f.lines.back();
    EXPECT_EQ(o.err, at(f.line, f.character) + f.message + "\n") << f.lines.back();
    EXPECT_EQ(o.out, f.out) << f.lines.back();
  }
}

// Faults at an empty list made by the reader or by a lookup.
TEST(SplitsDeathTest, FaultsAtEmptyListsOfTalvonsOwn) {
  struct Case {
    std::string line, file, message;
  } cases[] = {
      {"(split)", "core/reader.cpp", "Split must have parameters"},
      {"(split (x) all (a b))", "core/list.cpp", "Split must have one initiation statement"},
      {"(split (x) all (a b) (init))", "core/reader.cpp", "Split must have one expression"},
      {"(split (x) () (a b) (init x))", "core/reader.cpp", "Split parent must be a symbol"},
  };
  for (const Case& c : cases) {
    const Cell* statements = script({c.line});
    Outcome o = run_fatal([&] { statesOf(statements); });
    EXPECT_EQ(o.status, 1) << c.line;
    EXPECT_TRUE(ownPosition(o.err, c.file, c.message)) << c.line << "\n" << o.err;
    EXPECT_EQ(o.out, "") << c.line;
  }
}

// Lists with a dotted tail cannot be written in a script; made by hand.
TEST(SplitsDeathTest, DottedListsAreMalformed) {
  const Cell* x = symbol_source("x", 4, 2, "model.tal");
  const Cell* y = symbol_source("y", 4, 6, "model.tal");
  const Cell* ab = list2(symbol("a"), symbol("b"));
  const Cell* init = list1(list2(symbol("init"), x));
  const Cell* dotted = cons(symbol("a"), cons(symbol("b"), y));
  const Cell* splits[] = {cons(cons(x, y), cons(symbol("all"), cons(ab, init))),
                          cons(list1(x), cons(symbol("all"), cons(dotted, init)))};
  const char* messages[] = {"Malformed split parameter list", "Malformed split children list"};
  for (int i = 0; i < 2; i++) {
    Outcome o = run_fatal([&] { verifySplit(nil(), nil(), splits[i], nil()); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, position("model.tal", 4, 6) + messages[i] + "\n");
  }
}

}  // namespace
