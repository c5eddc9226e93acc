#include "tools/run/slurm_job.h"

#include <cstdlib>
#include <sstream>

#include "driver/diagnostics.h"
#include "tools/run/command.h"

namespace {

std::string trimmed(const std::string& text) {
  size_t end = text.find_last_not_of(" \t\r\n");
  return end == std::string::npos ? "" : text.substr(0, end + 1);
}

}  // namespace

std::vector<std::string> sbatch_command(const JobArray& array) {
  std::string indexes = "1-" + std::to_string(array.tasks);
  if (array.at_once > 0) indexes += "%" + std::to_string(array.at_once);
  std::vector<std::string> argv = {"sbatch", "--parsable", "--array=" + indexes,
                                   "--job-name=" + array.name, "--output=" + array.log_pattern};
  // The user's options come later, so they win over ours (but --array).
  argv.insert(argv.end(), array.options.begin(), array.options.end());
  argv.push_back(array.script);
  argv.insert(argv.end(), array.script_args.begin(), array.script_args.end());
  return argv;
}

std::string submit_job_array(const JobArray& array) {
  CommandResult result = run_command(sbatch_command(array));
  // --parsable prints "id" or "id;cluster".
  std::string id = trimmed(result.out);
  id = id.substr(0, id.find(';'));
  bool numeric = !id.empty() && id.find_first_not_of("0123456789") == std::string::npos;
  if (result.status != 0 || !numeric) {
    std::string said = trimmed(result.err + result.out);
    die(("talvon-run: sbatch did not submit the job array of " + std::to_string(array.tasks) + " tasks" +
         (said.empty() ? "" : ":\n" + said))
            .c_str());
  }
  return id;
}

TaskStates task_states(const std::string& job) {
  // -r: one line per task, pending ones too; -t all: ended ones as well,
  // as long as the controller keeps them.
  CommandResult result = run_command({"squeue", "--noheader", "--array", "--states=all",
                                      "--jobs=" + job, "--format=%K %T"});
  TaskStates states;
  if (result.status != 0) {
    // A job the controller has forgotten has ended with all its tasks.
    if (result.err.find("Invalid job id") != std::string::npos) {
      states.answered = true;
      return states;
    }
    states.error = trimmed(result.err + result.out);
    return states;
  }
  states.answered = true;
  std::istringstream lines(result.out);
  std::string index, state;
  while (lines >> index >> state) {
    char* end = nullptr;
    long number = strtol(index.c_str(), &end, 10);
    if (*end == '\0') states.states[number] = state;
  }
  return states;
}

bool task_finished(const std::string& state) {
  static const char* const live[] = {"PENDING", "RUNNING", "CONFIGURING", "COMPLETING", "SUSPENDED",
                                     "REQUEUED", "REQUEUE_FED", "REQUEUE_HOLD", "RESIZING",
                                     "SIGNALING", "STAGE_OUT", "STOPPED", "RESV_DEL_HOLD"};
  for (const char* name : live) {
    if (state == name) return false;
  }
  return true;
}

void cancel_job(const std::string& job) {
  if (!job.empty()) run_command({"scancel", job});
}
