// What the benchmark programs share around their measurements: errors,
// the clock, text files, paths, the command line's lists and the tools
// they start. Errors end the program: a benchmark that cannot set itself
// up has nothing to measure.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// Says "PROGRAM: MESSAGE" on standard error and exits with 1.
[[noreturn]] void fail(const std::string& message);
// The same with the system's reason for errno appended.
[[noreturn]] void fail_errno(const std::string& what);

// Seconds on the monotonic clock.
double now();

std::string read_text(const std::string& path);
void write_text(const std::string& path, const std::string& text);

std::string absolute(const char* path);
// The build folder the benchmark was built in: it lives in BUILD/bench.
std::string build_folder();
// A new folder /tmp/NAME-XXXXXX for the runs.
std::string make_temp_folder(const char* name);
// Removes the runs' folder, or says where it was kept.
void remove_or_keep(const std::string& folder, bool keep);

// Where a benchmark works: the programs it runs, the models it values,
// the CSV it writes, and whether its folder under /tmp stays for a look.
struct BenchPaths {
  std::string build = build_folder();
  std::string source = TALVON_SOURCE_DIR;
  std::string csv;
  bool keep = false;
};

// The value after the option at argv[i], stepping i over it; an option
// without one fails with `usage`.
const char* option_value(int argc, char** argv, int& i, const char* usage);

// A comma-separated list of whole numbers of at least `least`; anything
// else fails as "bad WHAT: ITEM".
std::vector<long> parse_list(const char* text, long least, const char* what);

// The script of talvon's generate task: random portfolios of `policies`
// policies into a.pf and b.pf (the second kind is the one valued).
std::string generate_script(long policies);

// Starts a program in `cwd` with its standard output dropped.
pid_t start_quiet(const std::vector<std::string>& argv, const std::string& cwd);
// Fails unless the wait status of `argv` is a clean exit.
void require_success(int status, const std::vector<std::string>& argv, const std::string& cwd);
