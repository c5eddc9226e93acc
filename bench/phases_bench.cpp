// The phase benchmark: values random portfolios of the second kind (seven
// products and a surrender product per policy) of growing size with the
// bundled pension model under `talvon server`, and times the four phases of
// each valuation from the outside, as the front end sees them:
//
//   read+check  start of talvon .. its first progress record (0.0)
//   write       first progress record .. progress 1.0 (the program is written)
//   compile     1.0 .. 2.0 (tcc has built ../bin/tmp)
//   run         2.0 .. talvon's exit (the calculation program has run)
//
// The first progress record is sent once the scripts are read, the five
// passes have checked them, the portfolio is evaluated and the policy
// product records are built; the prologue and the basis functions, written
// before it, are a fixed few kilobytes. So "read+check" is everything before
// the per-policy writing starts, and the four phases add up to the whole run.
//
// Memory is sampled from /proc while talvon runs: talvon's own VmHWM (its
// high-water mark never falls, so the last sample is exact), and the VmHWM
// of its children, tcc and the calculation program tmp, found through
// /proc/PID/task/*/children (talvon forks them from its large-stack thread).
// A child is sampled every poll interval until it exits; whatever it touches
// in its last interval can be missed, so the child figures are lower bounds
// within a millisecond or two of work. wait4's ru_maxrss of talvon is the
// largest of talvon and all its children together and is reported as a
// check. The size of ../bin/tx is taken when progress 1.0 arrives: compact
// mode removes the file once tcc has read it. So is talvon's own CPU time
// (user and system, from /proc/PID/stat), the cost of our phases without
// the noise of other processes on the machine.
//
//   phases_bench [--sizes 10,100,1000,10000] [--runs 3] [--large-runs 2]
//                [--csv PATH] [--build DIR] [--source DIR] [--keep]

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "bench/proc_stats.h"
#include "tools/run/progress_records.h"
#include "tools/run/result_records.h"

namespace {

// How often talvon and its children are sampled while nothing arrives.
constexpr int POLL_MILLISECONDS = 2;

struct Options : BenchPaths {
  std::vector<long> sizes = {10, 100, 1000, 10000};
  int runs = 3;
  int large_runs = 2;  // runs for sizes of 10,000 and more
};

// One valuation, measured.
struct Run {
  long policies = 0;
  int run = 0;
  double read_s = 0, write_s = 0, compile_s = 0, run_s = 0, total_s = 0;
  double ours_cpu_s = 0;  // talvon's own CPU time through writing
  long tx_bytes = -1;
  long talvon_kib = 0, tcc_kib = 0, program_kib = 0, rusage_kib = 0;
  int pairs = 0;
  long records = 0;
};

// ---- Running the tools ----

// Runs a program in a directory and waits; its standard output is dropped.
void run_tool(const std::vector<std::string>& argv, const std::string& cwd) {
  pid_t pid = start_quiet(argv, cwd);
  int status;
  if (waitpid(pid, &status, 0) < 0) fail_errno("waitpid");
  require_success(status, argv, cwd);
}

void scramble(const Options& o, const std::string& from, const std::string& to) {
  run_tool({o.build + "/talvon-scramble", from, to}, "/");
}

// A run directory as talvon expects it: work/ with the scrambled scripts and
// the basis tables in conf/, bin/ beside it.
struct RunDir {
  std::string root, work, bin;
};

RunDir make_run_dir(const Options& o, const std::string& top, long policies) {
  RunDir d;
  d.root = top + "/p" + std::to_string(policies);
  d.work = d.root + "/work";
  d.bin = d.root + "/bin";
  for (const std::string& dir : {d.root, d.work, d.bin, d.work + "/conf"}) {
    if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) fail_errno("mkdir " + dir);
  }
  const char* tables[] = {"dfsa_yield", "dfsa_mortality_female", "dfsa_mortality_improvement_female",
                          "dfsa_mortality_improvement_male", "dfsa_mortality_male"};
  for (const char* table : tables) {
    std::string name = std::string("conf/") + table + ".txt";
    write_text(d.work + "/" + name, read_text(o.source + "/models/" + name));
  }
  return d;
}

