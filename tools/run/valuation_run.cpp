#include "tools/run/valuation_run.h"

#include <sched.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "driver/diagnostics.h"
#include "platform/compat_include.h"
#include "tools/run/chunk_manifest.h"
#include "tools/run/chunk_merge.h"
#include "tools/run/chunk_schedule.h"
#include "tools/run/result_files.h"
#include "tools/run/run_guard.h"
#include "tools/run/run_outputs.h"
#include "tools/run/slurm_run.h"

namespace {

const char* const DEFAULT_RUN_SCRIPT = "(define (task) (cashflow (portfolio)))\n";

void check_talvon() {
  std::string talvon = talvon_path();
  if (access(talvon.c_str(), X_OK) != 0) {
    die(("talvon-run: talvon is not beside talvon-run: " + talvon).c_str());
  }
}

// The conf/ tables: the option's, else the bundled ones beside the
// executable (models/ in a build tree, share/talvon/models in an install).
std::string conf_folder(const RunOptions& options) {
  if (!options.conf.empty()) {
    if (!std::filesystem::is_directory(options.conf)) {
      die(("talvon-run: no table folder " + options.conf).c_str());
    }
    return std::filesystem::absolute(options.conf).string();
  }
  std::string exe = executable_dir();
  for (const std::string& candidate : {exe + "/models/conf", exe + "/../share/talvon/models/conf"}) {
    if (std::filesystem::is_directory(candidate)) return candidate;
  }
  return "";
}

// Whether the run script's task is the cashflow of (portfolio), the one
// task that adds up over chunks: its text without comments and with blanks
// run together holds that definition.
bool values_the_portfolio(const std::string& run) {
  std::string plain;
  bool comment = false, string = false;
  for (char c : run) {
    if (comment) {
      comment = c != '\n';
      continue;
    }
    if (c == '"') string = !string;
    if (!string && c == ';') {
      comment = true;
      c = ' ';
    }
    if (c == '\n' || c == '\r') c = ' ';
    if (c == ' ' && (plain.empty() || plain.back() == ' ' || plain.back() == '(')) continue;
    if (c == ')' && !plain.empty() && plain.back() == ' ') plain.pop_back();
    plain.push_back(c);
  }
  return plain.find("(define (task) (cashflow (portfolio)))") != std::string::npos;
}

std::string base_name(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

// Cuts the portfolio into `dir` and puts the model and the run script
// beside every chunk.
ChunkManifest write_chunks(const RunOptions& options, const std::string& dir) {
  std::string model = read_script(options.model, "model");
  std::string run = options.run.empty() ? DEFAULT_RUN_SCRIPT : read_script(options.run, "run script");
  check_readable(options.portfolio, "portfolio");
  ChunkManifest m;
  m.portfolio = std::filesystem::absolute(options.portfolio).string();
  m.names = script_names(options.model, options.portfolio, options.run);
  long size = values_the_portfolio(run) ? options.chunk : 0;
  m.plan = split_portfolio(options.portfolio, size, dir, m.names.portfolio);
  if (size > 0 && !m.plan.split && m.plan.balanced) {
    clear_bar();
    fprintf(stderr,
            "talvon-run: the policies of %s are not written as (\"policies\" (list ...)) in "
            "(define (portfolio) ...): valued as one program\n",
            base_name(options.portfolio).c_str());
  }
  for (size_t i = 0; i < m.plan.chunks.size(); i++) {
    write_text_file(chunk_folder(dir, i) + "/" + m.names.model, model);
    write_text_file(chunk_folder(dir, i) + "/" + m.names.run, run);
  }
  write_manifest(dir, m);
  return m;
}

namespace {

// The script whose view labels the results: the portfolio without its
// policies when it was cut, else the one chunk's.
std::string labels_source(const std::string& dir, const ChunkManifest& m) {
  return m.plan.split ? dir + "/outline.tal" : chunk_folder(dir, 0) + "/" + m.names.portfolio;
}

ScheduledChunk scheduled(const RunOptions& options, const std::string& conf, const std::string& dir,
                         const ChunkManifest& m, size_t index) {
  ScheduledChunk chunk;
  chunk.input = ChunkInput{chunk_folder(dir, index), m.names, conf, options.socket};
  chunk.name = chunk_name(m, index);
  const ChunkRange& range = m.plan.chunks[index];
  chunk.weight = range.last_policy - range.first_policy + 1;
  return chunk;
}

// The cores this process may run on: under a batch system or in a
// container that is fewer than the machine has.
int core_count() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) == 0 && CPU_COUNT(&set) > 0) return CPU_COUNT(&set);
  long cores = sysconf(_SC_NPROCESSORS_ONLN);
  return cores > 0 ? static_cast<int>(cores) : 1;
}

bool display(const RunOptions& options) { return !options.quiet && isatty(2); }

