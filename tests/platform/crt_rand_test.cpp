// The generator must give Microsoft's C runtime sequence exactly: scrambled
// script files written by the front end are only readable with it.
#include "platform/crt_rand.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

// state = state * 214013 + 2531011 modulo 2^32; the result is bits 16..30.
int expected_after(uint64_t* state) {
  *state = (*state * 214013 + 2531011) % 4294967296ull;
  return static_cast<int>((*state / 65536) % 32768);
}

TEST(CrtRand, SeedOneGivesTheKnownSequence) {
  crt_srand(1);
  const int known[] = {41, 18467, 6334, 26500, 19169, 15724, 11478, 29358, 26962, 24464};
  for (int value : known) EXPECT_EQ(crt_rand(), value);
}

TEST(CrtRand, OtherSeedsFollowTheFormula) {
  const uint32_t seeds[] = {0, 2, 197, 12345, 0x7fffffffu, 0xffffffffu};
  for (uint32_t seed : seeds) {
    SCOPED_TRACE(seed);
    crt_srand(seed);
    uint64_t state = seed;
    for (int i = 0; i < 1000; i++) ASSERT_EQ(crt_rand(), expected_after(&state)) << "value " << i;
  }
}

TEST(CrtRand, ReseedingRestartsTheSequence) {
  crt_srand(777);
  int a = crt_rand();
  int b = crt_rand();
  crt_srand(777);
  EXPECT_EQ(crt_rand(), a);
  EXPECT_EQ(crt_rand(), b);
}

}  // namespace
