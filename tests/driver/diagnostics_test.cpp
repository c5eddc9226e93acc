// The exit routines and the file wrappers: exact streams and statuses.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

#include "core/cell.h"
#include "driver/diagnostics.h"
#include "driver/file_wrappers.h"
#include "support/fatal_cases.h"
#include "support/process.h"

namespace {

std::string text_of(int code) { return strerror(code); }

// die writes the message line after what was printed before; error_at
// writes the position line first; pdie the errno text; system_error_exit
// the platform's last error to standard output, its code as the status.
TEST(DiagnosticsDeathTest, ExitRoutines) {
  const Cell* read = symbol_source("x", 12, 34, "models/example.tal");
  const int own_line = __LINE__ + 1;
  const Cell* own = symbol("own");
  const std::string no_file = "No such file or directory\n";
  expect_fatal_cases({
      {"percent kept", [] { die("100% %d"); }, 1, "", "100% %d\n"},
      {"stdout flushed", [] { printf("shown"); die("x"); }, 1, "shown", "x\n"},
      {"read cell", [&] { error_at(read, "Unbound symbol"); }, 1, "",
       "File models/example.tal line 12 character 34\nUnbound symbol\n"},
      {"own cell", [&] { error_at(own, "m"); }, 1, "",
       position("tests/driver/diagnostics_test.cpp", own_line, 0) + "m\n"},
      {"truth", [] { error_at(truth(), "m"); }, 1, "", "File  line 0 character 0\nm\n"},
      {"pdie", [] { errno = EACCES; pdie("remove()"); }, 1, "", "remove(): " + text_of(EACCES) + "\n"},
      {"label", [] { errno = ENOENT; pdie_label("fopen(source)", "fopen()"); }, 1, "",
       "fopen(source): " + no_file},
      {"fallback", [] { errno = ENOENT; pdie_label(nullptr, "fopen()"); }, 1, "", "fopen(): " + no_file},
      {"system error", [] { errno = ENXIO; system_error_exit("talvon: Could not open pipe_talvon"); },
       ENXIO, "talvon: Could not open pipe_talvon: " + text_of(ENXIO) + "\n", ""},
      {"system error 2", [] { errno = ENOEXEC; system_error_exit("tmp: CreateProcess failed"); },
       ENOEXEC, "tmp: CreateProcess failed: " + text_of(ENOEXEC) + "\n", ""},
  });
}

TEST(FileWrappersDeathTest, OpenFileTellsWhatItTriedToOpen) {
  TempDir dir;
  const std::string missing = dir.file("missing.tal");
  expect_fatal_cases({
      {"label", [&] { open_file("fopen(source)", missing.c_str(), "r"); }, 1,
       "Trying to open " + missing + "\n", "fopen(source): No such file or directory\n"},
      {"default", [&] { open_file(nullptr, missing.c_str(), "r"); }, 1,
       "Trying to open " + missing + "\n", "fopen(): No such file or directory\n"},
      {"directory", [&] { open_file("fopen(tx)", dir.path.c_str(), "w"); }, 1,
       "Trying to open " + dir.path + "\n", "fopen(tx): " + text_of(EISDIR) + "\n"},
  });
}

TEST(FileWrappersDeathTest, FailedCallsUseTheirLabels) {
  TempDir dir;
  const std::string missing = dir.file("missing");
  const std::string written = dir.file("written");
  write_file(written, "abc");
  const std::string bad_fd = text_of(EBADF);
  auto closed_stream = [&] {
    FILE* stream = fopen(written.c_str(), "r");
    close(fileno(stream));
    return stream;
  };
  expect_fatal_cases({
      {"reopen_file", [&] { reopen_file("freopen(stdin)", missing.c_str(), "r", stdin); }, 1, "",
       "freopen(stdin): No such file or directory\n"},
      {"reopen_file default", [&] { reopen_file(nullptr, missing.c_str(), "r", stdin); }, 1, "",
       "freopen(): No such file or directory\n"},
      {"close_file", [&] { close_file("fclose(source)", closed_stream()); }, 1, "",
       "fclose(source): " + bad_fd + "\n"},
      {"close_file default", [&] { close_file(nullptr, closed_stream()); }, 1, "",
       "fclose(talvon side): " + bad_fd + "\n"},
      {"read_char", [&] { read_char("getc(x)", fopen(written.c_str(), "a")); }, 1, "",
       "getc(x): " + bad_fd + "\n"},
      {"read_char default", [&] { read_char(nullptr, closed_stream()); }, 1, "",
       "getc(): " + bad_fd + "\n"},
      {"close_descriptor", [] { close_descriptor("close(pipe)", -1); }, 1, "",
       "close(pipe): " + bad_fd + "\n"},
      {"close_descriptor default", [] { close_descriptor(nullptr, 12345); }, 1, "",
       "close(): " + bad_fd + "\n"},
  });
}

#if !defined(__SANITIZE_ADDRESS__)
TEST(FileWrappersDeathTest, FailedAllocation) {
  static volatile size_t huge = static_cast<size_t>(-1) / 2;
  expect_fatal_cases({
      {"label", [] { allocate("malloc(cells)", huge); }, 1, "",
       "malloc(cells): Cannot allocate memory\n"},
      {"default", [] { allocate(nullptr, huge); }, 1, "", "malloc(): Cannot allocate memory\n"},
  });
}
#endif

TEST(FileWrappersTest, SuccessfulCallsPassThrough) {
  TempDir dir;
  const std::string path = dir.file("bytes");
  write_file(path, std::string("a\xff\0b", 4));
  Outcome o = run_fatal([&] {
    FILE* stream = open_file("fopen(source)", path.c_str(), "rb");
    int expected[] = {'a', 0xff, 0, 'b', -1, -1};
    for (int e : expected) {
      if (read_char("getc()", stream) != e) _exit(3);
    }
    close_file("fclose(source)", stream);
    reopen_file("freopen(stdin)", path.c_str(), "rb", stdin);
    if (read_char(nullptr, stdin) != 'a') _exit(4);
    char* block = static_cast<char*>(allocate("malloc()", 16));
    block[15] = 1;
    free(block);
    FILE* out = open_file(nullptr, dir.file("new").c_str(), "w");
    close_descriptor(nullptr, dup(fileno(out)));
    close_file(nullptr, out);
  });
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.err, "");
}

}  // namespace
