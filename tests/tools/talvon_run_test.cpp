// talvon-run end to end: the real executable, the real talvon, tcc and
// FIFOs. Every run makes its run directory under a TMPDIR of the test's
// own, which must be empty again afterwards, with no process left in it.
#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "support/process.h"
#include "support/run_checks.h"

namespace {

const std::string MODEL = TALVON_SOURCE_DIR "/models/pension/model.tal";
const std::string EXAMPLE = TALVON_SOURCE_DIR "/models/example/portfolio.tal";
const std::string FAILED = "talvon-run: talvon ended the run with an error (exit status 1)\n";

size_t count_lines(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

// Checks the result files of a valuation and gives the number of pairs:
// the CSV layout itself is the result files' own test.
size_t expect_result_files(const std::string& out) {
  std::string reserves = read_file(out + "/reserves.csv");
  std::string cashflows = read_file(out + "/cashflows.csv");
  EXPECT_EQ(reserves.rfind("from,to,flow,value\n", 0), 0u);
  EXPECT_EQ(cashflows.rfind("month,date,from,to,flow,value\n0,2019-10,1,2,", 0), 0u);
  EXPECT_EQ(reserves.find("nan"), std::string::npos);
  size_t pairs = count_lines(reserves) - 1;
  EXPECT_EQ(count_lines(cashflows), 1 + 1440 * pairs);
  EXPECT_NE(cashflows.find("\n1439,"), std::string::npos);
  std::string svg = read_file(out + "/cashflows.svg");
  EXPECT_EQ(svg.rfind("<svg xmlns=\"http://www.w3.org/2000/svg\"", 0), 0u);
  return pairs;
}

TEST(TalvonRunTest, ValuesTheExamplePortfolio) {
  TempDir tmp, out;
  Outcome o = run_program(command(tmp.path, {"-q", "-o", out.path, MODEL, EXAMPLE}));
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(o.err, "");
  EXPECT_EQ(o.out.rfind("from  to  flow                reserve\n   1   2  Premiums  ", 0), 0u) << o.out;
  for (const char* label : {"  Benefits  ", "  Family benefits  ", "  Surrender  ", "  Expenses  "}) {
    EXPECT_NE(o.out.find(label), std::string::npos) << label;
  }
  EXPECT_NE(o.out.find("Report:  " + out.path + "/report.html\n"), std::string::npos);
  EXPECT_EQ(expect_result_files(out.path), 6u);
  // The socket variant delivers the same records.
  TempDir socket_out;
  o = run_program(command(tmp.path, {"--socket", "-o", socket_out.path, MODEL, EXAMPLE}));
  EXPECT_EQ(o.status, 0) << o.err;
  for (const char* file : {"/cashflows.csv", "/reserves.csv"}) {
    EXPECT_EQ(read_file(socket_out.path + file), read_file(out.path + file)) << file;
  }
  expect_clean(tmp.path);
}

TEST(TalvonRunTest, RunScriptAndDefaultOutputFolder) {
  TempDir tmp, cwd;
  write_file(cwd.file("run.tal"), "; the example's own run script\n(define (task) (cashflow (portfolio)))\n");
  Outcome o = run_program(command(tmp.path, {"-q", MODEL, EXAMPLE, "run.tal"}), "", cwd.path);
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(expect_result_files(cwd.file("talvon-out")), 6u);
  expect_clean(tmp.path);
}

// A generate task finds the tables through conf/, and what it writes comes
// out in the output folder.
TEST(TalvonRunTest, GenerateTaskKeepsItsFiles) {
  TempDir tmp, out;
  write_file(out.file("gen.tal"), "(define (task) (generate 3 \"a.pf\" \"b.pf\"))\n");
  Outcome o = run_program(command(tmp.path, {"-q", "-o", out.file("pf"), MODEL, EXAMPLE, out.file("gen.tal")}));
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(o.out, "talvon wrote 2 files into " + out.file("pf") + "\n");
  EXPECT_EQ(o.err, "Generate 3 products\nGenerate 3 products\n");
  EXPECT_NE(read_file(out.file("pf/b.pf")).find("(\"dfsa_yield\" (parseEvalBig"), std::string::npos);
  // The written portfolio values in its turn.
  o = run_program(command(tmp.path, {"-o", out.file("values"), MODEL, out.file("pf/b.pf")}));
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_GE(expect_result_files(out.file("values")), 2u);
  expect_clean(tmp.path);
}

// A fault in a script stops the run before talvon starts, at the user's
// place, with talvon's own message where talvon's code meets it. No output
// folder is left.
TEST(TalvonRunDeathTest, ScriptFaultsStopTheRunAtTheUsersPlace) {
  TempDir tmp, out;
  write_file(out.file("broken.tal"), "(define (portfolio)\n  (assoc (\"x\" 1)\n");
  write_file(out.file("model.tal"), read_file(MODEL) + "\n(define (x) \"unterminated)\n");
  std::string portfolio = read_file(EXAMPLE);
  portfolio.replace(portfolio.find("i01_016"), 7, "x99_999");
  write_file(out.file("unknown.tal"), portfolio);
  struct Case {
    std::vector<std::string> files;
    std::string err_start, err_end;
  } cases[] = {
      {{MODEL, out.file("broken.tal")}, out.file("broken.tal") + ":2:4: error: ",
       "talvon's code stopped with \"end of file in list\"\n"},
      {{out.file("model.tal"), EXAMPLE}, out.file("model.tal") + ":495:", "\"end of file in string\"\n"},
      {{MODEL, out.file("unknown.tal")}, out.file("unknown.tal") + ":162:11: error: policy 2 (line 152), product 1 ",
       "the model defines no product \"x99_999\"\n"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = {"-q", "-o", out.file("r")};
    args.insert(args.end(), c.files.begin(), c.files.end());
    Outcome o = run_program(command(tmp.path, args));
    EXPECT_EQ(o.status, 3);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err.substr(0, c.err_start.size()), c.err_start) << o.err;
    std::string end = c.err_end + "talvon-run: the scripts do not fit together: 1 error; nothing was valued\n";
    ASSERT_GE(o.err.size(), end.size()) << o.err;
    EXPECT_EQ(o.err.substr(o.err.size() - end.size()), end) << o.err;
    EXPECT_FALSE(std::filesystem::exists(out.file("r")));
  }
  expect_clean(tmp.path);
}

TEST(TalvonRunDeathTest, BadCommandLines) {
  TempDir tmp;
  struct Case {
    std::vector<std::string> args;
    std::string err;
  } cases[] = {
      {{MODEL, "/nonexistent/p.tal"},
       "talvon-run: cannot read the portfolio /nonexistent/p.tal: No such file or directory\n"},
      {{"/nonexistent/m.tal", EXAMPLE},
       "talvon-run: cannot read the model /nonexistent/m.tal: No such file or directory\n"},
      {{MODEL, EXAMPLE, "/nonexistent/r.tal"},
       "talvon-run: cannot read the run script /nonexistent/r.tal: No such file or directory\n"},
      {{"--frobnicate", MODEL, EXAMPLE},
       "talvon-run: unknown option --frobnicate (see talvon-run --help)\n"},
      {{MODEL}, "talvon-run: a model and a portfolio are needed (see talvon-run --help)\n"},
      {{MODEL, EXAMPLE, "r", "x"}, "talvon-run: too many files: x (see talvon-run --help)\n"},
      {{MODEL, EXAMPLE, "-o"}, "talvon-run: option -o needs a value (see talvon-run --help)\n"},
      {{"--conf", "/nonexistent", MODEL, EXAMPLE}, "talvon-run: no table folder /nonexistent\n"},
      {{TALVON_SOURCE_DIR "/models", EXAMPLE},
       "talvon-run: cannot read the model " TALVON_SOURCE_DIR "/models: it is a folder, not a script\n"},
      {{"-", "-"}, "talvon-run: only one script can be read from standard input (see talvon-run --help)\n"},
      {{"--slurm", "--merge", "d"},
       "talvon-run: --slurm runs the whole valuation, not one step (see talvon-run --help)\n"},
      {{"--shared-dir", "d", MODEL, EXAMPLE}, "talvon-run: --shared-dir goes with --slurm (see talvon-run --help)\n"},
      {{"--slurm", MODEL, EXAMPLE, "--", "-p", "x", "--array=1-3"},
       "talvon-run: sbatch's --array is talvon-run's own: one task a chunk (see talvon-run --help)\n"},
  };
  for (const Case& c : cases) {
    Outcome o = run_program(command(tmp.path, c.args));
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, c.err);
  }
  expect_clean(tmp.path);
}

// A portfolio of many policies, so that talvon is surely still at work
// when the interrupt comes.
std::string large_portfolio(const TempDir& tmp, const TempDir& out) {
  write_file(out.file("gen.tal"), "(define (task) (generate 1000 \"a.pf\" \"big.pf\"))\n");
  Outcome o = run_program(command(tmp.path, {"-o", out.path, MODEL, EXAMPLE, out.file("gen.tal")}));
  EXPECT_EQ(o.status, 0) << o.err;
  return out.file("big.pf");
}

// The path of the calculation program once talvon writes it, or "".
std::string program_being_written(const std::string& tmpdir) {
  for (const std::string& name : entries(tmpdir)) {
    std::string tx = tmpdir + "/" + name + "/bin/tx";
    if (access(tx.c_str(), F_OK) == 0) return tx;
  }
  return "";
}

// A calculation program killed after its first record: talvon does not
// examine its exit status, so talvon-run learns of the failure from the
// short stream and reports a failed run, never a result. The compiler on
// PATH makes such a program, sending to the FIFO named in the program text.
TEST(TalvonRunDeathTest, ProgramKilledMidStreamIsAFailedRun) {
  TempDir tmp, out, tools;
  write_file(tools.file("tcc"),
             "#!/bin/sh\n"
             "fifo=$(grep -o '\"[^\"]*/result\"' ../bin/tx | tr -d '\"')\n"
             "cat > ../bin/tmp <<EOF\n"
             "#!/bin/sh\n"
             "printf '\\001\\0\\0\\0\\001\\0\\0\\0\\002\\0\\0\\0\\0\\0\\0\\0\\0\\0\\360\\077' > $fifo\n"
             "kill -KILL \\$\\$\n"
             "EOF\n"
             "chmod 700 ../bin/tmp\n");
  chmod(tools.file("tcc").c_str(), 0700);
  std::vector<std::string> argv = command(tmp.path, {"-q", "-o", out.path, MODEL, EXAMPLE});
  argv.insert(argv.begin() + 1, "PATH=" + tools.path + ":" + getenv("PATH"));
  Outcome o = run_program(argv);
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.err, "talvon-run: the result stream ends after 1 of 1440 months of accounts 1 -> 2: the run failed\n");
  EXPECT_EQ(entries(out.path), std::vector<std::string>{});
  expect_clean(tmp.path);
}

