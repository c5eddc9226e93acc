// Running code that ends the process, and running talvon's programs, with
// their exit status and both output streams captured for exact comparison.
#pragma once

#include <functional>
#include <string>
#include <vector>

struct Outcome {
  int status;  // exit status, or 128 + signal number
  std::string out;
  std::string err;
};

// Runs `body` in a forked child. A body that returns exits 0.
Outcome run_fatal(const std::function<void()>& body);

// Runs a program with the given arguments (argv[0] included), feeding
// `input` on standard input, in the working directory `cwd` when given.
Outcome run_program(const std::vector<std::string>& argv, const std::string& input = "",
                    const std::string& cwd = "");

// A fresh directory under the system's temporary folder, removed with all
// it holds when the object goes.
struct TempDir {
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  std::string path;
  std::string file(const std::string& name) const { return path + "/" + name; }
};

void write_file(const std::string& path, const std::string& content);
std::string read_file(const std::string& path);
