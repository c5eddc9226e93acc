// talvon-run MODEL PORTFOLIO [RUN]: the front end for the shell. Values a
// portfolio with talvon server and writes the results as CSV files, a chart
// and a table of reserves.
#include "tools/run/options.h"
#include "tools/run/valuation_run.h"

int main(int argc, char** argv) {
  RunOptions options = parse_options(argc, argv);
  return run_valuation(options);
}
