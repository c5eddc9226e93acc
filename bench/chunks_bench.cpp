// The chunk benchmark: values the same random portfolios (the second kind
// that the generate task writes: seven products and a surrender product a
// policy) end to end through talvon-run, as one program and in chunks, side
// by side, and measures each run from the outside:
//
//   wall     start of talvon-run .. its exit
//   CPU      user + system time of talvon-run and every process under it
//            (wait4's rusage: all descendants are waited for, the orphans
//            by talvon-run itself as their reaper)
//   peak     the largest sum of VmRSS over talvon-run and all processes
//            under it, sampled every 20 ms from /proc: a lower bound, short
//            by what a process touches between two samples
//
// Each chunked run's cashflows and reserves are compared with the whole
// run's, where there is one, as the largest relative difference.
//
//   chunks_bench [--sizes 1000,10000,100000] [--chunks 100,200,500,1000] [--jobs N]
//                [--whole-max 20000] [--csv PATH] [--keep]
//
// Portfolios up to --whole-max policies are valued whole and with each
// chunk size of --chunks; larger ones with talvon-run's default chunk size
// only, unless --chunks is given. --whole-max is the largest portfolio valued as one program: beyond about
// 20,000 policies one program needs more memory than the machine has to
// spare (1.5 GB at 20,000, growing faster than the portfolio).

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench_support.h"
#include "bench/proc_stats.h"
#include "tools/run/options.h"

namespace {

constexpr int SAMPLE_MILLISECONDS = 20;

struct Options : BenchPaths {
  std::vector<long> sizes = {1000, 10000, 100000};
  std::vector<long> chunks = {100, DEFAULT_CHUNK, 500, 1000};
  bool chunks_given = false;
  int jobs = 0;  // talvon-run's default
  long whole_max = 20000;
};

struct Measured {
  long policies = 0;
  long chunk = 0;  // 0: one program
  double wall_s = 0, cpu_s = 0;
  long peak_kib = 0;
  double difference = -1;  // against the whole run; -1 when none
};

// ---- The process tree ----

// The resident memory of `root` and everything under it, found through
// the children lists rather than a scan of all /proc, which would cost
// more than what it measures.
long tree_rss_kib(pid_t root) {
  std::vector<pid_t> tree = {root};
  long sum = 0;
  for (size_t i = 0; i < tree.size(); i++) {
    sum += status_kib(tree[i], "VmRSS:");
    for (pid_t child : children(tree[i])) tree.push_back(child);
  }
  return sum;
}

// Runs talvon-run with the arguments, its output dropped, and measures it.
Measured run_measured(const std::vector<std::string>& argv, const std::string& cwd) {
  double start = now();
  pid_t pid = start_quiet(argv, cwd);
  Measured m;
  int status = 0;
  rusage usage = {};
  for (;;) {
    pid_t done = wait4(pid, &status, WNOHANG, &usage);
    if (done == pid) break;
    m.peak_kib = std::max(m.peak_kib, tree_rss_kib(pid));
    std::this_thread::sleep_for(std::chrono::milliseconds(SAMPLE_MILLISECONDS));
  }
  m.wall_s = now() - start;
  // talvon-run's own time and that of all it waited for.
  m.cpu_s = usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6 + usage.ru_stime.tv_sec +
            usage.ru_stime.tv_usec / 1e6;
  require_success(status, argv, cwd);
  return m;
}

// ---- Results ----

std::map<std::string, double> read_results(const std::string& out) {
  std::map<std::string, double> values;
  for (const char* file : {"/cashflows.csv", "/reserves.csv"}) {
    std::ifstream in(out + file);
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) {
      size_t comma = line.rfind(',');
      values[file + line.substr(0, comma)] = strtod(line.c_str() + comma + 1, nullptr);
    }
  }
  return values;
}

// The largest relative difference of two result folders; infinity when
// they do not hold the same entries.
double difference(const std::string& a, const std::string& b) {
  std::map<std::string, double> x = read_results(a), y = read_results(b);
  if (x.size() != y.size()) return INFINITY;
  double worst = 0;
  for (const auto& [key, value] : x) {
    auto other = y.find(key);
    if (other == y.end()) return INFINITY;
    double scale = std::max(std::fabs(value), std::fabs(other->second));
    if (scale > 0) worst = std::max(worst, std::fabs(value - other->second) / scale);
  }
  return worst;
}

// ---- The table ----

std::string table(const std::vector<Measured>& runs) {
  std::string text =
      "| policies | chunk | wall s | CPU s | peak MiB | vs whole |\n"
      "|---:|---:|---:|---:|---:|---:|\n";
  for (const Measured& m : runs) {
    char line[200], diff[40] = "";
    if (m.difference >= 0) snprintf(diff, sizeof diff, "%.1e", m.difference);
    snprintf(line, sizeof line, "| %ld | %s | %.1f | %.1f | %ld | %s |\n", m.policies,
             m.chunk == 0 ? "whole" : std::to_string(m.chunk).c_str(), m.wall_s, m.cpu_s,
             m.peak_kib / 1024, diff);
    text += line;
  }
  return text;
}

