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
#include "tools/run/check_run.h"
#include "tools/run/chunk_schedule.h"
#include "tools/run/input_digest.h"
#include "tools/run/output_folder.h"
#include "tools/run/phase_clock.h"
#include "tools/run/portfolio_facts.h"
#include "tools/run/result_files.h"
#include "tools/run/run_guard.h"
#include "tools/run/run_outputs.h"
#include "tools/run/slurm_run.h"
#include "talvon_version.h"

namespace {

const char* const DEFAULT_RUN_SCRIPT = "(define (task) (cashflow (portfolio)))\n";
std::string run_started;  // UTC
PhaseClock phase_clock;

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

// The run script without comments and with blanks run together.
std::string plain_script(const std::string& run) {
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
  return plain;
}

// Whether the run script's task is the cashflow of (portfolio), the one
// task that adds up over chunks.
bool values_the_portfolio(const std::string& run) {
  return plain_script(run).find("(define (task) (cashflow (portfolio)))") != std::string::npos;
}

bool generates_files(const std::string& run) {
  return plain_script(run).find("(define (task) (generate") != std::string::npos;
}

std::string base_name(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// A chunk's lines to the user's: the script before the policies as it
// is, its policies shifted to theirs, and the rest of the script shifted
// to where it follows the last policy of the whole list.
LineMap chunk_lines(const ChunkPlan& plan, size_t index) {
  LineMap lines;
  lines.segments.push_back({1, 0});
  if (!plan.split || plan.policies == 0) return lines;
  const ChunkRange& range = plan.chunks[index];
  long next = index + 1 < plan.chunks.size() ? plan.chunks[index + 1].first_line : plan.suffix_line;
  lines.segments.push_back({range.first_line - range.line_shift, range.line_shift});
  long tail = next - range.line_shift;
  lines.segments.push_back({tail, plan.suffix_line - tail});
  return lines;
}

// The scripts checked against each other, one chunk after another in the
// checker's process, so that the check holds one chunk at a time.
void check_chunks(const RunOptions& options, const std::string& model, const std::string& run,
                  const std::string& dir, const ChunkManifest& m) {
  CheckInput input = check_input(options, model, run);
  for (size_t i = 0; i < m.plan.chunks.size(); i++) {
    CheckChunk chunk;
    chunk.path = chunk_folder(dir, i) + "/" + m.names.portfolio;
    chunk.first_policy = m.plan.chunks[i].first_policy > 0 ? m.plan.chunks[i].first_policy : 1;
    chunk.lines = chunk_lines(m.plan, i);
    input.chunks.push_back(chunk);
  }
  clear_bar();
  check_scripts(input);
}

}  // namespace

// Cuts the portfolio into `dir`, puts the model and the run script beside
// every chunk, and checks the scripts chunk by chunk.
ChunkManifest write_chunks(const RunOptions& options, const std::string& dir) {
  std::string model = read_script(options.model, "model");
  std::string run = options.run.empty() ? DEFAULT_RUN_SCRIPT : read_script(options.run, "run script");
  check_readable(options.portfolio, "portfolio");
  // A cluster's task cannot hand back the files talvon writes where it runs.
  if (options.slurm && generates_files(run)) die("talvon-run: a generate task runs here, not on the cluster: leave out --slurm");
  ChunkManifest m;
  auto absolute = [](const std::string& path) {
    return path == "-" || path.empty() ? path : std::filesystem::absolute(path).string();
  };
  m.portfolio = absolute(options.portfolio);
  m.model = absolute(options.model);
  m.run = absolute(options.run);
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
  check_chunks(options, model, run, dir, m);
  write_manifest(dir, m);
  end_phase(phase_clock, "prepare");
  return m;
}

namespace {

// The script whose facts (valuation date, view) the results show: the
// portfolio without its policies when it was cut, so that they are read
// without holding its policies; else the one chunk's.
std::string facts_source(const std::string& dir, const ChunkManifest& m) {
  return m.plan.split ? dir + "/outline.tal" : chunk_folder(dir, 0) + "/" + m.names.portfolio;
}

InputFile input_of(const char* role, const std::string& path, const std::string& text) {
  return InputFile{role, path, sha256_hex(text)};
}

// What the result files say of the run, from the chunk folder: the
// inputs, the valuation date and view of the portfolio's outline, the
// number of policies the splitter counted.
RunFacts run_facts(const std::string& dir, const ChunkManifest& m) {
  RunFacts facts;
  facts.talvon_version = TALVON_VERSION;
  facts.started = run_started;
  std::string folder = chunk_folder(dir, 0) + "/";
  std::string model = read_script(folder + m.names.model, "model");
  std::string run = read_script(folder + m.names.run, "run script");
  facts.inputs = {input_of("model", m.model, model), InputFile{"portfolio", m.portfolio, m.plan.sha256},
                  input_of("run", m.run.empty() ? "(default task)" : m.run, run)};
  std::string scratch = temp_parent() + "/talvon-facts-XXXXXX";
  if (mkdtemp(scratch.data()) == nullptr) pdie(("talvon-run: mkdtemp " + scratch).c_str());
  guard_root(scratch);
  read_portfolio_facts(model, read_script(facts_source(dir, m), "portfolio"), scratch, facts);
  release_root(scratch);
  if (m.plan.split) facts.policies = m.plan.policies;
  facts.chunks = static_cast<int>(m.plan.chunks.size());
  end_phase(phase_clock, "read portfolio facts");
  facts.phases = phase_clock.phases;
  return facts;
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
  if (options.check_only) {
    printf("talvon-run: the model, the portfolio and the run script fit together\n");
    return 0;
  }
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
  }, &phase_clock);
  if (kept == 0) die("talvon-run: the calculation program sent no results: the run failed");
  if (kept > 0) {
    printf("talvon wrote %d file%s into %s\n", kept, kept == 1 ? "" : "s", options.output.c_str());
    return 0;
  }
  end_phase(phase_clock, "run");
  write_results(options.output, run_facts(dir, m), total.pairs);
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
  if (!result.results_sent) {
    fail_run("talvon-run: the chunk's task sent no results: the calculation program failed, or the task values no "
             "portfolio (a generate task runs without chunk steps)");
  }
  write_chunk_results(folder, result.results);
  set_status_file("");
  write_text_file(folder + "/status", "ok\n");
  return 0;
}

}  // namespace

void merge_chunks(const std::string& dir, const std::string& output) {
  if (!phase_clock.phases.empty()) end_phase(phase_clock, "run");  // since the chunks were cut here
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
  end_phase(phase_clock, "merge");
  write_results(output, run_facts(dir, m), total.pairs);
}

int run_valuation(const RunOptions& options) {
  guard_run();
  run_started = utc_now();
  start_phase_clock(phase_clock, !options.quiet && !options.check_only && !isatty(2));
  bool writes_results = options.step == Step::all || options.step == Step::merge;
  if (writes_results && !options.check_only) prepare_output_folder(options.output);
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
