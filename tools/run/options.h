// The command line of talvon-run.
#pragma once

#include <string>
#include <vector>

// The whole run, or one of its steps alone, for batches driven elsewhere.
enum class Step { all, write_chunks, value_chunk, merge };

// Measured with scripts/bench (bench/README.md): smaller programs compile
// and run faster per policy, until starting talvon dominates.
constexpr long DEFAULT_CHUNK = 200;

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
  int jobs = 0;             // talvon processes at once; 0: the number of cores
  long chunk = DEFAULT_CHUNK;  // policies a chunk at most; 0: one program
  Step step = Step::all;
  std::string chunks;       // the chunk folder (or, to value, one chunk's)
  bool slurm = false;       // the chunks as a Slurm job array
  std::string shared_dir;   // where its chunks go; empty: the output folder
  std::vector<std::string> sbatch;  // the user's sbatch options
};

extern const char* const USAGE;

// Parses argv. --help prints the usage and exits 0; a bad command line
// ends the run with a message that points to --help.
RunOptions parse_options(int argc, char** argv);
