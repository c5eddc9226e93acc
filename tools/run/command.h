// Another program run to its end with its output captured: how talvon-run
// speaks to the workload manager (sbatch, squeue, scancel).
#pragma once

#include <string>
#include <vector>

struct CommandResult {
  int status = 0;   // exit status, 128 + the signal when killed
  std::string out;  // standard output
  std::string err;  // standard error
};

// Runs argv[0], looked up on PATH, with standard input from /dev/null. A
// program that cannot be started gives status 127 and the reason in err.
CommandResult run_command(const std::vector<std::string>& argv);
