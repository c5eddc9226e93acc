// The state transition code: split assignments, move probabilities and the
// moves of a record's month block, as generated text in readable mode.
#include "codegen/state_moves.h"

#include <gtest/gtest.h>

#include <cstdio>
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
#include "support/model_script.h"
#include "support/process.h"

namespace {

Model runPasses(const std::vector<std::string>& lines) { return ::runPasses(script(lines)); }

// A policy product record of the named product with an empty environment.
const Cell* recordOf(const Model& m, const char* product, int id) {
  return list5(cons(symbol("id"), integer(id)), cons(symbol("name"), string(product)),
               cons(symbol("weight"), integer(1)),
               cons(symbol("def"), aget_named(m.products, product)), cons(symbol("env"), nil()));
}

const Cell* assignmentsOf(const Model& m, const char* product) {
  const Cell* tree = aget_named(aget_named(m.products, product), "splitAssoc");
  return splitAssignments(tree, m.cdefs, m.defs, nil(), nil());
}

// Joins lines, each indented by four spaces and ended by a newline.
std::string lines4(const std::vector<std::string>& lines) {
  std::string result;
  for (const std::string& line : lines) result += "    " + line + "\n";
  return result;
}

std::string movesOf(const Model& m, const char* product, int id, Side side) {
  const Cell* record = recordOf(m, product, id);
  const Cell* accumulator = assignmentsOf(m, product);
  return emitted(false, [&] { emitMoves(4, record, accumulator, side); });
}

const std::vector<std::string> NESTED = {
    "(split (x) all (alive dead) (init x) (intensity alive dead (* 0.01 2.0)))",
    "(split (x) alive (active disabled) (init x) (intensity active disabled (* 0.1 0.5)))",
    "(product_definition (p) (= 0 0) (while active 100.0))",
};

const std::vector<std::string> WEIGHTED = {
    "(split (x) all (out in) (init x) (intensity out in (* 0.1 1.0)))",
    "(split (x) in (a b c) (init x) (weight a 0.3) (weight b (* 0.2 1.0)))",
    "(product_definition (p) (= 0 0) (while a 1.0))",
};

const std::vector<std::string> INTEGER_WEIGHTS = {
    "(split (x) all (out in) (init x) (intensity out in (* 0.1 1.0)))",
    "(split (x) in (a b c) (init x) (weight a 0) (weight b 1))",
    "(product_definition (p) (= 0 0) (while a 1.0))",
};

TEST(StateMovesTest, IntegerWeightsFoldAndDropTheMovesTheyForbid) {
  Model m = runPasses(INTEGER_WEIGHTS);
  const Cell* accumulator = assignmentsOf(m, "p");
  const Cell* remainder = aget(accumulator, weightName(symbol("c")));
  EXPECT_TRUE(is_integer(remainder));
  EXPECT_EQ(integer_value(remainder), 0);
  // Weight 0 forbids entering a and c; weight 1 disappears from the product.
  EXPECT_EQ(movesOf(m, "p", 0, Side::premiumPaying),
            lines4({"// Move pp probabiliites", "probTransfer=0;", "prob=(prob_out_to_in*prob_0);",
                    "prob_product_0_state_0-=prob;", "prob_product_0_state_2+=prob;",
                    "probTransfer+=prob_product_0_state_1;"}));
}

TEST(StateMovesTest, KnownIntegerIntensitiesSimplifyButRealsDoNot) {
  Model m = runPasses({
      "(split (x) all (a b c) (init x) (intensity a b 0) (intensity a c 1)"
      " (intensity b c 0.0) (intensity c a 1.0))",
      "(product_definition (p) (= 0 0) (while a 1.0))",
  });
  EXPECT_EQ(emitted(false, [&] { emitAssignments(0, assignmentsOf(m, "p")); }),
            "prob_a_to_b=\n  0;\nprob_a_to_c=\n  1;\nprob_b_to_c=\n  0.000000;\n"
            "prob_c_to_a=\n  1.000000;\n"
            "prob_a_to_a=\n  1-prob_a_to_c-prob_a_to_b;\n"
            "prob_b_to_b=\n  1-prob_b_to_c;\nprob_c_to_c=\n  1-prob_c_to_a;\n");
  EXPECT_EQ(movesOf(m, "p", 0, Side::premiumPaying),
            lines4({"// Move pp probabiliites", "probTransfer=0;", "prob=prob_0;",
                    "prob_product_0_state_0-=prob;", "prob_product_0_state_2+=prob;",
                    "prob=(0.000000*prob_1);", "prob_product_0_state_1-=prob;",
                    "prob_product_0_state_2+=prob;", "prob=(1.000000*prob_2);",
                    "prob_product_0_state_2-=prob;", "prob_product_0_state_0+=prob;",
                    "probTransfer+=prob_product_0_state_0;"}));
}

TEST(StateMovesTest, MultiplyTermsSimplifiesOnlyIntegerZeroAndOne) {
  struct MultiplyCase {
    const Cell* a;
    const Cell* b;
    const char* expected;  // the infix text
  };
  const Cell* x = transitionProbName(symbol("a"), symbol("b"));
  const Cell* y = weightName(symbol("c"));
  const MultiplyCase cases[] = {
      {integer(0), x, "0"},
      {integer(1), x, "prob_a_to_b"},
      {real(0.0), x, "(0.000000*prob_a_to_b)"},
      {integer(2), x, "(2*prob_a_to_b)"},
      {multiplyTerms(x, y), x, "((prob_a_to_b*weight_c)*prob_a_to_b)"},
  };
  for (const MultiplyCase& c : cases) {
    EXPECT_EQ(flat(toInfix(multiplyTerms(c.a, c.b))), c.expected);
  }
  // The zero that comes out is the very cell that went in.
  const Cell* zero = integer(0);
  EXPECT_EQ(multiplyTerms(x, zero), zero);
  EXPECT_EQ(multiplyTerms(zero, y), zero);
}

TEST(StateMovesTest, RemainderWeightFoldsWhileBothSidesAreIntegers) {
  const Cell* a = weightName(symbol("a"));
  const Cell* b = weightName(symbol("b"));
  const Cell* clauses = list2(list2(symbol("a"), nil()), list2(symbol("b"), nil()));
  struct Case {
    const Cell* weightA;
    const Cell* weightB;
    const char* expected;
  } cases[] = {
      {integer(0), integer(1), "0"},
      {integer(1), integer(1), "-1"},
      {real(0.3), integer(0), "1-weight_a-weight_b"},
      {integer(1), real(0.5), "0-weight_b"},
      {list3(symbol("x"), symbol("+"), symbol("y")), integer(0), "1-weight_a-weight_b"},
  };
  for (const Case& c : cases) {
    const Cell* accumulator = acons(b, c.weightB, acons(a, c.weightA, nil()));
    EXPECT_EQ(flat(remainderWeight(accumulator, integer(1), clauses)), c.expected);
  }
  // A weight nothing binds is subtracted by name.
  EXPECT_EQ(printed(remainderWeight(nil(), integer(1), list1(list2(symbol("a"), nil())))),
            "(1 - (weight_ a))");
}

// The checks reject a model that enters a split without weights; the
// generator itself only warns.
TEST(StateMovesTest, MissingWeightWarnsAndUsesTheName) {
  Outcome o = run_fatal([] {
    exit(equal(entryWeight(nil(), parse("((active))")), parse("(weight_ active)")) ? 0 : 3);
  });
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.out, "Warning: (weight_ active)\n");
}

