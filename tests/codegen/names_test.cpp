// Builders of the generated variable names.
#include "codegen/names.h"

#include <gtest/gtest.h>

#include <string>

#include "codegen/emitter.h"
#include "core/list.h"
#include "support/model_script.h"
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

// Accumulators find names by `equal`: the same name must match however
// often it is built, and different names must not, even with the same text.
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

TEST(NamesDeathTest, RecordWithoutId) {
  const Cell* bad = list1(cons(Sym("name"), Sym("p")));
  Outcome o = run_fatal([&] { stateProbName(bad, 1); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "\nid\n");
  EXPECT_TRUE(ownPosition(o.err, "codegen/names.cpp", "aget_strict: Unknown variable")) << o.err;
}

}  // namespace
