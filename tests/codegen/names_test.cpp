#include "codegen/names.h"

#include <gtest/gtest.h>

#include <string>

#include "codegen/emitter.h"
#include "core/list.h"
#include "support/process.h"

namespace {

const Cell* Sym(const char* name) { return symbol_source(name, 2, 5, "n.tal"); }
const Cell* Int(int32_t v) { return integer_source(v, 2, 6, "n.tal"); }

const Cell* record(int32_t id) {
  return list3(cons(Sym("id"), Int(id)), cons(Sym("name"), string_source("p", 1, 1, "n.tal")),
               cons(Sym("weight"), Int(1)));
}

std::string text(const Cell* name) {
  char buffer[200];
  int n = flattenToBuffer(name, buffer, sizeof buffer);
  return std::string(buffer, n);
}

TEST(Names, TextOfEachBuilder) {
  struct Case {
    const Cell* name;
    const char* text;
  } cases[] = {
      {tempProbName(3), "prob_3"},
      {tempFpProbName(3), "prob_fp_3"},
      {stateProbName(record(12), 3), "prob_product_12_state_3"},
      {fpStateProbName(record(12), 3), "prob_product_12_fp_state_3"},
      {transitionProbName(Sym("alive"), Sym("dead")), "prob_alive_to_dead"},
      {weightName(Sym("active")), "weight_active"},
      {stateProbName(record(0), 0), "prob_product_0_state_0"},
  };
  for (const Case& c : cases) EXPECT_EQ(text(c.name), c.text);
}

TEST(Names, TokenStructure) {
  EXPECT_TRUE(equal(tempProbName(3), list2(Sym("prob_"), Int(3))));
  EXPECT_TRUE(equal(tempFpProbName(3), list2(Sym("prob_fp_"), Int(3))));
  EXPECT_TRUE(equal(stateProbName(record(12), 3),
                    list4(Sym("prob_product_"), Int(12), Sym("_state_"), Int(3))));
  EXPECT_TRUE(equal(fpStateProbName(record(12), 3),
                    list4(Sym("prob_product_"), Int(12), Sym("_fp_state_"), Int(3))));
  EXPECT_TRUE(equal(transitionProbName(Sym("a"), Sym("b")),
                    list4(Sym("prob_"), Sym("a"), Sym("_to_"), Sym("b"))));
  EXPECT_TRUE(equal(weightName(Sym("s")), list2(Sym("weight_"), Sym("s"))));
}

// Accumulators find names by `equal`: the same name must match however
// often it is built, and different names must not.
TEST(Names, SameNameMatchesAndOthersDoNot) {
  const Cell* acc = acons(stateProbName(record(12), 3), Int(1), nil());
  acc = acons(transitionProbName(Sym("alive"), Sym("dead")), Int(2), acc);
  EXPECT_TRUE(ahas(acc, stateProbName(record(12), 3)));
  EXPECT_TRUE(ahas(acc, transitionProbName(Sym("alive"), Sym("dead"))));
  const Cell* others[] = {
      fpStateProbName(record(12), 3), stateProbName(record(12), 4), stateProbName(record(1), 23),
      transitionProbName(Sym("dead"), Sym("alive")), tempProbName(3), weightName(Sym("alive")),
  };
  for (const Cell* other : others) EXPECT_FALSE(ahas(acc, other)) << text(other);
}

TEST(Names, NewCellsCarryTheBuildersPlace) {
  const Cell* name = tempProbName(7);
  EXPECT_STREQ(head(name)->file, "codegen/names.cpp");
  EXPECT_EQ(head(name)->character, 0);
  EXPECT_STREQ(second(name)->file, "codegen/names.cpp");
  // Given cells are used as they are.
  const Cell* state = Sym("alive");
  EXPECT_EQ(second(weightName(state)), state);
}

TEST(NamesDeathTest, RecordWithoutId) {
  const Cell* bad = list1(cons(Sym("name"), Sym("p")));
  Outcome o = run_fatal([&] { stateProbName(bad, 1); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "\nid\n");
  std::string prefix = "File codegen/names.cpp line ";
  ASSERT_EQ(o.err.substr(0, prefix.size()), prefix);
  EXPECT_NE(o.err.find(" character 0\naget_strict: Unknown variable\n"), std::string::npos)
      << o.err;
}

}  // namespace
