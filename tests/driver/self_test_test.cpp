// talvon test, run for real on the bundled self-test scripts.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/process.h"

namespace {

const std::string MODELS = TALVON_SOURCE_DIR "/models/selftest/";

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

const std::string MODEL = read_file(MODELS + "source.tal");
const std::string PORTFOLIO = read_file(MODELS + "random7_30.pf");
const std::string RUN = read_file(MODELS + "run.tal");

TEST(SelfTest, PassesOnTheBundledScripts) {
  Outcome o = SelfTestDir(MODEL, PORTFOLIO, RUN).run();
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.err, "");
  ASSERT_GE(o.out.size(), 100u);
  EXPECT_EQ(o.out.substr(0, 15), "    1 TRUE==(1)");
  EXPECT_NE(o.out.find("\n   10 equal(parse(\"(a x)\"),parseExpr0(\"a(x)\"))\n"), std::string::npos);
  EXPECT_NE(o.out.find("\n   25 equal(parse(\"(* (- 0 \\\"a\\\") (- 0 1.2))\"),parseExpr0(\"-\\\"a\\\"*-1.2\"))\n"),
            std::string::npos);
  // The translation: the named result first, the caller's own x last.
  EXPECT_EQ(o.out.substr(o.out.find("abc = ")), "abc = ((age*2)+pow(x,7))\nage = (t-7)\nx = 2\n");
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

// A model without `age` passes the checks and fails in the translation.
TEST(SelfTestDeathTest, UndefinedNameEndsInTheTranslation) {
  Outcome o = SelfTestDir("(window)", PORTFOLIO, RUN).run();
  EXPECT_EQ(o.status, 1);
  EXPECT_NE(o.out.find("   25 equal("), std::string::npos);
  EXPECT_EQ(o.out.substr(o.out.size() - 4), "age\n");
  EXPECT_EQ(o.err, position("(from string)", 1, 7) + "Unknown C variable\n");
}

}  // namespace
