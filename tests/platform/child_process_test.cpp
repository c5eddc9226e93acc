// Starting programs as children, and the calculation program's Windows text
// built by the real tcc against talvon's own windows.h.
#include "platform/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>

#include "driver/diagnostics.h"
#include "platform/compat_include.h"
#include "support/process.h"

namespace {

std::string talvon_dir() {
  std::string exe = TALVON_EXE;
  return exe.substr(0, exe.rfind('/'));
}

// Runs a shell command line as a child, capturing what it writes.
Outcome run_shell(const std::string& line, size_t stack_bytes = 0) {
  return run_fatal([&] {
    ChildExit e = run_child({"sh", "-c", line}, stack_bytes);
    printf("[started=%d status=%d]\n", e.started, e.status);
  });
}

TEST(ChildProcessTest, GivesTheExitStatusAndSharesTheStandardStreams) {
  struct Case {
    const char* line;
    std::string out;
    std::string err;
  };
  const Case cases[] = {
      {"exit 7", "[started=1 status=7]\n", ""},
      {"echo out; echo err >&2; exit 255", "out\n[started=1 status=255]\n", "err\n"},
      {"kill -TERM $$", "[started=1 status=143]\n", ""},
      // Only the standard streams are inherited.
      {"if [ -e /proc/self/fd/9 ]; then echo leaked; fi", "[started=1 status=0]\n", ""},
      // talvon ignores SIGPIPE for its progress channel; its children must not.
      {"m=$(awk '/SigIgn/{print $2}' /proc/self/status); echo $(( 0x$m & 0x1000 ))",
       "0\n[started=1 status=0]\n", ""},
  };
  for (const Case& c : cases) {
    Outcome o = run_fatal([&] {
      dup2(1, 9);
      signal(SIGPIPE, SIG_IGN);
      printf("before ");
      ChildExit e = run_child({"sh", "-c", c.line});
      printf("[started=%d status=%d]\n", e.started, e.status);
    });
    EXPECT_EQ(o.status, 0) << c.line;
    EXPECT_EQ(o.out, "before " + c.out) << c.line;
    EXPECT_EQ(o.err, c.err) << c.line;
  }
}

TEST(ChildProcessTest, AProgramThatCannotStartIsReportedWithItsReason) {
  struct Case {
    std::string program;
    int error;
  };
  TempDir dir;
  write_file(dir.file("not-executable"), "#!/bin/sh\n");
  const Case cases[] = {
      {dir.file("missing"), ENOENT},
      {dir.file("not-executable"), EACCES},
      {dir.path, EACCES},
  };
  for (const Case& c : cases) {
    errno = 0;
    ChildExit e = run_child({c.program});
    EXPECT_FALSE(e.started) << c.program;
    EXPECT_EQ(e.error, c.error) << c.program;
    EXPECT_EQ(errno, c.error) << c.program;
    EXPECT_EQ(e.status, 0) << c.program;
  }
}

TEST(ChildProcessTest, RaisesTheStackLimitOnlyWhenAsked) {
  struct rlimit mine;
  ASSERT_EQ(getrlimit(RLIMIT_STACK, &mine), 0);
  if (mine.rlim_cur == RLIM_INFINITY || mine.rlim_cur >= CALCULATION_STACK_BYTES ||
      (mine.rlim_max != RLIM_INFINITY && mine.rlim_max < CALCULATION_STACK_BYTES)) {
    GTEST_SKIP() << "the stack limit here cannot show the raise";
  }
  std::string own = std::to_string(mine.rlim_cur / 1024) + "\n[started=1 status=0]\n";
  EXPECT_EQ(run_shell("ulimit -s").out, own);
  EXPECT_EQ(run_shell("ulimit -s", CALCULATION_STACK_BYTES).out, "97656\n[started=1 status=0]\n");
  EXPECT_EQ(run_shell("ulimit -s", 1024).out, own);  // a higher limit is left alone
  struct rlimit after;
  ASSERT_EQ(getrlimit(RLIMIT_STACK, &after), 0);
  EXPECT_EQ(after.rlim_cur, mine.rlim_cur);
}

TEST(CompatIncludeTest, FindsTheHeaderInTheBuildTreeThenInAnInstallTree) {
  std::string dir = compat_include_dir_near(talvon_dir());
  EXPECT_EQ(dir, talvon_dir() + "/include");
  EXPECT_EQ(read_file(dir + "/windows.h"),
            read_file(std::string(TALVON_SOURCE_DIR) + "/platform/compat/windows.h"));

  TempDir tree;
  std::filesystem::create_directories(tree.file("bin"));
  std::filesystem::create_directories(tree.file("share/talvon/include"));
  write_file(tree.file("share/talvon/include/windows.h"), "");
  EXPECT_EQ(compat_include_dir_near(tree.file("bin")), tree.file("bin/../share/talvon/include"));
}

TEST(CompatIncludeDeathTest, NoHeaderEndsTheRun) {
  TempDir dir;
  Outcome o = run_fatal([&] { compat_include_dir_near(dir.path); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "Trying to open " + dir.path + "/../share/talvon/include/windows.h\n");
  EXPECT_EQ(o.err, "windows.h for tcc not found\n");
}

Outcome run_built(const std::vector<std::string>& argv, size_t stack_bytes = 0) {
  return run_fatal([&] {
    ChildExit e = run_child(argv, stack_bytes);
    if (!e.started) system_error_exit("tmp: CreateProcess failed");
    exit(e.status);
  });
}

// Builds the C program tests/platform/data/<name> with tcc in `dir` as the
// compiler sees it: source tx, program tmp, the build tree's include folder.
std::string build(const TempDir& dir, const std::string& name) {
  write_file(dir.file("tx"), read_file(TALVON_SOURCE_DIR "/tests/platform/data/" + name));
  Outcome o = run_built(
      tcc_command(compat_include_dir_near(talvon_dir()), dir.file("tmp"), dir.file("tx")));
  EXPECT_EQ(o.status, 0) << o.out << o.err;
  EXPECT_EQ(o.out + o.err, "");
  return dir.file("tmp");
}

std::string record(int tag, int x, int y, double value) {
  std::string bytes;
  bytes.append(reinterpret_cast<const char*>(&tag), 4);
  bytes.append(reinterpret_cast<const char*>(&x), 4);
  bytes.append(reinterpret_cast<const char*>(&y), 4);
  bytes.append(reinterpret_cast<const char*>(&value), 8);
  return bytes;
}

// connected_writer.c opens argv[1] and writes argv[2] records (1, i, 2, i/2)
// with the calculation program's own error exit and connection code.
TEST(CompatHeaderTest, RecordsReachThePipeWholeAndInOrder) {
  TempDir dir;
  std::string program = build(dir, "connected_writer.c");
  std::string pipe = dir.file("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  // Far more than a pipe buffer holds, so writes block and resume. The
  // front end is a process of its own: a thread of the test would make the
  // forks here unsafe.
  const int count = 30000;
  Outcome o = run_built(
      {"sh", "-c",
       "cat \"$1\" >\"$2\" & \"$3\" \"$1\" " + std::to_string(count) + "; s=$?; wait; exit $s",
       "sh", pipe, dir.file("received"), program});
  std::string bytes = read_file(dir.file("received"));
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(o.out, "sent 30000\n");
  ASSERT_EQ(bytes.size(), 20u * count);
  for (int i = 0; i < count; i += 997) {
    EXPECT_EQ(bytes.substr(20u * i, 20), record(1, i, 2, 0.5 * i)) << i;
  }

  // A plain file: OPEN_EXISTING neither creates nor truncates.
  std::string old = "old text that is longer than one record";
  write_file(dir.file("out"), old);
  EXPECT_EQ(run_built({program, dir.file("out"), "1"}).status, 0);
  EXPECT_EQ(read_file(dir.file("out")), record(1, 0, 2, 0.0) + old.substr(20));
}

TEST(CompatHeaderTest, ErrorExitGivesTheSystemTextAndCode) {
  struct Case {
    std::string target;
    std::string err;
    int status;
  };
  TempDir dir;
  std::string program = build(dir, "connected_writer.c");
  const Case cases[] = {
      {dir.file("no-such-pipe"), "tmp: Could not open pipe2: No such file or directory\n", ENOENT},
      {dir.path, "tmp: Could not open pipe2: Is a directory\n", EISDIR},
      {"/dev/full", "tmp: WriteFile failed: No space left on device\n", ENOSPC},
  };
  for (const Case& c : cases) {
    Outcome o = run_built({program, c.target, "1"});
    EXPECT_EQ(o.status, c.status) << c.target;
    EXPECT_EQ(o.out, "") << c.target;
    EXPECT_EQ(o.err, c.err) << c.target;
  }

  // A reader that quits fails the write instead of killing the program.
  std::string pipe = dir.file("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  Outcome o = run_built(
      {"sh", "-c", "head -c 20 \"$1\" >/dev/null & \"$2\" \"$1\" 1000000; s=$?; wait; exit $s",
       "sh", pipe, program});
  EXPECT_EQ(o.status, EPIPE);
  EXPECT_EQ(o.err, "tmp: WriteFile failed: Broken pipe\n");
}

TEST(CompatHeaderTest, FormatMessageIntoACallersBuffer) {
  TempDir dir;
  Outcome o = run_built({build(dir, "format_message.c")});
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.out, "25 [No such file or directory] 0 2049\n");
}

TEST(CompatHeaderTest, LargeLocalsRunWithTheRaisedStack) {
  TempDir dir;
  std::string program = build(dir, "large_locals.c");
  Outcome o = run_built({program}, CALCULATION_STACK_BYTES);
  EXPECT_EQ(o.status, 3);
  EXPECT_EQ(o.out, "12499997500000\n");

  struct rlimit mine;
  ASSERT_EQ(getrlimit(RLIMIT_STACK, &mine), 0);
  if (mine.rlim_cur != RLIM_INFINITY && mine.rlim_cur < 40000000) {
    // Without the raise the same program overflows its stack.
    EXPECT_EQ(run_built({program}).status, 128 + SIGSEGV);
  }
}

}  // namespace
