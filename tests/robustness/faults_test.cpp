// Faults on the way of a valuation, through the real executable: no
// ../bin, no compiler or a failing one, the calculation program killed,
// the progress or the result reader gone. Each ends in a clear message and
// leaves no program files and no processes behind.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/fifo_reader.h"
#include "support/process.h"

namespace {

// One annuity of 1 a month while alive, on accounts 1 -> 2.
const std::string MODEL =
    "(cdef t_span t (v_span (span 0 0)))\n"
    "(split () all (alive dead) (init (quote alive)) (intensity alive dead 0.01))\n"
    "(product_definition (annuity) (= 0 0) (while alive 1.0))\n";

const std::string PORTFOLIO =
    "(define (sex) (assoc (\"alive->dead\" (parse \"0.001\"))\n"
    "  (\"unmarried->married\" (parse \"0.0\")) (\"married->unmarried\" (parse \"0.0\"))\n"
    "  (\"age_distribution\" (parse \"0.0\"))))\n"
    "(define (tables) (assoc (\"dfsa_yield\" (list 1.0)) (\"dfsa_mortality_female\" (list 0.01))\n"
    "  (\"dfsa_mortality_improvement_female\" (list 0.0))\n"
    "  (\"dfsa_mortality_improvement_male\" (list 0.0)) (\"dfsa_mortality_male\" (list 0.01))))\n"
    "(define (basis) (assoc (\"male\" (sex)) (\"female\" (sex))\n"
    "  (\"dfsa (Finanstilsynet)\" (tables)) (\"yield_curve\" (parse \"2.0\"))\n"
    "  (\"free_policy_fraction\" (parse \"0.5\"))))\n"
    "(define (portfolio) (assoc (\"basis\" (basis)) (\"policies\" (list (assoc\n"
    "  (\"products\" (list (assoc (\"product_definition\" \"annuity\") (\"from\" 1) (\"to\" 2)))))))))\n";

const std::string TASK = "(define (task) (cashflow (portfolio)))\n";

// The front end's layout: scripts in work/, bin/ beside it.
struct RunDir {
  RunDir() {
    mkdir(dir.file("work").c_str(), 0700);
    mkdir(dir.file("bin").c_str(), 0700);
    write_scrambled(dir.file("work/m.bin"), MODEL);
    write_scrambled(dir.file("work/p.bin"), PORTFOLIO);
    write_scrambled(dir.file("work/r.bin"), TASK);
  }
  Outcome exec() const {
    return run_program({TALVON_EXE, "exec", "m.bin", "p.bin", "r.bin"}, "", dir.file("work"));
  }
  Outcome server(const std::string& pipe, const std::string& connection) const {
    return run_program({TALVON_EXE, "server", "m.bin", "p.bin", "r.bin", pipe, connection}, "",
                       dir.file("work"));
  }
  // The compiler an installation bundles, here a shell script.
  void bundleCompiler(const std::string& script) const {
    std::string path = dir.path;
    for (const char* part : {"/share", "/glib-2.0", "/cc"}) {
      path += part;
      mkdir(path.c_str(), 0700);
    }
    write_file(path + "/tcc", "#!/bin/sh\n" + script);
    chmod((path + "/tcc").c_str(), 0700);
  }
  std::vector<std::string> files(const std::string& folder) const {
    std::vector<std::string> names;
    DIR* d = opendir(dir.file(folder).c_str());
    if (d == nullptr) return names;
    for (dirent* e = readdir(d); e != nullptr; e = readdir(d)) {
      if (e->d_name[0] != '.') names.push_back(e->d_name);
    }
    closedir(d);
    return names;
  }
  // Processes still working in the run directory: none may outlive a run.
  int processesInside() const {
    int count = 0;
    DIR* proc = opendir("/proc");
    for (dirent* e = readdir(proc); e != nullptr; e = readdir(proc)) {
      char cwd[4096];
      std::string link = std::string("/proc/") + e->d_name + "/cwd";
      ssize_t n = readlink(link.c_str(), cwd, sizeof cwd - 1);
      if (n <= 0) continue;
      cwd[n] = '\0';
      if (std::string(cwd).rfind(dir.path, 0) == 0) count++;
    }
    closedir(proc);
    return count;
  }
  TempDir dir;
};

using Names = std::vector<std::string>;
const Names SCRIPTS = {"m.bin", "p.bin", "r.bin"};

Names sorted(Names names) {
  std::sort(names.begin(), names.end());
  return names;
}

// The program for the compiler scripts below: a shell script in place of
// what tcc would build.
std::string compilerMaking(const std::string& program) {
  return "cat > ../bin/tmp <<'EOF'\n#!/bin/sh\n" + program + "EOF\nchmod 700 ../bin/tmp\n";
}

TEST(FaultsDeathTest, NoBinFolder) {
  RunDir run;
  rmdir(run.dir.file("bin").c_str());
  Outcome o = run.exec();
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "Trying to open ../bin/tx\n");
  EXPECT_EQ(o.err, "fopen(tx): No such file or directory\n");
  EXPECT_EQ(sorted(run.files("work")), SCRIPTS);
}

