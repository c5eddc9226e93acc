// The command line of talvon-run.
#pragma once

#include <string>

struct RunOptions {
  std::string model;
  std::string portfolio;
  std::string run;          // empty: the task is the cashflow of (portfolio)
  std::string output = "talvon-out";
  std::string conf;         // empty: the bundled tables, when found
  bool socket = false;      // results over loopback TCP instead of a FIFO
  bool quiet = false;       // no progress display
  bool strict = false;      // warnings of the check stop the run
  bool check_only = false;  // check the scripts, value nothing
};

extern const char* const USAGE;

// Parses argv. --help prints the usage and exits 0; a bad command line
// ends the run with a message that points to --help.
RunOptions parse_options(int argc, char** argv);
