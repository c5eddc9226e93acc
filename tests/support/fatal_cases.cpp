#include "support/fatal_cases.h"

#include <gtest/gtest.h>

#include "support/process.h"

void expect_fatal_cases(const std::vector<FatalCase>& cases) {
  for (const FatalCase& c : cases) {
    Outcome o = run_fatal(c.call);
    EXPECT_EQ(o.status, c.status) << c.name;
    EXPECT_EQ(o.out, c.out) << c.name;
    EXPECT_EQ(o.err, c.err) << c.name;
  }
}
