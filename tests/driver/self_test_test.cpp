// talvon test, run for real: in the directory the build prepares (the
// bundled model and a generated portfolio of 30 policies), and on faulty
// scripts in a directory of its own.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "driver/self_test.h"
#include "support/process.h"

namespace {


// The layout the self-test reads from: run.bin and source.bin in the
// working directory a/b/c, the portfolio three levels up.
struct SelfTestDir {
  SelfTestDir(const std::string& model, const std::string& portfolio, const std::string& run) {
    for (const char* sub : {"portfolios", "portfolios/portfolios", "a", "a/b", "a/b/c"}) {
      mkdir(dir.file(sub).c_str(), 0700);
    }
    if (!portfolio.empty()) write_scrambled(dir.file("portfolios/portfolios/random7_30.pf"), portfolio);
    if (!model.empty()) write_scrambled(dir.file("a/b/c/source.bin"), model);
    if (!run.empty()) write_scrambled(dir.file("a/b/c/run.bin"), run);
  }
  Outcome run() const { return run_program({TALVON_EXE, "test"}, "", dir.file("a/b/c")); }
  TempDir dir;
};

const std::string MODEL = read_file(TALVON_SOURCE_DIR "/models/pension/model.tal");
const std::string PORTFOLIO = read_file(TALVON_SELFTEST_DIR "/generate/random7_30.pf");
const std::string RUN = read_file(TALVON_SOURCE_DIR "/models/selftest/run.tal");

TEST(SelfTest, PassesInThePreparedDirectory) {
  Outcome o = run_program({TALVON_EXE, "test"}, "", TALVON_SELFTEST_DIR "/a/b/c");
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.err, "");
  ASSERT_GE(o.out.size(), 100u);
  EXPECT_EQ(o.out.substr(0, 16), "    1 TRUE==(1)\n");
  EXPECT_NE(o.out.find("\n   10 equal(parse(\"(a x)\"),parseExpr0(\"a(x)\"))\n"), std::string::npos);
  EXPECT_NE(o.out.find("\n   25 equal(parse(\"(* (- 0 \\\"a\\\") (- 0 1.2))\"),parseExpr0(\"-\\\"a\\\"*-1.2\"))\n"),
            std::string::npos);
  // The translation: the named result first, then the model's C-level
  // names as the translation meets them, the caller's x last.
  EXPECT_EQ(o.out.substr(o.out.find("abc = ")),
            "abc = ((age*2)+pow(x,7))\nage = (time-7)\ntime = (7+t)\nx = 2\n");
}

TEST(SelfTestDeathTest, MissingScriptEndsBeforeAnyCheck) {
  Outcome o = SelfTestDir(MODEL, "", RUN).run();
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "Trying to open ../../../portfolios/portfolios/random7_30.pf\n");
  EXPECT_EQ(o.err, "fopen(source): No such file or directory\n");
}

TEST(SelfTestDeathTest, FaultyModelEndsBeforeAnyCheck) {
  Outcome o = SelfTestDir("(cdef t_real x 1)\n" + MODEL, PORTFOLIO, RUN).run();
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.err, position("source.bin", 1, 7) + "Type must be t_date or t_span\n");
}

// The model's calendar alone, without `age`, passes the checks and fails in
// the translation.
TEST(SelfTestDeathTest, UndefinedNameEndsInTheTranslation) {
  Outcome o = SelfTestDir(MODEL.substr(0, MODEL.find("(cdef")), PORTFOLIO, RUN).run();
  EXPECT_EQ(o.status, 1);
  EXPECT_NE(o.out.find("   25 equal("), std::string::npos);
  EXPECT_EQ(o.out.substr(o.out.size() - 4), "age\n");
  EXPECT_EQ(o.err, position("(from string)", 1, 7) + "Unknown C variable\n");
}

// A check that does not hold stops the run right after its own line; the
// count goes on from the checks before it.
TEST(SelfTestDeathTest, FailedCheckStopsAtItsLine) {
  Outcome o = run_fatal([] {
    checkAssertion("first", [] { return 1; });
    checkAssertion("second", [] { return 0; });
    checkAssertion("third", [] { return 1; });
  });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "    1 first\n    2 second\n\nTest failed\n");
  EXPECT_EQ(o.err, "");
  // A check that ends the process itself (here without flushing anything)
  // leaves its own line as the last one shown.
  o = run_fatal([] { checkAssertion("ends", []() -> int { _exit(2); }); });
  EXPECT_EQ(o.status, 2);
  EXPECT_EQ(o.out, "    1 ends\n");
}

}  // namespace
