// What a run was, beside its numbers: the inputs and their digests, the
// valuation date, the size of the portfolio, the time of each phase and
// how it ended. The caller fills it; the result files describe the run
// with it.
#pragma once

#include <string>
#include <vector>

#include "tools/run/view_labels.h"

struct InputFile {
  std::string role;    // "model", "portfolio", "run"
  std::string path;    // as the user gave it; "-" for standard input
  std::string sha256;  // of the bytes read, in hex
};

struct PhaseTime {
  std::string name;  // e.g. "compile"
  double seconds;
};

struct RunFacts {
  std::string talvon_version;
  std::string started;  // UTC, ISO 8601
  std::vector<InputFile> inputs;
  int valuation_month = -1;  // 12 * year + month of the valuation date; -1 unknown
  long policies = -1;        // -1 unknown
  int chunks = 1;            // talvon processes the portfolio was valued in
  std::vector<PhaseTime> phases;
  int exit_status = 0;
  std::vector<FlowLabel> labels;  // the portfolio's view
};

// "YYYY-MM" of a month count 12 * year + month; empty for -1.
std::string calendar_month(int month_count);

// The discounting rule of the calculation program, in words.
extern const char* const DISCOUNTING_RULE;