// Writes the random portfolios with the generate task and prepares the
// scripts of the valuation of the second one.
void prepare_portfolio(const Options& o, const RunDir& d, long policies) {
  scramble(o, o.source + "/models/pension/model.tal", d.work + "/m.bin");
  write_text(d.root + "/empty.tal", "(define (portfolio) (assoc (\"policies\" ())))\n");
  write_text(d.root + "/generate.tal", generate_script(policies));
  write_text(d.root + "/cashflow.tal", "(define (task) (cashflow (portfolio)))\n");
  scramble(o, d.root + "/empty.tal", d.work + "/e.bin");
  scramble(o, d.root + "/generate.tal", d.work + "/g.bin");
  scramble(o, d.root + "/cashflow.tal", d.work + "/r.bin");
  run_tool({o.build + "/talvon", "exec", "m.bin", "e.bin", "g.bin"}, d.work);
  scramble(o, d.work + "/b.pf", d.work + "/p.bin");
}

// ---- Watching a valuation ----

void sample_memory(pid_t talvon, Run& r) {
  r.talvon_kib = std::max(r.talvon_kib, status_kib(talvon, "VmHWM:"));
  for (pid_t child : children(talvon)) {
    std::string name;
    long kib = status_kib(child, "VmHWM:", &name);
    if (name == "tcc") r.tcc_kib = std::max(r.tcc_kib, kib);
    if (name == "tmp") r.program_kib = std::max(r.program_kib, kib);
  }
}

// The two FIFOs the front end would create, read without blocking. Until
// its writer comes, a FIFO reads as empty; poll reports a hang-up only once
// a writer has come and gone. Their records are decoded as talvon-run
// decodes them.
struct Channel {
  int fd = -1;
  bool hung_up = false;
};

void open_fifo(const std::string& path, Channel& c) {
  unlink(path.c_str());
  if (mkfifo(path.c_str(), 0600) != 0) fail_errno("mkfifo " + path);
  c.fd = open(path.c_str(), O_RDONLY | O_NONBLOCK);
  if (c.fd < 0) fail_errno("open " + path);
}

// What is there to read.
std::string drain(Channel& c) {
  std::string bytes;
  char buffer[65536];
  for (;;) {
    ssize_t n = read(c.fd, buffer, sizeof buffer);
    if (n > 0) {
      bytes.append(buffer, static_cast<size_t>(n));
    } else if (n < 0 && errno == EINTR) {
      continue;
    } else {
      return bytes;
    }
  }
}

// Times of the progress marks, taken when they are read: the first record,
// 1.0 and 2.0.
struct Marks {
  double first = 0, written = 0, compiled = 0;
};

void take_progress(Channel& c, ProgressStream& stream, double t, Marks& m, const RunDir& d,
                   pid_t talvon, Run& r) {
  std::string bytes = drain(c);
  take_progress_bytes(stream, bytes.data(), bytes.size());
  if (stream.value >= 0 && m.first == 0) m.first = t;
  if (stream.value >= 1.0 && m.written == 0) {
    m.written = t;
    r.ours_cpu_s = cpu_seconds(talvon);
    struct stat info;
    if (stat((d.bin + "/tx").c_str(), &info) == 0) r.tx_bytes = info.st_size;
  }
  if (stream.value >= 2.0 && m.compiled == 0) m.compiled = t;
}

void take_results(Channel& c, ResultStream& stream) {
  std::string bytes = drain(c);
  take_result_bytes(stream, bytes.data(), bytes.size());
}

