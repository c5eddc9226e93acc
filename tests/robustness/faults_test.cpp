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

#include "support/annuity_run.h"
#include "support/fifo_reader.h"
#include "support/process.h"

namespace {

// The compiler an installation bundles, here a shell script.
void bundle_compiler(const AnnuityRun& run, const std::string& script) {
  std::string path = run.dir.path;
  for (const char* part : {"/share", "/glib-2.0", "/cc"}) {
    path += part;
    mkdir(path.c_str(), 0700);
  }
  write_file(path + "/tcc", "#!/bin/sh\n" + script);
  chmod((path + "/tcc").c_str(), 0700);
}

// Processes still working in the run directory: none may outlive a run.
int processes_inside(const AnnuityRun& run) {
  int count = 0;
  DIR* proc = opendir("/proc");
  for (dirent* e = readdir(proc); e != nullptr; e = readdir(proc)) {
    char cwd[4096];
    std::string link = std::string("/proc/") + e->d_name + "/cwd";
    ssize_t n = readlink(link.c_str(), cwd, sizeof cwd - 1);
    if (n <= 0) continue;
    cwd[n] = '\0';
    if (std::string(cwd).rfind(run.dir.path, 0) == 0) count++;
  }
  closedir(proc);
  return count;
}

// What every fault leaves: no program files, no processes.
void expect_nothing_left(const AnnuityRun& run) {
  EXPECT_EQ(run.files("bin"), std::vector<std::string>{});
  EXPECT_EQ(processes_inside(run), 0);
}

// ../bin missing, or a file where the folder should be (permissions do not
// stop root).
TEST(FaultsDeathTest, NoBinFolder) {
  for (bool file_instead : {false, true}) {
    AnnuityRun run;
    rmdir(run.dir.file("bin").c_str());
    if (file_instead) write_file(run.dir.file("bin"), "");
    Outcome o = run.exec();
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "Trying to open ../bin/tx\n");
    EXPECT_EQ(o.err, file_instead ? "fopen(tx): Not a directory\n"
                                  : "fopen(tx): No such file or directory\n");
    std::vector<std::string> scripts = run.files("work");
    std::sort(scripts.begin(), scripts.end());
    EXPECT_EQ(scripts, (std::vector<std::string>{"m.bin", "p.bin", "r.bin"}));
  }
}

TEST(FaultsDeathTest, NoCompilerOnThePath) {
  AnnuityRun run;
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
  expect_nothing_left(run);
}

// A compiler that fails, or leaves a program that cannot start.
TEST(FaultsDeathTest, CompilerFaults) {
  struct Case {
    const char* compiler;
    int status;
    const char* out;
    const char* err;
  };
  const Case cases[] = {
      {"echo 'tx:1: error: broken' >&2\nexit 1\n", 2,
       "tmp: CreateProcess failed: No such file or directory\n", "tx:1: error: broken\n"},
      {"echo 'not a program' > ../bin/tmp\nchmod 600 ../bin/tmp\n", 13,
       "tmp: CreateProcess failed: Permission denied\n", ""},
  };
  for (const Case& c : cases) {
    AnnuityRun run;
    bundle_compiler(run, c.compiler);
    Outcome o = run.exec();
    EXPECT_EQ(o.status, c.status) << c.compiler;
    EXPECT_EQ(o.out, c.out) << c.compiler;
    EXPECT_EQ(o.err, c.err) << c.compiler;
    expect_nothing_left(run);
  }
}

TEST(FaultsTest, ProgramKilledMidStream) {
  AnnuityRun run;
  FifoReader progress(run.dir.file("progress"));
  FifoReader results(run.dir.file("results"));
  bundle_compiler(run, "cat > ../bin/tmp <<'EOF'\n#!/bin/sh\nprintf 'part of a record' > " +
                           results.path + "\nkill -KILL $$\nEOF\nchmod 700 ../bin/tmp\n");
  Outcome o = run.server(progress.path, results.path);
  // The program's exit status is not examined: the front end learns of the
  // failure from a stream shorter than a whole one.
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.out + o.err, "");
  EXPECT_EQ(results.finish(), "part of a record");
  EXPECT_EQ(decode_progress(progress.finish()), "P0 P0.16 P0.66 P1 P2 ");
  expect_nothing_left(run);
}

// The progress reader goes while the program text is written: talvon ends.
// The result reader goes: the program reports its own fault, and its exit
// status is not examined.
TEST(FaultsDeathTest, ReaderGoesAway) {
  for (bool progress_reader : {true, false}) {
    AnnuityRun run;
    QuittingReader reader(run.dir.file("reader"));
    Outcome o = progress_reader ? run.server(reader.path, "-1") : run.server("-1", reader.path);
    EXPECT_EQ(o.status, progress_reader ? 1 : 0);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, progress_reader ? "talvon: WriteFile failed\n"
                                     : "tmp: WriteFile failed: Broken pipe\n");
    expect_nothing_left(run);
  }
}

TEST(FaultsDeathTest, ScriptFaultLeavesNoProgramFiles) {
  // The fault is found while the program is written: an account past 19.
  AnnuityRun run(ANNUITY_MODEL, ANNUITY_PORTFOLIO.substr(0, ANNUITY_PORTFOLIO.find("(\"to\" 2)")) +
                                    "(\"to\" 20)))))))))\n");
  Outcome o = run.exec();
  EXPECT_EQ(o.status, 1) << o.err;
  expect_nothing_left(run);
}

}  // namespace