std::string csv_row(const Measured& m) {
  char line[200];
  snprintf(line, sizeof line, "%ld,%ld,%.3f,%.3f,%ld,%.3g\n", m.policies, m.chunk, m.wall_s, m.cpu_s,
           m.peak_kib, m.difference);
  return line;
}

// The goals, against the runs with talvon-run's default chunk.
std::string goals(const std::vector<Measured>& runs) {
  std::string text;
  char line[240];
  for (const Measured& chunked : runs) {
    if (chunked.chunk != DEFAULT_CHUNK) continue;
    for (const Measured& whole : runs) {
      if (whole.policies != chunked.policies || whole.chunk != 0 || chunked.policies < 10000) continue;
      double share = chunked.wall_s / whole.wall_s;
      snprintf(line, sizeof line, "%ld policies: chunked %.1f s is %.2f of whole %.1f s (goal: at most 1/3): %s\n",
               chunked.policies, chunked.wall_s, share, whole.wall_s, share <= 1.0 / 3 ? "met" : "NOT met");
      text += line;
    }
    if (chunked.policies >= 100000) {
      bool met = chunked.wall_s < 120 && chunked.peak_kib < 2L * 1024 * 1024;
      snprintf(line, sizeof line, "%ld policies: %.1f s, %ld MiB at the peak (goal: under 120 s and 2048 MiB): %s\n",
               chunked.policies, chunked.wall_s, chunked.peak_kib / 1024, met ? "met" : "NOT met");
      text += line;
    }
  }
  return text;
}

// ---- Command line ----

const char* const USAGE =
    "usage: chunks_bench [--sizes 1000,10000,100000] [--chunks 100,200,500,1000] [--jobs N] "
    "[--whole-max 20000] [--csv PATH] [--keep]";

Options bench_options(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; i++) {
    std::string arg = argv[i];
    if (arg == "--sizes") o.sizes = parse_list(option_value(argc, argv, i, USAGE), 0, "number");
    else if (arg == "--chunks") {
      o.chunks = parse_list(option_value(argc, argv, i, USAGE), 0, "number");
      o.chunks_given = true;
    }
    else if (arg == "--jobs") o.jobs = atoi(option_value(argc, argv, i, USAGE));
    else if (arg == "--whole-max") o.whole_max = atol(option_value(argc, argv, i, USAGE));
    else if (arg == "--csv") o.csv = option_value(argc, argv, i, USAGE);
    else if (arg == "--keep") o.keep = true;
    else fail(USAGE);
  }
  if (o.csv.empty()) o.csv = o.source + "/bench/chunks.csv";
  return o;
}

}  // namespace

int main(int argc, char** argv) {
  Options o = bench_options(argc, argv);
  std::string top = make_temp_folder("talvon-chunks-bench");
  std::string run = o.build + "/talvon-run";
  std::string model = o.source + "/models/pension/model.tal";
  std::string csv = "policies,chunk,wall_s,cpu_s,peak_kib,difference\n";
  std::vector<Measured> all;
  double load[3] = {0, 0, 0};
  getloadavg(load, 3);
  fprintf(stderr, "load average at the start: %.2f %.2f %.2f\n", load[0], load[1], load[2]);
  for (long policies : o.sizes) {
    std::string dir = top + "/p" + std::to_string(policies);
    mkdir(dir.c_str(), 0700);
    // The portfolios come from talvon's own generate task.
    write_text(dir + "/generate.tal", generate_script(policies));
    run_measured({run, "-q", "-o", dir, model, o.source + "/models/example/portfolio.tal", dir + "/generate.tal"}, dir);
    // Beyond --whole-max only talvon-run's default chunk size, unless the
    // sizes were given.
    std::vector<long> chunks = o.chunks;
    if (policies <= o.whole_max) chunks.insert(chunks.begin(), 0);
    else if (!o.chunks_given) chunks = {DEFAULT_CHUNK};
    for (long chunk : chunks) {
      std::string out = dir + "/out" + std::to_string(chunk);
      std::vector<std::string> argv = {run, "-q", "--chunk", std::to_string(chunk), "-o", out};
      if (o.jobs > 0) argv.insert(argv.end(), {"--jobs", std::to_string(o.jobs)});
      argv.insert(argv.end(), {model, dir + "/b.pf"});
      Measured m = run_measured(argv, dir);
      m.policies = policies;
      m.chunk = chunk;
      if (chunk > 0 && policies <= o.whole_max) m.difference = difference(dir + "/out0", out);
      fprintf(stderr, "%7ld policies, chunk %6ld: %.1f s wall, %.1f s CPU, %ld MiB\n", policies, chunk,
              m.wall_s, m.cpu_s, m.peak_kib / 1024);
      all.push_back(m);
      csv += csv_row(m);
    }
  }
  getloadavg(load, 3);
  printf("%s\n%s\nload average at the end: %.2f %.2f %.2f\n", table(all).c_str(), goals(all).c_str(), load[0],
         load[1], load[2]);
  write_text(o.csv, csv);
  printf("wrote %s\n", o.csv.c_str());
  remove_or_keep(top, o.keep);
  return 0;
}
