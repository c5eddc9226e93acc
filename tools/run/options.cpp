#include "tools/run/options.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "driver/diagnostics.h"
#include "talvon_version.h"

const char* const USAGE =
    "Usage: talvon-run [options] MODEL PORTFOLIO [RUN]\n"
    "\n"
    "Values a portfolio with talvon: scrambles the plain-text scripts into a\n"
    "private run directory, starts talvon server, shows its progress, and\n"
    "writes the results: report.html (open it in a browser), cashflows.csv,\n"
    "reserves.csv, cashflows.svg, reserves.svg and run.json.\n"
    "\n"
    "  MODEL       the model script, e.g. models/pension/model.tal\n"
    "              (any one of the three may be \"-\": standard input)\n"
    "  PORTFOLIO   the portfolio script, defining (portfolio)\n"
    "  RUN         a run script defining (task); by default\n"
    "              (define (task) (cashflow (portfolio)))\n"
    "\n"
    "Options:\n"
    "  -o, --output DIR  folder for the result files, and for the files of a\n"
    "                    generate task\n"
    "                    (default: talvon-out)\n"
    "  --socket          receive the results over a loopback TCP port\n"
    "                    instead of a named pipe\n"
    "  --conf DIR        the tables that a generate task reads as conf/NAME.txt\n"
    "                    (default: the bundled models/conf)\n"
    "  --strict          stop at warnings of the check as at errors\n"
    "  --check           check the scripts against each other, value nothing\n"
    "  -q, --quiet       no progress display; without a terminal, no line\n"
    "                    per finished phase on stderr\n"
    "  -h, --help        this text\n"
    "  --version         talvon-run's version\n"
    "\n"
    "Before talvon starts, the three scripts are checked against each other:\n"
    "every key a model reads is there and of its kind, every key is one the\n"
    "model or the valuation reads, products exist, accounts lie in 0 to 19.\n"
    "Findings name the file, line and character; errors stop the run.\n"
    "\n"
    "The run directory is made under $TMPDIR (or /tmp) and removed at the end,\n"
    "also when the run fails or is interrupted. Results are written under\n"
    "temporary names and moved into place only when the whole run succeeded.\n"
    "\n"
    "Exit status: 0 done; 1 talvon or talvon-run failed; 3 the check found\n"
    "errors (nothing was valued); 128+N interrupted by signal N.\n"
    "See man talvon-run and the documents in share/doc/talvon.\n";

[[noreturn]] static void bad_usage(const std::string& message) {
  die(("talvon-run: " + message + " (see talvon-run --help)").c_str());
}

static std::string option_value(int argc, char** argv, int& i) {
  if (i + 1 >= argc) bad_usage(std::string("option ") + argv[i] + " needs a value");
  return argv[++i];
}

RunOptions parse_options(int argc, char** argv) {
  RunOptions options;
  std::vector<std::string> files;
  bool options_end = false;
  for (int i = 1; i < argc; i++) {
    std::string arg = argv[i];
    if (options_end || arg.empty() || arg[0] != '-' || arg == "-") {
      files.push_back(arg);
    } else if (arg == "--") {
      options_end = true;
    } else if (arg == "-h" || arg == "--help") {
      fputs(USAGE, stdout);
      exit(0);
    } else if (arg == "--version") {
      printf("talvon-run %s\n", TALVON_VERSION);
      exit(0);
    } else if (arg == "-o" || arg == "--output") {
      options.output = option_value(argc, argv, i);
    } else if (arg.rfind("--output=", 0) == 0) {
      options.output = arg.substr(9);
    } else if (arg == "--conf") {
      options.conf = option_value(argc, argv, i);
    } else if (arg.rfind("--conf=", 0) == 0) {
      options.conf = arg.substr(7);
    } else if (arg == "--socket") {
      options.socket = true;
    } else if (arg == "--check") {
      options.check_only = true;
    } else if (arg == "--strict") {
      options.strict = true;
    } else if (arg == "-q" || arg == "--quiet") {
      options.quiet = true;
    } else {
      bad_usage("unknown option " + arg);
    }
  }
  if (files.size() < 2) bad_usage("a model and a portfolio are needed");
  if (files.size() > 3) bad_usage("too many files: " + files[3]);
  if (std::count(files.begin(), files.end(), "-") > 1) bad_usage("only one script can be read from standard input");
  options.model = files[0];
  options.portfolio = files[1];
  if (files.size() == 3) options.run = files[2];
  if (options.output.empty()) bad_usage("the output folder is empty");
  return options;
}
