#include "tools/run/options.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "driver/diagnostics.h"
#include "talvon_version.h"

const char* const USAGE =
    "Usage: talvon-run [options] MODEL PORTFOLIO [RUN]\n"
    "       talvon-run --write-chunks DIR [--chunk K] MODEL PORTFOLIO [RUN]\n"
    "       talvon-run --value-chunk DIR/NNNN [--conf DIR] [--socket] [-q]\n"
    "       talvon-run --merge DIR [-o DIR]\n"
    "       talvon-run --slurm [--shared-dir DIR] [options] MODEL PORTFOLIO [RUN]\n"
    "                  [-- SBATCH-OPTIONS]\n"
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
    "  -j, --jobs N      value up to N chunks at once (default: the number of\n"
    "                    cores talvon-run may use; with --slurm, as many\n"
    "                    tasks as the cluster runs)\n"
    "  --chunk K         at most K policies a chunk (default: 200); 0 values\n"
    "                    the portfolio as one program\n"
    "  -h, --help        this text\n"
    "  --version         talvon-run's version\n"
    "\n"
    "Before talvon starts, the three scripts are checked against each other:\n"
    "every key a model reads is there and of its kind, every key is one the\n"
    "model or the valuation reads, products exist, accounts lie in 0 to 19.\n"
    "Findings name the file, line and character; errors stop the run.\n"
    "\n"
    "A portfolio is valued in chunks: the policies of its (\"policies\" (list ...))\n"
    "entry are cut into chunks of at most K, each valued by a talvon of its own\n"
    "with the rest of the script, and their cashflows and reserves are added.\n"
    "Run directories are made under $TMPDIR (or /tmp) and removed at the end,\n"
    "also when the run fails or is interrupted. Results are written under\n"
    "temporary names and moved into place only when the whole run succeeded.\n"
    "\n"
    "The steps alone, for batches run elsewhere:\n"
    "  --write-chunks DIR   cut the portfolio into DIR/0001, DIR/0002, ... (the\n"
    "                       three scripts each) and list them in DIR/chunks.txt\n"
    "  --value-chunk DIR/NNNN  value one chunk; writes cashflows.csv, reserves.csv\n"
    "                       and status (\"ok\", or \"failed\" and the messages)\n"
    "                       into its folder\n"
    "  --merge DIR          add the valued chunks of DIR and write the results\n"
    "                       into the output folder\n"
    "\n"
    "On a Slurm cluster:\n"
    "  --slurm              value the chunks as one Slurm job array, a task a\n"
    "                       chunk, and write the results as a local run does;\n"
    "                       what follows -- goes to sbatch (e.g. --partition=P\n"
    "                       --time=30); the chunk folder must be one that every\n"
    "                       node sees, and talvon-run and tcc must be on every\n"
    "                       node at the same paths\n"
    "  --shared-dir DIR     where the chunk folder is made (default: the output\n"
    "                       folder)\n"
    "A task runs the batch script share/talvon/slurm/talvon-chunk.sbatch, which\n"
    "sites also submit themselves with the steps above; see\n"
    "share/doc/talvon/slurm.md.\n"
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

static long number_value(const std::string& option, const std::string& text, long least) {
  char* end = nullptr;
  errno = 0;
  long value = strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || errno != 0 || value < least || value > 1000000000) {
    bad_usage("option " + option + " needs a whole number" + (least > 0 ? " from 1" : " from 0") + ", not " + text);
  }
  return value;
}

RunOptions parse_options(int argc, char** argv) {
  RunOptions options;
  std::vector<std::string> files;
  bool options_end = false;
  for (int i = 1; i < argc; i++) {
    std::string arg = argv[i];
    if (options_end || arg.empty() || arg[0] != '-' || arg == "-") {
      files.push_back(arg);
    } else if (arg == "--" && options.slurm) {
      // The rest is sbatch's.
      options.sbatch.assign(argv + i + 1, argv + argc);
      break;
    } else if (arg == "--") {
      options_end = true;
    } else if (arg == "--slurm") {
      options.slurm = true;
    } else if (arg == "--shared-dir") {
      options.shared_dir = option_value(argc, argv, i);
    } else if (arg.rfind("--shared-dir=", 0) == 0) {
      options.shared_dir = arg.substr(13);
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
    } else if (arg == "-j" || arg == "--jobs") {
      options.jobs = static_cast<int>(number_value(arg, option_value(argc, argv, i), 1));
    } else if (arg.rfind("--jobs=", 0) == 0) {
      options.jobs = static_cast<int>(number_value("--jobs", arg.substr(7), 1));
    } else if (arg == "--chunk") {
      options.chunk = number_value(arg, option_value(argc, argv, i), 0);
    } else if (arg.rfind("--chunk=", 0) == 0) {
      options.chunk = number_value("--chunk", arg.substr(8), 0);
    } else if (arg == "--write-chunks" || arg == "--value-chunk" || arg == "--merge") {
      if (options.step != Step::all) bad_usage("only one of --write-chunks, --value-chunk and --merge");
      options.step = arg == "--merge" ? Step::merge : arg == "--write-chunks" ? Step::write_chunks : Step::value_chunk;
      options.chunks = option_value(argc, argv, i);
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
  if (options.output.empty()) bad_usage("the output folder is empty");
  if (options.slurm && options.step != Step::all) bad_usage("--slurm runs the whole valuation, not one step");
  if (options.check_only && (options.slurm || options.step != Step::all)) {
    bad_usage("--check checks the scripts only, it runs no step");
  }
  if (!options.slurm && !options.shared_dir.empty()) bad_usage("--shared-dir goes with --slurm");
  for (const std::string& option : options.sbatch) {
    if (option.rfind("-a", 0) == 0 || option.rfind("--array", 0) == 0) {
      bad_usage("sbatch's --array is talvon-run's own: one task a chunk");
    }
  }
  if (options.step == Step::value_chunk || options.step == Step::merge) {
    if (!files.empty()) bad_usage("no scripts with --value-chunk or --merge: " + files[0]);
    return options;
  }
  if (files.size() < 2) bad_usage("a model and a portfolio are needed");
  if (files.size() > 3) bad_usage("too many files: " + files[3]);
  if (std::count(files.begin(), files.end(), "-") > 1) bad_usage("only one script can be read from standard input");
  options.model = files[0];
  options.portfolio = files[1];
  if (files.size() == 3) options.run = files[2];
  return options;
}
