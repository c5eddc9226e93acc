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
      {"exit 0", "[started=1 status=0]\n", ""},
      {"exit 7", "[started=1 status=7]\n", ""},
      {"echo out; echo err >&2; exit 255", "out\n[started=1 status=255]\n", "err\n"},
      {"kill -TERM $$", "[started=1 status=143]\n", ""},
  };
  for (const Case& c : cases) {
    Outcome o = run_shell(c.line);
    EXPECT_EQ(o.status, 0) << c.line;
    EXPECT_EQ(o.out, c.out) << c.line;
    EXPECT_EQ(o.err, c.err) << c.line;
  }
}

TEST(ChildProcessTest, OutputWrittenBeforeTheChildComesFirst) {
  Outcome o = run_fatal([] {
    printf("before ");
    run_child({"sh", "-c", "echo child"});
    printf("after\n");
  });
  EXPECT_EQ(o.out, "before child\nafter\n");
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
      {"talvon-no-such-program-on-path", ENOENT},
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

TEST(ChildProcessDeathTest, FailedStartEndsThroughTheSystemErrorExit) {
  TempDir dir;
  Outcome o = run_fatal([&] {
    ChildExit e = run_child({dir.file("tmp")});
    if (!e.started) system_error_exit("tmp: CreateProcess failed");
  });
  EXPECT_EQ(o.status, 2);
  EXPECT_EQ(o.out, "tmp: CreateProcess failed: No such file or directory\n");
  EXPECT_EQ(o.err, "");
}

TEST(ChildProcessTest, InheritsOnlyTheStandardStreams) {
  TempDir dir;
  int plain = open(dir.file("a").c_str(), O_WRONLY | O_CREAT, 0600);
  ASSERT_GE(plain, 3);
  std::string fd = std::to_string(plain);
  Outcome o = run_shell("if [ -e /proc/self/fd/" + fd + " ]; then echo leaked; fi");
  close(plain);
  EXPECT_EQ(o.out, "[started=1 status=0]\n");
}

TEST(ChildProcessTest, RestoresTheDefaultBrokenPipeSignal) {
  // talvon ignores SIGPIPE for its progress channel; its children must not.
  Outcome o = run_fatal([] {
    signal(SIGPIPE, SIG_IGN);
    ChildExit e = run_child({"sh", "-c", "grep SigIgn /proc/self/status"});
    (void)e;
  });
  ASSERT_EQ(o.out.substr(0, 7), "SigIgn:");
  unsigned long long mask = std::stoull(o.out.substr(8), nullptr, 16);
  EXPECT_EQ(mask & (1ull << (SIGPIPE - 1)), 0u);
}

TEST(ChildProcessTest, RaisesTheStackLimitOnlyWhenAsked) {
  struct rlimit mine;
  ASSERT_EQ(getrlimit(RLIMIT_STACK, &mine), 0);
  if (mine.rlim_cur == RLIM_INFINITY || mine.rlim_cur >= CALCULATION_STACK_BYTES ||
      (mine.rlim_max != RLIM_INFINITY && mine.rlim_max < CALCULATION_STACK_BYTES)) {
    GTEST_SKIP() << "the stack limit here cannot show the raise";
  }
  std::string own = std::to_string(mine.rlim_cur / 1024);
  EXPECT_EQ(run_shell("ulimit -s").out, own + "\n[started=1 status=0]\n");
  EXPECT_EQ(run_shell("ulimit -s", CALCULATION_STACK_BYTES).out, "97656\n[started=1 status=0]\n");
  // A limit that is already higher is left alone.
  EXPECT_EQ(run_shell("ulimit -s", 1024).out, own + "\n[started=1 status=0]\n");
  // The parent's own limit does not change.
  struct rlimit after;
  ASSERT_EQ(getrlimit(RLIMIT_STACK, &after), 0);
  EXPECT_EQ(after.rlim_cur, mine.rlim_cur);
}

TEST(CompatIncludeTest, FindsTheHeaderInTheBuildTreeFirst) {
  std::string dir = compat_include_dir_near(talvon_dir());
  EXPECT_EQ(dir, talvon_dir() + "/include");
  EXPECT_EQ(read_file(dir + "/windows.h"),
            read_file(std::string(TALVON_SOURCE_DIR) + "/platform/compat/windows.h"));
}

TEST(CompatIncludeTest, FindsTheHeaderInAnInstallTree) {
  TempDir dir;
  std::filesystem::create_directories(dir.file("bin"));
  std::filesystem::create_directories(dir.file("share/talvon/include"));
  write_file(dir.file("share/talvon/include/windows.h"), "");
  EXPECT_EQ(compat_include_dir_near(dir.file("bin")), dir.file("bin/../share/talvon/include"));
}

TEST(CompatIncludeDeathTest, NoHeaderEndsTheRun) {
  TempDir dir;
  Outcome o = run_fatal([&] { compat_include_dir_near(dir.path); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "Trying to open " + dir.path + "/../share/talvon/include/windows.h\n");
  EXPECT_EQ(o.err, "windows.h for tcc not found\n");
}

TEST(CompatIncludeTest, ExecutableDirIsThatOfTheRunningProgram) {
  std::string dir = executable_dir();
  EXPECT_TRUE(std::filesystem::exists(dir + "/talvon_tests")) << dir;
}

TEST(CompatIncludeTest, CompilerCommandLine) {
  std::vector<std::string> expected = {"tcc",        "-I/x/include", "-o",
                                       "../bin/tmp", "../bin/tx",    "-lm"};
  EXPECT_EQ(tcc_command("/x/include", "../bin/tmp", "../bin/tx"), expected);
}

// The calculation program's own error exit and connection code, as it
// stands in its text, around a body given by each test.
const char* const PROLOGUE =
    "#include <stdio.h>\n"
    "#include <stdlib.h>\n"
    "#include <math.h>\n"
    "#include <windows.h>\n"
    "\n"
    "void ErrorExit(char *msg){\n"
    "  LPVOID emsg;\n"
    "  DWORD dw=GetLastError();\n"
    "  FormatMessage(\n"
    "    FORMAT_MESSAGE_ALLOCATE_BUFFER | \n"
    "    FORMAT_MESSAGE_FROM_SYSTEM |\n"
    "    FORMAT_MESSAGE_IGNORE_INSERTS,\n"
    "    NULL,\n"
    "    dw,\n"
    "    MAKELANGID(LANG_NEUTRAL,SUBLANG_DEFAULT),\n"
    "    (LPTSTR)&emsg,\n"
    "    0,\n"
    "    NULL );\n"
    "  fprintf(stderr,\"%s: %s\\n\",msg,(char *)emsg);\n"
    "  ExitProcess(dw);}\n"
    "\n"
    "void xmit(HANDLE fd,void *buf,int size){\n"
    "  if(WriteFile(fd,buf,size,NULL,NULL)) return;\n"
    "  ErrorExit(\"tmp: WriteFile failed\");}\n"
    "\n"
    "void xmit_int(HANDLE fd,int value){\n"
    "  xmit(fd,&value,sizeof(value));}\n"
    "\n"
    "void xmit_double(HANDLE fd,double value){\n"
    "  xmit(fd,&value,sizeof(value));}\n"
    "\n";

// Builds `text` with tcc in `dir` as the compiler sees it: source tx,
// program tmp, the include directory of the build tree.
std::string build(const TempDir& dir, const std::string& text) {
  write_file(dir.file("tx"), text);
  std::vector<std::string> command =
      tcc_command(compat_include_dir_near(talvon_dir()), dir.file("tmp"), dir.file("tx"));
  Outcome o = run_fatal([&] {
    ChildExit e = run_child(command);
    if (!e.started) system_error_exit("tcc: CreateProcess failed");
    exit(e.status);
  });
  EXPECT_EQ(o.status, 0) << o.out << o.err;
  EXPECT_EQ(o.out + o.err, "");
  return dir.file("tmp");
}

Outcome run_built(const std::vector<std::string>& argv, size_t stack_bytes) {
  return run_fatal([&] {
    ChildExit e = run_child(argv, stack_bytes);
    if (!e.started) system_error_exit("tmp: CreateProcess failed");
    exit(e.status);
  });
}

const char* const CONNECTED_MAIN =
    "int main(int argc,char **argv){\n"
    "  HANDLE fd=CreateFile(\n"
    "    argv[1],GENERIC_WRITE,0,NULL,OPEN_EXISTING,0,NULL);\n"
    "  if(fd==INVALID_HANDLE_VALUE){\n"
    "    ErrorExit(\"tmp: Could not open pipe2\");}\n"
    "  int i;\n"
    "  for(i=0;i<atoi(argv[2]);i++){\n"
    "    xmit_int(fd,1);\n"
    "    xmit_int(fd,i);\n"
    "    xmit_int(fd,2);\n"
    "    xmit_double(fd,0.5*i);}\n"
    "  CloseHandle(fd);\n"
    "  printf(\"sent %d\\n\",i);\n"
    "  return 0;}\n";

std::string record(int tag, int x, int y, double value) {
  std::string bytes;
  bytes.append(reinterpret_cast<const char*>(&tag), 4);
  bytes.append(reinterpret_cast<const char*>(&x), 4);
  bytes.append(reinterpret_cast<const char*>(&y), 4);
  bytes.append(reinterpret_cast<const char*>(&value), 8);
  return bytes;
}

TEST(CompatHeaderTest, RecordsReachThePipeWholeAndInOrder) {
  TempDir dir;
  std::string program = build(dir, std::string(PROLOGUE) + CONNECTED_MAIN);
  std::string pipe = dir.file("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  // Far more than a pipe buffer holds, so writes block and resume. The
  // front end is a process of its own: a thread of the test would make the
  // forks here unsafe.
  const int count = 30000;
  Outcome o = run_built(
      {"sh", "-c",
       "cat \"$1\" >\"$2\" & \"$3\" \"$1\" " + std::to_string(count) + "; s=$?; wait; exit $s",
       "sh", pipe, dir.file("received"), program},
      0);
  std::string bytes = read_file(dir.file("received"));
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(o.out, "sent 30000\n");
  ASSERT_EQ(bytes.size(), 20u * count);
  for (int i = 0; i < count; i += 997) {
    EXPECT_EQ(bytes.substr(20u * i, 20), record(1, i, 2, 0.5 * i)) << i;
  }
}

TEST(CompatHeaderTest, WritesToAPlainFile) {
  TempDir dir;
  std::string program = build(dir, std::string(PROLOGUE) + CONNECTED_MAIN);
  std::string old = "old text that is longer than one record";
  write_file(dir.file("out"), old);
  Outcome o = run_built({program, dir.file("out"), "1"}, 0);
  EXPECT_EQ(o.status, 0) << o.err;
  // OPEN_EXISTING neither creates nor truncates.
  std::string expected = record(1, 0, 2, 0.0) + old.substr(20);
  EXPECT_EQ(read_file(dir.file("out")), expected);
}

TEST(CompatHeaderTest, ErrorExitGivesTheSystemTextAndCode) {
  struct Case {
    std::string target;
    std::string err;
    int status;
  };
  TempDir dir;
  std::string program = build(dir, std::string(PROLOGUE) + CONNECTED_MAIN);
  const Case cases[] = {
      {dir.file("no-such-pipe"), "tmp: Could not open pipe2: No such file or directory\n", ENOENT},
      {dir.path, "tmp: Could not open pipe2: Is a directory\n", EISDIR},
      {"/dev/full", "tmp: WriteFile failed: No space left on device\n", ENOSPC},
  };
  for (const Case& c : cases) {
    Outcome o = run_built({program, c.target, "1"}, 0);
    EXPECT_EQ(o.status, c.status) << c.target;
    EXPECT_EQ(o.out, "") << c.target;
    EXPECT_EQ(o.err, c.err) << c.target;
  }
}

TEST(CompatHeaderTest, AReaderThatQuitsFailsTheWriteInsteadOfKillingTheProgram) {
  TempDir dir;
  std::string program = build(dir, std::string(PROLOGUE) + CONNECTED_MAIN);
  std::string pipe = dir.file("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  // The reader takes 20 bytes and quits while the program still writes.
  Outcome o = run_built(
      {"sh", "-c", "head -c 20 \"$1\" >/dev/null & \"$2\" \"$1\" 1000000; s=$?; wait; exit $s",
       "sh", pipe, program},
      0);
  EXPECT_EQ(o.status, EPIPE);
  EXPECT_EQ(o.err, "tmp: WriteFile failed: Broken pipe\n");
}

TEST(CompatHeaderTest, FormatMessageIntoACallersBuffer) {
  TempDir dir;
  std::string program = build(dir,
                              "#include <stdio.h>\n"
                              "#include <windows.h>\n"
                              "int main(){\n"
                              "  char text[100];\n"
                              "  char tiny[4];\n"
                              "  DWORD n=FormatMessage(FORMAT_MESSAGE_FROM_SYSTEM,NULL,2,0,\n"
                              "    text,sizeof(text),NULL);\n"
                              "  DWORD m=FormatMessage(FORMAT_MESSAGE_FROM_SYSTEM,NULL,2,0,\n"
                              "    tiny,sizeof(tiny),NULL);\n"
                              "  printf(\"%u [%s] %u %d\\n\",n,text,m,MAKELANGID(1,2));\n"
                              "  return 0;}\n");
  Outcome o = run_built({program}, 0);
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.out, "25 [No such file or directory] 0 2049\n");
}

// 40 MB of locals: more than the usual 8 MB stack, well within the raised one.
const char* const LARGE_LOCALS =
    "#include <stdio.h>\n"
    "#include <windows.h>\n"
    "double sum(){\n"
    "  double a[5000000];\n"
    "  int i;\n"
    "  for(i=0;i<5000000;i++) a[i]=i;\n"
    "  double s=0;\n"
    "  for(i=0;i<5000000;i++) s+=a[i];\n"
    "  return s;}\n"
    "int main(){\n"
    "  printf(\"%.0f\\n\",sum());\n"
    "  ExitProcess(3);}\n";

TEST(CompatHeaderTest, LargeLocalsRunWithTheRaisedStack) {
  TempDir dir;
  std::string program = build(dir, LARGE_LOCALS);
  Outcome o = run_built({program}, CALCULATION_STACK_BYTES);
  EXPECT_EQ(o.status, 3);
  EXPECT_EQ(o.out, "12499997500000\n");

  struct rlimit mine;
  ASSERT_EQ(getrlimit(RLIMIT_STACK, &mine), 0);
  if (mine.rlim_cur != RLIM_INFINITY && mine.rlim_cur < 40000000) {
    // Without the raise the same program overflows its stack.
    EXPECT_EQ(run_built({program}, 0).status, 128 + SIGSEGV);
  }
}

}  // namespace