TEST(TalvonRunTest, InterruptEndsTalvonAndCleansUp) {
  TempDir tmp, out;
  std::string portfolio = large_portfolio(tmp, out);
  ASSERT_EQ(entries(tmp.path), std::vector<std::string>{});
  std::vector<std::string> argv = command(tmp.path, {"-q", "-o", out.file("r"), MODEL, portfolio});
  std::string err_path = out.file("err");
  fflush(stdout);
  fflush(stderr);
  pid_t pid = fork();
  if (pid == 0) {
    int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(err, 2);
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
  }
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
  while (program_being_written(tmp.path).empty() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_FALSE(processes_under(tmp.path).empty());
  kill(pid, SIGINT);
  int status = 0;
  waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 130);
  EXPECT_EQ(read_file(err_path), "talvon-run: interrupted\n");
  EXPECT_FALSE(std::filesystem::exists(out.file("r")));
  expect_clean(tmp.path);
}

// An install tree holds everything talvon-run needs beside it.
TEST(TalvonRunTest, WorksFromAnInstallTree) {
  TempDir tmp, prefix, out;
  std::string build = std::filesystem::path(TALVON_RUN_EXE).parent_path().string();
  Outcome install = run_program({"/usr/bin/env", "cmake", "--install", build, "--prefix", prefix.path});
  ASSERT_EQ(install.status, 0) << install.err;
  for (const char* file : {"bin/talvon", "bin/talvon-run", "bin/talvon-scramble", "share/talvon/include/windows.h",
                           "share/talvon/models/pension/model.tal", "share/talvon/models/example/portfolio.tal",
                           "share/talvon/models/conf/dfsa_yield.txt"}) {
    EXPECT_TRUE(std::filesystem::exists(prefix.file(file))) << file;
  }
  std::string share = prefix.file("share/talvon/models");
  Outcome o = run_program(command(tmp.path, {"-o", out.path, share + "/pension/model.tal", share + "/example/portfolio.tal"},
                                  prefix.file("bin/talvon-run")));
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(expect_result_files(out.path), 6u);
  expect_clean(tmp.path);
}

}  // namespace
