// talvon-run MODEL PORTFOLIO [RUN]: the front end for the shell. Values a
// portfolio with talvon server and writes the results as CSV files, a chart
// and a table of reserves.
#include "platform/large_stack.h"
#include "tools/run/options.h"
#include "tools/run/valuation_run.h"

// Reading the portfolio's facts evaluates the user's script, which may
// recurse as deeply as talvon allows: on a stack as large as talvon's.
static int run_main(int argc, char** argv) {
  RunOptions options = parse_options(argc, argv);
  return run_valuation(options);
}

int main(int argc, char** argv) { return run_on_large_stack(run_main, argc, argv); }
