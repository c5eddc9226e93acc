// A self-test check is shown before it runs: a failed one ends the test at
// its line, and one that ends the process itself leaves its own line last.
#include <gtest/gtest.h>
#include <unistd.h>

#include "driver/self_test.h"
#include "support/process.h"

TEST(SelfTestTest, ChecksAreShownBeforeTheyRun) {
  Outcome o = run_fatal([] {
    checkAssertion("first", [] { return 1; });
    checkAssertion("second", [] { return 0; });
    checkAssertion("third", [] { return 1; });
  });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "    1 first\n    2 second\n\nTest failed\n");
  o = run_fatal([] { checkAssertion("ends", []() -> int { _exit(2); }); });
  EXPECT_EQ(o.status, 2);
  EXPECT_EQ(o.out, "    1 ends\n");
}
