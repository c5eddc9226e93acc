// A table of calls that end the process, each with its exact exit status
// and output streams.
#pragma once

#include <functional>
#include <string>
#include <vector>

struct FatalCase {
  std::string name;
  std::function<void()> call;
  int status;
  std::string out;
  std::string err;
};

// Runs every call through run_fatal and compares status, stdout and stderr.
void expect_fatal_cases(const std::vector<FatalCase>& cases);