pid_t start_server(const Options& o, const RunDir& d, const std::string& progress,
                   const std::string& result) {
  pid_t pid = fork();
  if (pid < 0) fail_errno("fork");
  if (pid == 0) {
    if (chdir(d.work.c_str()) != 0) _exit(126);
    std::string talvon = o.build + "/talvon";
    execl(talvon.c_str(), talvon.c_str(), "server", "m.bin", "p.bin", "r.bin", progress.c_str(),
          result.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  return pid;
}

Run value_once(const Options& o, const RunDir& d, long policies, int number) {
  Run r;
  r.policies = policies;
  r.run = number;
  Channel progress, result;
  ProgressStream progress_stream;
  ResultStream result_stream;
  start_progress_stream(progress_stream);
  start_result_stream(result_stream);
  std::string progress_path = d.root + "/progress", result_path = d.root + "/result";
  open_fifo(progress_path, progress);
  open_fifo(result_path, result);
  Marks m;
  double start = now();
  pid_t pid = start_server(o, d, progress_path, result_path);
  int status = 0;
  struct rusage usage;
  for (;;) {
    struct pollfd fds[2] = {{progress.hung_up ? -1 : progress.fd, POLLIN, 0},
                            {result.hung_up ? -1 : result.fd, POLLIN, 0}};
    poll(fds, 2, POLL_MILLISECONDS);
    if (fds[0].revents & POLLHUP) progress.hung_up = true;
    if (fds[1].revents & POLLHUP) result.hung_up = true;
    take_progress(progress, progress_stream, now(), m, d, pid, r);
    take_results(result, result_stream);
    sample_memory(pid, r);
    pid_t done = wait4(pid, &status, WNOHANG, &usage);
    if (done == pid) {
      r.total_s = now() - start;
      break;
    }
  }
  take_progress(progress, progress_stream, now(), m, d, pid, r);
  take_results(result, result_stream);
  close(progress.fd);
  close(result.fd);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || progress_stream.ended) {
    fail("talvon server failed for " + std::to_string(policies) + " policies");
  }
  if (m.first == 0 || m.written == 0 || m.compiled == 0) fail("progress records missing");
  r.read_s = m.first - start;
  r.write_s = m.written - m.first;
  r.compile_s = m.compiled - m.written;
  r.run_s = r.total_s - (m.compiled - start);
  r.rusage_kib = usage.ru_maxrss;
  r.records = static_cast<long>(result_stream.records);
  r.pairs = static_cast<int>(result_stream.pairs.size());
  if (r.pairs == 0) fail("no result records");
  require_complete_results(result_stream);
  return r;
}

// ---- Reporting ----

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  size_t n = values.size();
  return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// The median of every column over the runs of one size.
Run median_run(const std::vector<Run>& runs) {
  Run m = runs.front();
  m.run = 0;
  auto column = [&](auto field) {
    std::vector<double> values;
    for (const Run& r : runs) values.push_back(static_cast<double>(r.*field));
    return median(values);
  };
  m.read_s = column(&Run::read_s);
  m.write_s = column(&Run::write_s);
  m.compile_s = column(&Run::compile_s);
  m.run_s = column(&Run::run_s);
  m.total_s = column(&Run::total_s);
  m.ours_cpu_s = column(&Run::ours_cpu_s);
  m.tx_bytes = static_cast<long>(column(&Run::tx_bytes));
  m.talvon_kib = static_cast<long>(column(&Run::talvon_kib));
  m.tcc_kib = static_cast<long>(column(&Run::tcc_kib));
  m.program_kib = static_cast<long>(column(&Run::program_kib));
  m.rusage_kib = static_cast<long>(column(&Run::rusage_kib));
  return m;
}

double mib(long kib) { return kib / 1024.0; }

const char* const TABLE_HEAD =
    "| policies | runs | read+check s | write s | compile s | run s | total s | talvon CPU s | "
    "tx MB | talvon MiB | tcc MiB | program MiB |\n"
    "|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|\n";

std::string table_row(const Run& m, size_t runs) {
  char line[512];
  snprintf(line, sizeof line,
           "| %ld | %zu | %.3f | %.3f | %.3f | %.3f | %.3f | %.2f | %.1f | %.0f | %.0f | %.0f |\n",
           m.policies, runs, m.read_s, m.write_s, m.compile_s, m.run_s, m.total_s, m.ours_cpu_s,
           m.tx_bytes / 1e6, mib(m.talvon_kib), mib(m.tcc_kib), mib(m.program_kib));
  return line;
}

std::string csv_row(const Run& r, const char* kind) {
  char line[512];
  snprintf(line, sizeof line, "%ld,%s,%.4f,%.4f,%.4f,%.4f,%.4f,%.2f,%ld,%ld,%ld,%ld,%ld,%d\n",
           r.policies, kind, r.read_s, r.write_s, r.compile_s, r.run_s, r.total_s, r.ours_cpu_s,
           r.tx_bytes,
           r.talvon_kib, r.tcc_kib, r.program_kib, r.rusage_kib, r.pairs);
  return line;
}

const char* const CSV_HEAD =
    "policies,run,read_check_s,write_s,compile_s,run_s,total_s,talvon_cpu_s,tx_bytes,talvon_peak_kib,"
    "tcc_peak_kib,program_peak_kib,wait4_maxrss_kib,account_pairs\n";

const Run* find_size(const std::vector<Run>& medians, long policies) {
  for (const Run& m : medians) {
    if (m.policies == policies) return &m;
  }
  return nullptr;
}

// The goals: our phases for 10,000 policies beat tcc on what they wrote and
// stay under 2 GiB; they grow at most 12-fold from 1,000 to 10,000.
std::string goals(const std::vector<Run>& medians) {
  std::string text;
  char line[256];
  const Run* large = find_size(medians, 10000);
  const Run* small = find_size(medians, 1000);
  if (large != nullptr) {
    double ours = large->read_s + large->write_s;
    snprintf(line, sizeof line, "10000 policies: read+check+write %.3f s vs compile %.3f s: %s\n",
             ours, large->compile_s, ours < large->compile_s ? "met" : "NOT met");
    text += line;
    snprintf(line, sizeof line, "10000 policies: talvon peak %.0f MiB (limit 2048 MiB): %s\n",
             mib(large->talvon_kib), large->talvon_kib < 2L * 1024 * 1024 ? "met" : "NOT met");
    text += line;
  }
  if (large != nullptr && small != nullptr) {
    double ratio = (large->read_s + large->write_s) / (small->read_s + small->write_s);
    snprintf(line, sizeof line, "read+check+write 10000 / 1000 policies: %.2f (limit 12): %s\n",
             ratio, ratio <= 12 ? "met" : "NOT met");
    text += line;
    snprintf(line, sizeof line, "  the same in talvon's CPU time: %.2f\n",
             large->ours_cpu_s / small->ours_cpu_s);
    text += line;
  }
  return text;
}

// ---- Command line ----

const char* const USAGE =
    "usage: phases_bench [--sizes 10,100,1000,10000] [--runs N] [--large-runs N] "
    "[--csv PATH] [--build DIR] [--source DIR] [--keep]";

Options parse_options(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; i++) {
    std::string arg = argv[i];
    if (arg == "--sizes") o.sizes = parse_list(option_value(argc, argv, i, USAGE), 1, "size");
    else if (arg == "--runs") o.runs = std::max(1, atoi(option_value(argc, argv, i, USAGE)));
    else if (arg == "--large-runs") o.large_runs = std::max(1, atoi(option_value(argc, argv, i, USAGE)));
    else if (arg == "--csv") o.csv = option_value(argc, argv, i, USAGE);
    else if (arg == "--build") o.build = absolute(option_value(argc, argv, i, USAGE));
    else if (arg == "--source") o.source = absolute(option_value(argc, argv, i, USAGE));
    else if (arg == "--keep") o.keep = true;
    else fail(USAGE);
  }
  if (o.csv.empty()) o.csv = o.source + "/bench/results.csv";
  return o;
}

}  // namespace

