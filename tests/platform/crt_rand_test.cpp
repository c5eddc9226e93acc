// The generator must give Microsoft's C runtime sequence exactly: scrambled
// script files written by the front end are only readable with it.
#include "platform/crt_rand.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

TEST(CrtRand, EachSeedGivesItsKnownSequenceEachTimeItIsSeeded) {
  struct Case {
    uint32_t seed;
    std::vector<int> values;
  };
  const Case cases[] = {
      {1, {41, 18467, 6334, 26500, 19169, 15724, 11478, 29358, 26962, 24464}},
      {0, {38, 7719, 21238, 2437}},
      {0xffffffffu, {35, 29739, 3374, 11141}},
  };
  for (const Case& c : cases) {
    for (int round = 0; round < 2; round++) {
      crt_srand(c.seed);
      for (int value : c.values) EXPECT_EQ(crt_rand(), value) << c.seed;
    }
  }
}

}  // namespace