int run_all_steps(const RunOptions& options) {
  check_talvon();
  std::string conf = conf_folder(options);
  std::string dir = temp_parent() + "/talvon-chunks-XXXXXX";
  if (mkdtemp(dir.data()) == nullptr) pdie(("talvon-run: mkdtemp " + dir).c_str());
  guard_root(dir);
  if (display(options)) {
    fputs("cutting the portfolio into chunks", stderr);
    set_bar_shown(true);
  }
  ChunkManifest m = write_chunks(options, dir);
  clear_bar();
  std::vector<ScheduledChunk> chunks;
  for (size_t i = 0; i < m.plan.chunks.size(); i++) chunks.push_back(scheduled(options, conf, dir, m, i));
  int jobs = options.jobs > 0 ? options.jobs : core_count();
  std::string keep_into = chunks.size() == 1 ? options.output : "";
  ResultStream total;
  start_result_stream(total);
  int kept = -1;  // files of a task without results
  value_chunks(chunks, jobs, display(options), keep_into, [&](ChunkResult& result) {
    if (result.results_sent) add_results(total, result.results);
    else kept = result.kept_files;
  });
  if (kept == 0) die("talvon-run: the calculation program sent no results: the run failed");
  if (kept > 0) {
    printf("talvon wrote %d file%s into %s\n", kept, kept == 1 ? "" : "s", options.output.c_str());
    return 0;
  }
  write_results(options.output, total, labels_source(dir, m));
  release_root(dir);
  return 0;
}

int write_chunks_only(const RunOptions& options) {
  std::error_code error;
  if (std::filesystem::exists(options.chunks) && !std::filesystem::is_empty(options.chunks, error)) {
    die(("talvon-run: " + options.chunks + " is not empty").c_str());
  }
  ChunkManifest m = write_chunks(options, options.chunks);
  printf("%zu chunk%s of %ld policies in %s\n", m.plan.chunks.size(), m.plan.chunks.size() == 1 ? "" : "s",
         m.plan.policies, options.chunks.c_str());
  return 0;
}

// The chunk folder's place in the manifest of its parent.
size_t chunk_index(const std::string& folder, const ChunkManifest& m, const std::string& dir) {
  for (size_t i = 0; i < m.plan.chunks.size(); i++) {
    std::error_code error;
    if (std::filesystem::equivalent(chunk_folder(dir, i), folder, error)) return i;
  }
  die(("talvon-run: " + folder + " is not a chunk listed in " + dir + "/chunks.txt").c_str());
}

int value_chunk_only(const RunOptions& options) {
  check_talvon();
  std::string conf = conf_folder(options);
  std::string folder = options.chunks;
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  std::filesystem::path parent = std::filesystem::path(folder).parent_path();
  std::string dir = parent.empty() ? std::string(".") : parent.string();
  ChunkManifest m = read_manifest(dir);
  size_t index = chunk_index(folder, m, dir);
  for (const char* file : {"/status", "/cashflows.csv", "/reserves.csv"}) remove((folder + file).c_str());
  set_status_file(folder + "/status");
  ChunkResult result;
  value_chunks({scheduled(options, conf, dir, m, index)}, 1, display(options), "",
               [&](ChunkResult& finished) { result = std::move(finished); });
  if (!result.results_sent) fail_run("talvon-run: the chunk's task sent no results");
  write_chunk_results(folder, result.results);
  set_status_file("");
  write_text_file(folder + "/status", "ok\n");
  return 0;
}

}  // namespace

void merge_chunks(const std::string& dir, const std::string& output) {
  ChunkManifest m = read_manifest(dir);
  ResultStream total;
  start_result_stream(total);
  for (size_t i = 0; i < m.plan.chunks.size(); i++) {
    std::string folder = chunk_folder(dir, i);
    std::string name = chunk_name(m, i);
    std::string chunk = folder + (name.empty() ? "" : ", " + name + ",");
    if (access((folder + "/status").c_str(), F_OK) != 0) {
      fail_run("talvon-run: " + chunk + " has not been valued");
    }
    std::string status = read_script(folder + "/status", "status of chunk");
    if (status != "ok\n") {
      std::string messages = status.substr(status.find('\n') + 1);
      while (!messages.empty() && messages.back() == '\n') messages.pop_back();
      fail_run("talvon-run: " + chunk + " failed:\n" + messages);
    }
    add_results(total, read_chunk_results(folder, chunk));
  }
  write_results(output, total, labels_source(dir, m));
}

int run_valuation(const RunOptions& options) {
  guard_run();
  switch (options.step) {
    case Step::write_chunks:
      return write_chunks_only(options);
    case Step::value_chunk:
      return value_chunk_only(options);
    case Step::merge:
      merge_chunks(options.chunks, options.output);
      return 0;
    case Step::all:
      break;
  }
  return options.slurm ? run_on_slurm(options) : run_all_steps(options);
}
