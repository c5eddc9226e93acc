// Checks for runs of talvon-run: the command under a TMPDIR of the test's
// own, and that a run left nothing behind there.
#pragma once

#include <string>
#include <vector>

// env TMPDIR=tmpdir EXE ARGS...
std::vector<std::string> command(const std::string& tmpdir, const std::vector<std::string>& args,
                                 const std::string& exe = TALVON_RUN_EXE);

// The names a folder holds.
std::vector<std::string> entries(const std::string& dir);

// Processes whose working directory or command line lies under `path`.
std::vector<std::string> processes_under(const std::string& path);

// The run left nothing behind: no run directory, FIFO or process.
void expect_clean(const std::string& tmpdir);