TEST(StateMovesDeathTest, EveryChildWeightedLeavesNoneForTheRemainder) {
  Model m = runPasses({
      "(split (x) all (a b) (init x) (weight a 0.5) (weight b 0.5))",
      "(product_definition (p) (= 0 0) (while a 1.0))",
  });
  Outcome o = run_fatal([&] { assignmentsOf(m, "p"); });
  EXPECT_EQ(o.status, 1);
  // The empty rest of the children is the end of the list as read.
  EXPECT_EQ(o.out, "()\n");
  EXPECT_TRUE(ownPosition(o.err, "core/reader.cpp", "head of non-cons")) << o.err;
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

// A program that runs a year of months of a product with n states, 0.6
// starting on the premium-paying side of state 0 and 0.4 on the
// free-policy side, and prints the premium-paying states, the free-policy
// states and the sum of probTransfer.
std::string yearProgram(const Model& m, const char* product, int n) {
  const Cell* record = recordOf(m, product, 0);
  const Cell* accumulator = assignmentsOf(m, product);
  return emitted(false, [&] {
    emitLine(0, "#include <stdio.h>");
    emitLine(0, "int main(){");
    emitLine(2, "double prob, probTransfer, paid=0;");
    for (int k = 0; k < n; k++) {
      declareDoubleInit(2, stateProbName(record, k), real(k == 0 ? 0.6 : 0.0));
      declareDoubleInit(2, fpStateProbName(record, k), real(k == 0 ? 0.4 : 0.0));
      declareDouble(2, tempProbName(k));
      declareDouble(2, tempFpProbName(k));
    }
    for (const Cell* n = akeys(accumulator); is_cons(n); n = tail(n)) declareDouble(2, head(n));
    emitLine(2, "int t;");
    emitLine(2, "for(t=0;t<12;t++){");
    emitAssignments(4, accumulator);
    for (int k = 0; k < n; k++) {
      emitAssign(4, tempProbName(k), stateProbName(record, k));
      emitAssign(4, tempFpProbName(k), fpStateProbName(record, k));
    }
    emitMoves(4, record, accumulator, Side::premiumPaying);
    emitMoves(4, record, accumulator, Side::freePolicy);
    emitLine(4, "paid+=probTransfer;");
    emitLine(2, "}");
    // Templates take every % for a hole: the format goes in whole lines.
    for (int k = 0; k < n; k++) {
      emitLine(2, ("printf(\"%.17g \"," + flat(stateProbName(record, k)) + ");").c_str());
    }
    for (int k = 0; k < n; k++) {
      emitLine(2, ("printf(\"%.17g \"," + flat(fpStateProbName(record, k)) + ");").c_str());
    }
    emitLine(2, "printf(\"%.17g\\n\",paid);");
    emitLine(2, "return 0;");
    emitLine(0, "}");
  });
}

// The premium-paying states, the free-policy states and the paid sum.
std::vector<double> runYear(const Model& m, const char* product, int n) {
  TempDir dir;
  write_file(dir.file("moves.c"), yearProgram(m, product, n));
  Outcome o = run_program({tinyC(), "-run", dir.file("moves.c")});
  EXPECT_EQ(o.status, 0) << o.err;
  std::istringstream values(o.out);
  std::vector<double> result(2 * n + 1);
  for (double& v : result) values >> v;
  EXPECT_FALSE(values.fail()) << o.out;
  return result;
}

TEST(StateMovesProgramTest, NestedMovesConserveProbabilityInTheCompiledProgram) {
  if (tinyC().empty()) GTEST_SKIP() << "no tcc";
  std::vector<double> v = runYear(runPasses(NESTED), "p", 3);
  const double* pp = &v[0];
  const double* fp = &v[3];
  double paid = v[6];
  // The same months worked out here: death 0.02 from alive, disablement
  // 0.05 from active; the product pays for being active at the month's end.
  double active = 1.0, disabled = 0.0, dead = 0.0, paidHere = 0.0;
  for (int t = 0; t < 12; t++) {
    double a = active, d = disabled;
    active = a * 0.98 * 0.95;
    disabled = d * 0.98 + a * 0.98 * 0.05;
    dead += (a + d) * 0.02;
    paidHere += active;
  }
  const double expected[3] = {active, disabled, dead};
  for (int k = 0; k < 3; k++) {
    EXPECT_NEAR(pp[k], 0.6 * expected[k], 1e-14) << k;
    EXPECT_NEAR(fp[k], 0.4 * expected[k], 1e-14) << k;
  }
  EXPECT_NEAR(pp[0] + pp[1] + pp[2] + fp[0] + fp[1] + fp[2], 1.0, 1e-14);
  EXPECT_NEAR(paid, paidHere, 1e-13);
}

TEST(StateMovesProgramTest, EntryWeightsShareTheEnteringProbability) {
  if (tinyC().empty()) GTEST_SKIP() << "no tcc";
  std::vector<double> v = runYear(runPasses(WEIGHTED), "p", 4);
  // out leaves at 0.1 a month; a gets 0.3 of what enters, b 0.2, c the rest.
  double out = 1.0;
  for (int t = 0; t < 12; t++) out *= 0.9;
  const double expected[4] = {out, 0.3 * (1 - out), 0.2 * (1 - out), 0.5 * (1 - out)};
  double sum = 0.0;
  for (int k = 0; k < 4; k++) {
    EXPECT_NEAR(v[k], 0.6 * expected[k], 1e-14) << k;
    EXPECT_NEAR(v[4 + k], 0.4 * expected[k], 1e-14) << k;
    sum += v[k] + v[4 + k];
  }
  EXPECT_NEAR(sum, 1.0, 1e-14);
}

}  // namespace