// (Permissions do not stop root, so a file stands where the folder should.)
TEST(FaultsDeathTest, BinIsNotAFolder) {
  RunDir run;
  rmdir(run.dir.file("bin").c_str());
  write_file(run.dir.file("bin"), "");
  Outcome o = run.exec();
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "Trying to open ../bin/tx\n");
  EXPECT_EQ(o.err, "fopen(tx): Not a directory\n");
}

TEST(FaultsDeathTest, NoCompilerOnThePath) {
  RunDir run;
  FifoReader progress(run.dir.file("progress"));
  std::string saved = getenv("PATH") != nullptr ? getenv("PATH") : "";
  setenv("PATH", run.dir.path.c_str(), 1);
  Outcome o = run.server(progress.path, "-1");
  setenv("PATH", saved.c_str(), 1);
  EXPECT_EQ(o.status, 2);
  EXPECT_EQ(o.out, "tcc: CreateProcess failed: No such file or directory\n");
  EXPECT_EQ(o.err, "");
  // The platform error sends no end record: the pipe just closes.
  EXPECT_EQ(decode_progress(progress.finish()), "P0 P0.16 P0.66 P1 ");
  EXPECT_TRUE(run.files("bin").empty());
}

TEST(FaultsDeathTest, CompilerFails) {
  RunDir run;
  run.bundleCompiler("echo 'tx:1: error: broken' >&2\nexit 1\n");
  Outcome o = run.exec();
  EXPECT_EQ(o.status, 2);
  EXPECT_EQ(o.out, "tmp: CreateProcess failed: No such file or directory\n");
  EXPECT_EQ(o.err, "tx:1: error: broken\n");
  EXPECT_TRUE(run.files("bin").empty());
}

TEST(FaultsDeathTest, CompilerLeavesAProgramThatCannotStart) {
  RunDir run;
  run.bundleCompiler("echo 'not a program' > ../bin/tmp\nchmod 600 ../bin/tmp\n");
  Outcome o = run.exec();
  EXPECT_EQ(o.status, 13);
  EXPECT_EQ(o.out, "tmp: CreateProcess failed: Permission denied\n");
  EXPECT_TRUE(run.files("bin").empty());
}

TEST(FaultsTest, ProgramKilledMidStream) {
  RunDir run;
  FifoReader progress(run.dir.file("progress"));
  FifoReader results(run.dir.file("results"));
  run.bundleCompiler(compilerMaking("printf 'part of a record' > " + results.path + "\nkill -KILL $$\n"));
  Outcome o = run.server(progress.path, results.path);
  // The program's exit status is not examined: the front end learns of the
  // failure from a stream shorter than a whole one.
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.out + o.err, "");
  EXPECT_EQ(results.finish(), "part of a record");
  EXPECT_EQ(decode_progress(progress.finish()), "P0 P0.16 P0.66 P1 P2 ");
  EXPECT_TRUE(run.files("bin").empty());
  EXPECT_EQ(run.processesInside(), 0);
}

TEST(FaultsDeathTest, ProgressReaderGoesAway) {
  RunDir run;
  QuittingReader progress(run.dir.file("progress"));
  Outcome o = run.server(progress.path, "-1");
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, "talvon: WriteFile failed\n");
  // The program text was being written when the reader went.
  EXPECT_TRUE(run.files("bin").empty());
  EXPECT_EQ(run.processesInside(), 0);
}

TEST(FaultsDeathTest, ResultReaderGoesAway) {
  RunDir run;
  QuittingReader results(run.dir.file("results"));
  Outcome o = run.server("-1", results.path);
  // The program reports its own fault; its exit status is not examined.
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.err, "tmp: WriteFile failed: Broken pipe\n");
  EXPECT_TRUE(run.files("bin").empty());
  EXPECT_EQ(run.processesInside(), 0);
}

TEST(FaultsDeathTest, ScriptFaultLeavesNoProgramFiles) {
  RunDir run;
  // The fault is found while the program is written: an account past 19.
  write_scrambled(run.dir.file("work/p.bin"),
                  PORTFOLIO.substr(0, PORTFOLIO.find("(\"to\" 2)")) + "(\"to\" 20)))))))))\n");
  Outcome o = run.exec();
  EXPECT_EQ(o.status, 1) << o.err;
  EXPECT_TRUE(run.files("bin").empty());
}

}  // namespace
