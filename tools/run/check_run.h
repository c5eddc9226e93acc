// The check of the three scripts against each other before anything is
// valued. It reads them with talvon's own reader, runs talvon's own model
// passes and evaluates the portfolio with talvon's own evaluator, in a
// child process: a fault that talvon's code meets ends that process with
// talvon's message, which becomes a finding at the user's place, and the
// memory of the check is given back before the valuation starts.
#pragma once

#include <string>
#include <vector>

#include "tools/run/check_report.h"
#include "tools/run/options.h"

// Exit status of a run stopped by the check.
constexpr int CHECK_FAILED_STATUS = 3;

// One portfolio script: the whole portfolio, or a chunk of its policies.
struct CheckChunk {
  std::string text;           // the script; when empty, read from `path`
  std::string path;
  std::string scramble_name;  // not empty: `path` is scrambled under this name
  long first_policy = 1;      // the number of its first policy in the user's file
  LineMap lines;              // its lines to the user's
};

struct CheckInput {
  std::string model_path, model_text;
  std::string portfolio_path;  // as the user named it
  std::string run_path, run_text;
  std::vector<CheckChunk> chunks;
  bool strict = false;  // warnings stop the run too
};

// The model and run script of a check and its options, with no chunk yet.
CheckInput check_input(const RunOptions& options, const std::string& model, const std::string& run);

// Prints what the check finds on the error stream. Returns when the run
// may go on; ends it with CHECK_FAILED_STATUS on an error, or with --strict
// on a warning.
void check_scripts(const CheckInput& input);
