// talvon exec and server on three scrambled script files, run for real.
#include <gtest/gtest.h>
#include <unistd.h>

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

// A run directory as the front end lays it out: scripts in work/, with
// bin/ beside it.
struct RunDir {
  RunDir() {
    mkdir(dir.file("work").c_str(), 0700);
    mkdir(dir.file("bin").c_str(), 0700);
  }
  std::string script(const std::string& name, const std::string& text) const {
    write_scrambled(dir.file("work/" + name), text);
    return name;
  }
  Outcome exec(const std::string& f1, const std::string& f2, const std::string& f3) const {
    return run_program({TALVON_EXE, "exec", f1, f2, f3}, "", dir.file("work"));
  }
  TempDir dir;
};

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
    RunDir run;
    Outcome o = run.exec(run.script("m.bin", c.model), run.script("p.bin", c.portfolio),
                         run.script("r.bin", c.run));
    EXPECT_EQ(o.status, 1) << c.run;
    EXPECT_EQ(o.out + o.err, c.err) << c.model << c.portfolio << c.run;
  }
}

TEST(RunDriverDeathTest, HandedOverPortfolioIsRemovedOnceRead) {
  RunDir run;
  write_scrambled(run.dir.file("bin/tool.bin"), PORTFOLIO);
  // A broken model: the portfolio file is gone all the same.
  Outcome o = run.exec(run.script("m.bin", "(oops)"), "../bin/tool.bin", run.script("r.bin", UNKNOWN_TASK));
  EXPECT_EQ(o.err, position("m.bin", 1, 2) + "Unknown statement type\n");
  EXPECT_NE(access(run.dir.file("bin/tool.bin").c_str(), F_OK), 0);

  write_scrambled(run.dir.file("bin/other.bin"), PORTFOLIO);
  o = run.exec(run.script("m.bin", MODEL), "../bin/other.bin", run.script("r.bin", UNKNOWN_TASK));
  EXPECT_EQ(o.err, position("r.bin", 2, 17) + "Unknown task\n");
  EXPECT_EQ(access(run.dir.file("bin/other.bin").c_str(), F_OK), 0);
}

TEST(RunDriverDeathTest, MissingScript) {
  RunDir run;
  Outcome o = run.exec(run.script("m.bin", MODEL), "p.bin", run.script("r.bin", UNKNOWN_TASK));
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "Trying to open p.bin\n");
  EXPECT_EQ(o.err, "fopen(source): No such file or directory\n");
}

// The server ends like exec, sending the end record first when a
// progress pipe is given and opening nothing for "-1".
TEST(ServerDeathTest, EndRecordPrecedesTheMessage) {
  for (bool with_pipe : {true, false}) {
    RunDir run;
    FifoReader front_end(run.dir.file("progress"));
    Outcome o = run_program({TALVON_EXE, "server", run.script("m.bin", MODEL),
                             run.script("p.bin", PORTFOLIO), run.script("r.bin", UNKNOWN_TASK),
                             with_pipe ? front_end.path : "-1", "-1"},
                            "", run.dir.file("work"));
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, position("r.bin", 2, 17) + "Unknown task\n");
    EXPECT_EQ(decode_progress(front_end.finish()), with_pipe ? "E " : "");
  }
}

}  // namespace
