// talvon exec and server on three scrambled script files, run for real.
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/annuity_run.h"
#include "support/fifo_reader.h"
#include "support/process.h"

namespace {

const std::string MODEL =
    "(cdef t_date start (v_date (date 2019 1)))\n"
    "(split () all (alive dead) (init (quote alive))\n"
    "  (intensity alive dead 0.001))\n"
    "(product_definition (annuity) (= 0 0) (while alive 100.0))\n";
const std::string PORTFOLIO = "(define (portfolio) (assoc (\"policies\" ())))\n";
const std::string UNKNOWN_TASK = "(define (frobnicate x) x)\n(define (task) (frobnicate 1))\n";

TEST(RunDriverDeathTest, FaultsNameTheirFile) {
  struct Case {
    std::string model, portfolio, run, err;
  };
  const Case cases[] = {
      {MODEL, PORTFOLIO, UNKNOWN_TASK, position("r.bin", 2, 17) + "Unknown task\n"},
      // Files are read F3, F2, F1: the first unreadable one is the last given.
      {"(a", "(b", "(c", position("r.bin", 1, 2) + "end of file in list\n"},
      // The task defined last wins: F3 over F1.
      {MODEL + "(define (task) (generate \"x\" \"a\" \"\"))\n", PORTFOLIO, UNKNOWN_TASK,
       position("r.bin", 2, 17) + "Unknown task\n"},
      // The products pass runs last, over the model.
      {MODEL + "(product_definition (x) (= 0 1) 1.0)\n", PORTFOLIO, UNKNOWN_TASK,
       position("m.bin", 5, 26) + "Expiry can have form (= 0 0)\n"},
      {MODEL, "(define (portfolio) y)\n", UNKNOWN_TASK,
       "\ny\n" + position("p.bin", 1, 21) + "Unbound symbol\n"},
      {MODEL, PORTFOLIO, "(task)\n", position("r.bin", 1, 2) + "Unknown statement type\n"},
      // The kind check covers all three files before any other pass.
      {"(define (x) y)\n", PORTFOLIO, "(wrong)\n", position("r.bin", 1, 2) + "Unknown statement type\n"},
      {MODEL, PORTFOLIO, "(define (portfolio2) 1)\n", "No task found, define 'task'\n"},
      {MODEL, PORTFOLIO, "(define (task x) (cashflow (portfolio)))\n", "Task takes no arguments\n"},
      {MODEL, PORTFOLIO, "(define (task) (generate \"5\" \"a.bpf\" \"\"))\n",
       position("r.bin", 1, 27) + "Malformed number of policies\n"},
      {MODEL, PORTFOLIO, "(define (task) (generate 5 a \"\"))\n",
       "\na\n" + position("r.bin", 1, 28) + "Unbound symbol\n"},
      {MODEL, PORTFOLIO, "(define (task) (generate 5 \"a.bpf\" 7))\n",
       position("r.bin", 1, 36) + "Malformed portfolio name\n"},
  };
  for (const Case& c : cases) {
    Outcome o = AnnuityRun(c.model, c.portfolio, c.run).exec();
    EXPECT_EQ(o.status, 1) << c.run;
    EXPECT_EQ(o.out + o.err, c.err) << c.model << c.portfolio << c.run;
  }
}

// A portfolio handed over in ../bin is removed once read, also when the
// model is broken; a portfolio of another name stays. A missing script
// cannot be opened.
TEST(RunDriverDeathTest, HandedOverPortfolioIsRemovedOnceRead) {
  struct Case {
    std::string model, f2, err_out;
    bool removed;
  } cases[] = {
      {"(oops)", "../bin/tool.bin", position("m.bin", 1, 2) + "Unknown statement type\n", true},
      {MODEL, "../bin/tool.bin", position("r.bin", 2, 17) + "Unknown task\n", true},
      {MODEL, "../bin/other.bin", position("r.bin", 2, 17) + "Unknown task\n", false},
      {MODEL, "none.bin", "Trying to open none.bin\nfopen(source): No such file or directory\n",
       false},
  };
  for (const Case& c : cases) {
    AnnuityRun run(c.model, PORTFOLIO, UNKNOWN_TASK);
    std::string handed = run.dir.file("work/" + c.f2);
    if (c.f2 != "none.bin") write_scrambled(handed, PORTFOLIO);
    Outcome o = run_program({TALVON_EXE, "exec", "m.bin", c.f2, "r.bin"}, "", run.dir.file("work"));
    EXPECT_EQ(o.status, 1) << c.f2;
    EXPECT_EQ(o.out + o.err, c.err_out) << c.f2;
    EXPECT_EQ(access(handed.c_str(), F_OK) != 0, c.removed || c.f2 == "none.bin") << c.f2;
  }
}

// The server ends like exec, sending the end record first when a
// progress pipe is given and opening nothing for "-1".
TEST(ServerDeathTest, EndRecordPrecedesTheMessage) {
  for (bool with_pipe : {true, false}) {
    AnnuityRun run(MODEL, PORTFOLIO, UNKNOWN_TASK);
    FifoReader front_end(run.dir.file("progress"));
    Outcome o = run.server(with_pipe ? front_end.path : "-1", "-1");
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, position("r.bin", 2, 17) + "Unknown task\n");
    EXPECT_EQ(decode_progress(front_end.finish()), with_pipe ? "E " : "");
  }
}

}  // namespace