int main(int argc, char** argv) {
  Options o = parse_options(argc, argv);
  std::string top = make_temp_folder("talvon-bench");
  std::string csv = CSV_HEAD;
  std::vector<Run> medians;
  std::vector<size_t> counts;
  for (long policies : o.sizes) {
    RunDir d = make_run_dir(o, top, policies);
    prepare_portfolio(o, d, policies);
    int runs = policies >= 10000 ? o.large_runs : o.runs;
    std::vector<Run> all;
    for (int i = 1; i <= runs; i++) {
      Run r = value_once(o, d, policies, i);
      fprintf(stderr, "%6ld policies, run %d: %.3f + %.3f + %.3f + %.3f s\n", policies, i,
              r.read_s, r.write_s, r.compile_s, r.run_s);
      csv += csv_row(r, std::to_string(i).c_str());
      all.push_back(r);
    }
    medians.push_back(median_run(all));
    counts.push_back(all.size());
    csv += csv_row(medians.back(), "median");
  }
  std::string table = TABLE_HEAD;
  for (size_t i = 0; i < medians.size(); i++) table += table_row(medians[i], counts[i]);
  printf("Medians over the runs; tx: the generated program; peaks: VmHWM.\n\n%s\n%s", table.c_str(),
         goals(medians).c_str());
  write_text(o.csv, csv);
  printf("\nwrote %s\n", o.csv.c_str());
  remove_or_keep(top, o.keep);
  return 0;
}
