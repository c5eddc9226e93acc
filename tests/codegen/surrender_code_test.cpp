// Surrender and free-policy transfer code: the seven-state rule, which
// records get which code, and the exact lines of the four hooks.
#include "codegen/surrender_code.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "codegen/emitter.h"
#include "codegen/names.h"
#include "core/list.h"
#include "core/printer.h"
#include "core/reader.h"
#include "support/emitted.h"
#include "support/cells.h"
#include "support/process.h"

namespace {

const Cell* entry(const char* key, const Cell* value) { return cons(string(key), value); }

const Cell* record(int id, const Cell* name, const Cell* env, const Cell* tuples = nil()) {
  const Cell* def = list1(cons(symbol("nodeTuples"), tuples));
  return list5(cons(symbol("id"), integer(id)), cons(symbol("name"), name),
               cons(symbol("weight"), integer(1)), cons(symbol("def"), def),
               cons(symbol("env"), env));
}

const Cell* flag(const char* key, const Cell* value) { return cons(symbol(key), value); }

TEST(SurrenderCodeTest, SevenStateSetsTheSurrenderIntensityToZeroInItsPlaceOrAddsIt) {
  const Cell* basis = list3(entry("mortality", string("m")), entry("surrender", real(0.02)),
                            entry("yield_curve", real(2.0)));
  const Cell* portfolio =
      list3(entry("policies", nil()), entry("basis", basis), entry("seven_state", integer(0)));
  EXPECT_EQ(printed(zeroSurrenderIntensity(portfolio)),
            "((\"policies\") (\"basis\" (\"mortality\" . \"m\") (\"surrender\" . 0.000000) "
            "(\"yield_curve\" . 2.000000)) (\"seven_state\" . 0))");
  // The given portfolio is not changed.
  EXPECT_EQ(real_value(aget_string(aget_string(portfolio, "basis"), "surrender")), 0.02);
  portfolio = list2(entry("seven_state", truth()), entry("basis", list1(entry("a", integer(1)))));
  const Cell* changed = aget_string(zeroSurrenderIntensity(portfolio), "basis");
  EXPECT_EQ(printed(changed), "((\"a\" . 1) (\"surrender\" . 0.000000))");
  EXPECT_TRUE(is_real(aget_string(changed, "surrender")));
}

TEST(SurrenderCodeTest, WithoutSevenStateThePortfolioIsKept) {
  const Cell* basis = list1(entry("surrender", real(0.02)));
  const Cell* portfolios[] = {
      list1(entry("basis", basis)),
      list2(entry("seven_state", nil()), entry("basis", basis)),
      // A symbol key is not the string key.
      list2(cons(symbol("seven_state"), integer(1)), entry("basis", basis)),
  };
  for (const Cell* portfolio : portfolios) {
    EXPECT_EQ(zeroSurrenderIntensity(portfolio), portfolio) << printed(portfolio);
  }
}

TEST(SurrenderCodeTest, FlagsAndNameDecideWhichCodeARecordGets) {
  const Cell* surrender = string("product_surrender");
  const Cell* ordinary = string("pension");
  struct Case {
    const Cell* name;
    const Cell* env;
    int noCode;
    int surrenderBlock;
    int freePolicySide;
  } cases[] = {
      {surrender, nil(), 0, 1, 0},
      {surrender, list1(flag("seven_state", integer(0))), 1, 0, 0},
      {surrender, list1(flag("survives_free_policy", truth())), 0, 1, 0},
      // A symbol of the name is an ordinary product.
      {symbol("product_surrender"), nil(), 0, 0, 1},
      {ordinary, nil(), 0, 0, 1},
      {ordinary, list1(flag("seven_state", truth())), 0, 0, 0},
      {ordinary, list1(flag("survives_free_policy", integer(0))), 0, 0, 0},
      // The first entry decides: a product's nil hides its policy's flag.
      {ordinary, list2(flag("survives_free_policy", nil()), flag("survives_free_policy", truth())),
       0, 0, 1},
  };
  for (const Case& c : cases) {
    const Cell* r = record(0, c.name, c.env);
    EXPECT_EQ(getsNoCode(r), c.noCode) << printed(r);
    EXPECT_EQ(getsSurrenderBlock(r), c.surrenderBlock) << printed(r);
    EXPECT_EQ(getsFreePolicySide(r), c.freePolicySide) << printed(r);
  }
}

// The four hooks in readable mode: the surrender product's block, then the
// pp-to-fp move of a product with active states (at any depth; a similar
// name does not count), of one without and of one without splits.
TEST(SurrenderCodeTest, HookTextsInReadableMode) {
  const Cell* surrender = record(7, string("product_surrender"), nil());
  const Cell* active = record(
      2, string("pension"), nil(),
      parse("(((alive (active))) ((alive (disabled))) ((inactive)) ((x (y (z (active))))))"));
  const Cell* dead = record(11, string("pension"), nil(), parse("(((alive)) ((dead)))"));
  const Cell* plain = record(12, string("pension"), nil(), parse("(())"));
  EXPECT_EQ(emitted(false,
                    [&] {
                      emitSecurePpa(4, surrender);
                      emitSurrenderMoves(4, surrender);
                      emitDeltaQuotient(2);
                      emitPpToFp(4, active);
                      emitPpToFp(0, dead);
                      emitPpToFp(0, plain);
                    }),
            read_file(TALVON_SOURCE_DIR "/tests/codegen/expected/surrender_hooks.c"));
}

// The Tiny C Compiler, when the machine has one.
std::string tinyC() {
  for (const char* path : {"/usr/bin/tcc", "/usr/local/bin/tcc"}) {
    if (FILE* f = fopen(path, "r")) {
      fclose(f);
      return path;
    }
  }
  return "";
}

const char* const TRANSITIONS[] = {
    "prob_customer_to_customer",
    "prob_customer_to_surrender",
    "prob_alive_to_alive",
    "prob_alive_to_dead",
    "prob_active_to_active",
    "prob_active_to_disabled",
    "prob_premium_paying_to_premium_paying",
    "prob_premium_paying_to_free_policy",
};

// One month of the surrender block from state 0 holding 1, with the
// transition probabilities given in TRANSITIONS order. Prints the seven
// states, probTransfer, quotient_ppa and delta_ppa.
std::vector<double> surrenderMonth(const double (&transitions)[8], double fpFraction) {
  const Cell* r = record(0, string("product_surrender"), nil());
  std::string source = emitted(false, [&] {
    emitLine(0, "#include <stdio.h>");
    emitLine(0, "int main(){");
    emitLine(2, "double prob, probTransfer, p_ppa, delta_ppa, quotient_ppa;");
    declareDoubleInit(2, symbol("fp_fraction"), real(fpFraction));
    for (int i = 0; i < 8; i++) {
      declareDoubleInit(2, symbol(TRANSITIONS[i]), real(transitions[i]));
    }
    for (int k = 0; k < 7; k++) declareDoubleInit(2, stateProbName(r, k), real(k == 0));
    for (int k = 0; k < 4; k++) declareDouble(2, tempProbName(k));
    emitSecurePpa(2, r);
    for (int k = 0; k < 4; k++) emitAssign(2, tempProbName(k), stateProbName(r, k));
    emitSurrenderMoves(2, r);
    emitDeltaQuotient(2);
    for (int k = 0; k < 7; k++) {
      emitLine(2, ("printf(\"%.17g \",prob_product_0_state_" + std::to_string(k) + ");").c_str());
    }
    emitLine(2, "printf(\"%.17g %.17g %.17g\\n\",probTransfer,quotient_ppa,delta_ppa);");
    emitLine(2, "return 0;");
    emitLine(0, "}");
  });
  TempDir dir;
  write_file(dir.file("surrender.c"), source);
  Outcome o = run_program({tinyC(), "-run", dir.file("surrender.c")});
  EXPECT_EQ(o.status, 0) << o.err;
  std::istringstream values(o.out);
  std::vector<double> result(10);
  for (double& v : result) values >> v;
  EXPECT_FALSE(values.fail()) << o.out;
  return result;
}

TEST(SurrenderProgramTest, OneMonthOfTheSurrenderBlock) {
  if (tinyC().empty()) GTEST_SKIP() << "no tcc";
  // Customer 0.9, alive 0.95, active 0.8, premium paying 0.7 in the last
  // case; fp_fraction 1 keeps the whole probability among the seven states.
  const double conversion = 0.9 * 0.95 * 0.8 * 0.3;
  struct Case {
    double transitions[8];
    double fpFraction;
    double expected[10];
  } cases[] = {
      // Surrender moves to state 6 and pays.
      {{0.99, 0.01, 0, 0, 0, 0, 0, 0}, 0.5, {0.99, 0, 0, 0, 0, 0, 0.01, 0.01, 0, 0}},
      // Conversion arrives with the free-policy fraction.
      {{1, 0, 1, 0, 1, 0, 0, 0.1}, 0.5, {0.9, 0.05, 0, 0, 0, 0, 0, 0, 0.1, 0.1}},
      // Every move out of state 0 happens once.
      {{0.9, 0.1, 0.95, 0.05, 0.8, 0.2, 0.7, 0.3},
       1.0,
       {1 - conversion - 0.9 * 0.95 * 0.2 * 0.7 - 0.9 * 0.05 * 0.7 - 0.1, conversion,
        0.9 * 0.95 * 0.2 * 0.7, 0, 0.9 * 0.05 * 0.7, 0, 0.1, 0.1, conversion, conversion}},
  };
  for (const Case& c : cases) {
    std::vector<double> v = surrenderMonth(c.transitions, c.fpFraction);
    for (int i = 0; i < 10; i++) EXPECT_NEAR(v[i], c.expected[i], 1e-15) << i;
  }
}

}  // namespace
