#include "tools/run/slurm_run.h"

#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "driver/diagnostics.h"
#include "platform/compat_include.h"
#include "tools/run/chunk_manifest.h"
#include "tools/run/chunk_split.h"
#include "tools/run/progress_records.h"
#include "tools/run/run_dir.h"
#include "tools/run/run_guard.h"
#include "tools/run/slurm_job.h"
#include "tools/run/talvon_child.h"
#include "tools/run/valuation_run.h"

namespace {

constexpr int BAR_WIDTH = 30;
constexpr long POLL_MILLISECONDS = 500;
// A task that Slurm has ended may show its chunk's status file late: a
// shared filesystem shows one node's new files to another after a while.
// A task that ended well gets longer, since only its file tells.
constexpr long GRACE_FAILED_MILLISECONDS = 5000;
constexpr long GRACE_COMPLETED_MILLISECONDS = 60000;
// How long the end of a run waits for its tasks to leave the queue.
constexpr long LEAVE_MILLISECONDS = 30000;
constexpr long FINAL_STATE_MILLISECONDS = 5000;
constexpr int LOG_LINES = 5;

// What talvon-run must undo when it ends before its job: the job, and the
// chunk folder unless a failure leaves it for a look at the tasks' logs.
struct Submitted {
  std::string job;
  std::string folder;
  bool keep_folder = false;
};
Submitted submitted;

long now_milliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

bool job_has_live_tasks(const std::string& job) {
  TaskStates states = task_states(job);
  if (!states.answered) return true;
  for (const auto& [index, state] : states.states) {
    if (!task_finished(state)) return true;
  }
  return false;
}

void wait_until_tasks_leave(const std::string& job) {
  long until = now_milliseconds() + LEAVE_MILLISECONDS;
  while (job_has_live_tasks(job) && now_milliseconds() < until) usleep(200 * 1000);
}

void undo_submission() {
  if (!submitted.job.empty() && job_has_live_tasks(submitted.job)) {
    cancel_job(submitted.job);
    fprintf(stderr, "talvon-run: cancelled Slurm job %s\n", submitted.job.c_str());
    wait_until_tasks_leave(submitted.job);
    submitted.job.clear();
  }
  if (!submitted.folder.empty() && !submitted.keep_folder) remove_tree(submitted.folder);
  submitted.folder.clear();
}

std::string read_small_file(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// The last lines of a task's log, indented, for a failure message.
std::string log_tail(const std::string& path) {
  std::string text = read_small_file(path);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  size_t start = text.size();
  for (int lines = 0; lines < LOG_LINES && start > 0; lines++) {
    start = text.rfind('\n', start - 1);
    if (start == std::string::npos) {
      start = 0;
      break;
    }
  }
  std::string tail = text.substr(start == 0 ? 0 : start + 1);
  if (tail.empty()) return "";
  std::string indented = "  ";
  for (char c : tail) {
    indented += c;
    if (c == '\n') indented += "  ";
  }
  return indented + "\n";
}

// The chunks' folder: a fresh one under the shared folder.
std::string make_chunk_folder(const RunOptions& options) {
  std::string shared = options.shared_dir.empty() ? options.output : options.shared_dir;
  std::error_code error;
  std::filesystem::create_directories(shared, error);
  if (error) die(("talvon-run: cannot make the shared folder " + shared + ": " + error.message()).c_str());
  std::string folder = std::filesystem::absolute(shared).string() + "/talvon-chunks-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) pdie(("talvon-run: mkdtemp " + folder).c_str());
  return folder;
}

// What one task runs: the batch script with the chunk folder, this
// talvon-run and the options a chunk's valuation takes from the user.
JobArray job_array(const RunOptions& options, const std::string& folder, size_t chunks) {
  JobArray array;
  array.script = batch_script_path();
  if (array.script.empty()) die("talvon-run: the batch script talvon-chunk.sbatch is not installed beside talvon-run");
  array.script_args = {folder, executable_dir() + "/talvon-run"};
  if (!options.conf.empty()) {
    array.script_args.push_back("--conf=" + std::filesystem::absolute(options.conf).string());
  }
  if (options.socket) array.script_args.push_back("--socket");
  array.tasks = static_cast<long>(chunks);
  // --jobs spares a shared cluster: Slurm starts no more tasks at once.
  array.at_once = options.jobs;
  array.name = "talvon";
  array.log_pattern = folder + "/%4a/slurm.out";
  array.options = options.sbatch;
  return array;
}

struct Watch {
  bool valued = false;
  long ended_at = -1;  // when Slurm was first seen to have ended the task
  std::string state;   // its last state, "" once no longer listed
};

struct Progress {
  bool display = false;  // a bar on a terminal
  bool lines = false;    // a line per tenth, for a log
  int tenths_shown = 0;
  std::string shown;
};

void show_progress(Progress& p, const ChunkManifest& m, const std::vector<Watch>& watches, size_t valued,
                   size_t running) {
  if (p.display) {
    long total = 0, done = 0;
    for (size_t i = 0; i < watches.size(); i++) {
      const ChunkRange& range = m.plan.chunks[i];
      long weight = range.last_policy - range.first_policy + 1;
      total += weight;
      if (watches[i].valued) done += weight;
    }
    double fraction = total > 0 ? static_cast<double>(done) / static_cast<double>(total) : 0.0;
    std::string line = chunks_progress_line(fraction, valued, running, watches.size(), BAR_WIDTH);
    if (line == p.shown) return;
    p.shown = line;
    fprintf(stderr, "\r%s\033[K", line.c_str());
    fflush(stderr);
    set_bar_shown(true);
  } else if (p.lines) {
    int tenths = static_cast<int>(valued * 10 / watches.size());
    if (tenths == p.tenths_shown) return;
    p.tenths_shown = tenths;
    fprintf(stderr, "talvon-run: %zu of %zu chunks valued\n", valued, watches.size());
  }
}

std::string chunk_label(const ChunkManifest& m, const std::string& folder, size_t index) {
  std::string name = chunk_name(m, index);
  return name.empty() ? chunk_folder(folder, index) : name + " in " + chunk_folder(folder, index);
}

std::string task_name(size_t index) { return submitted.job + "_" + std::to_string(index + 1); }

// The task's state once Slurm has ended it ("" when no longer listed),
// asked for a few seconds: a task that has just written its status file is
// still at its end.
std::string final_state(size_t index) {
  long until = now_milliseconds() + FINAL_STATE_MILLISECONDS;
  for (;;) {
    TaskStates states = task_states(submitted.job);
    auto found = states.states.find(static_cast<long>(index + 1));
    std::string state = found == states.states.end() ? "" : found->second;
    bool ended = states.answered && (state.empty() || task_finished(state));
    if (ended || now_milliseconds() >= until) return state;
    usleep(200 * 1000);
  }
}

// Ends the run on a chunk that failed: with the messages its task wrote
// into its status file ("failed" and talvon-run's output) or, when it wrote
// none, the end of its log. The chunk folder stays, for a look at the logs.
[[noreturn]] void fail_task(const ChunkManifest& m, const std::string& folder, size_t index,
                            const std::string& status, const std::string& state) {
  std::string said = status.empty() ? "" : status.substr(status.find('\n') + 1);
  while (!said.empty() && said.back() == '\n') said.pop_back();
  std::string log = chunk_folder(folder, index) + "/slurm.out";
  std::string how = state.empty() || !task_finished(state) ? "ended" : "ended " + state;
  // The task's own messages name the chunk in full already.
  std::string chunk = status.empty() ? chunk_label(m, folder, index)
                                     : "chunk " + std::to_string(index + 1) + " of " +
                                           std::to_string(m.plan.chunks.size()) + " in " +
                                           chunk_folder(folder, index);
  std::string message = (said.empty() ? "" : said + "\n") + "talvon-run: Slurm task " + task_name(index) +
                        " " + how + (status.empty() ? " without valuing " : " on ") + chunk +
                        "\ntalvon-run: the task's log: " + log;
  if (status.empty()) message += "\n" + log_tail(log);
  while (message.back() == '\n') message.pop_back();
  submitted.keep_folder = true;
  fail_run(message);
}

// Waits a moment for a signal; an interrupt ends the run.
void pause_for_signals(long milliseconds) {
  pollfd fd = {signal_fd(), POLLIN, 0};
  if (poll(&fd, 1, static_cast<int>(milliseconds)) > 0) take_signals();
}

// Follows the job until every chunk is valued; the first that fails ends
// the run.
void follow_job(const ChunkManifest& m, const std::string& folder, Progress& progress) {
  std::vector<Watch> watches(m.plan.chunks.size());
  size_t valued = 0, running = 0;
  long next_ask = 0, start = now_milliseconds();
  std::string squeue_error;
  while (valued < watches.size()) {
    pause_for_signals(POLL_MILLISECONDS);
    long now = now_milliseconds();
    bool ask = now >= next_ask;
    TaskStates states;
    if (ask) {
      states = task_states(submitted.job);
      // squeue every 2 s at first, every 10 s after the first minute.
      next_ask = now + (now - start < 60000 ? 2000 : 10000);
      if (states.answered) running = 0;
      // A controller out of reach is said once; the tasks may still finish.
      if (!states.answered && states.error != squeue_error) {
        clear_bar();
        progress.shown.clear();
        fprintf(stderr, "talvon-run: squeue: %s\n", states.error.c_str());
      }
      squeue_error = states.error;
    }
    for (size_t i = 0; i < watches.size(); i++) {
      Watch& watch = watches[i];
      if (watch.valued) continue;
      std::string status = read_small_file(chunk_folder(folder, i) + "/status");
      if (status == "ok\n") {
        watch.valued = true;
        valued++;
        continue;
      }
      if (status.rfind("failed", 0) == 0) fail_task(m, folder, i, status, final_state(i));
      if (!ask || !states.answered) continue;
      auto found = states.states.find(static_cast<long>(i + 1));
      watch.state = found == states.states.end() ? "" : found->second;
      if (watch.state == "RUNNING") running++;
      bool ended = watch.state.empty() || task_finished(watch.state);
      if (!ended) {
        watch.ended_at = -1;
        continue;
      }
      if (watch.ended_at < 0) watch.ended_at = now;
      long grace = watch.state == "COMPLETED" ? GRACE_COMPLETED_MILLISECONDS : GRACE_FAILED_MILLISECONDS;
      if (now - watch.ended_at >= grace) fail_task(m, folder, i, "", watch.state);
    }
    show_progress(progress, m, watches, valued, running);
  }
  clear_bar();
}

}  // namespace

std::string batch_script_path() {
  std::string exe = executable_dir();
  for (const std::string& candidate :
       {exe + "/slurm/talvon-chunk.sbatch", exe + "/../share/talvon/slurm/talvon-chunk.sbatch"}) {
    if (access(candidate.c_str(), R_OK) == 0) return candidate;
  }
  return "";
}

int run_on_slurm(const RunOptions& options) {
  if (access(talvon_path().c_str(), X_OK) != 0) {
    die(("talvon-run: talvon is not beside talvon-run: " + talvon_path()).c_str());
  }
  if (!options.conf.empty() && !std::filesystem::is_directory(options.conf)) {
    die(("talvon-run: no table folder " + options.conf).c_str());
  }
  atexit(undo_submission);
  std::string folder = make_chunk_folder(options);
  submitted.folder = folder;
  ChunkManifest m = write_chunks(options, folder);
  size_t count = m.plan.chunks.size();
  JobArray array = job_array(options, folder, count);
  pause_for_signals(0);  // an interrupt while the chunks were written
  submitted.job = submit_job_array(array);
  Progress progress;
  progress.display = !options.quiet && isatty(2);
  progress.lines = !options.quiet && !progress.display;
  if (!options.quiet) {
    fprintf(stderr, "talvon-run: Slurm job %s: %zu task%s, chunks in %s\n", submitted.job.c_str(), count,
            count == 1 ? "" : "s", folder.c_str());
  }
  follow_job(m, folder, progress);
  wait_until_tasks_leave(submitted.job);
  submitted.job.clear();
  submitted.keep_folder = true;  // should a chunk's results not read back
  merge_chunks(folder, options.output);
  remove_tree(folder);
  submitted.folder.clear();
  return 0;
}
