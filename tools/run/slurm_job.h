// A job array on a Slurm cluster, through Slurm's own commands: sbatch to
// submit it, squeue to follow its tasks, scancel to end it.
#pragma once

#include <map>
#include <string>
#include <vector>

struct JobArray {
  std::string script;                   // the batch script
  std::vector<std::string> script_args;
  long tasks = 0;                       // array indexes 1..tasks
  int at_once = 0;                      // tasks running at once; 0: no limit of ours
  std::string name;                     // the job's name
  std::string log_pattern;              // sbatch --output, %4a: the index
  std::vector<std::string> options;     // the user's own sbatch options
};

// The sbatch command line that submits the array.
std::vector<std::string> sbatch_command(const JobArray& array);

// Submits the array and gives its job id. A refused submission ends the
// run with sbatch's own message.
std::string submit_job_array(const JobArray& array);

// What the controller knows of the job's tasks, by array index: PENDING,
// RUNNING, COMPLETED, FAILED, CANCELLED, TIMEOUT... A task it no longer
// lists has ended. `answered` is false when squeue could not be asked;
// `error` then says why.
struct TaskStates {
  bool answered = false;
  std::map<long, std::string> states;
  std::string error;
};
TaskStates task_states(const std::string& job);

// Whether a task in this state will run no more.
bool task_finished(const std::string& state);

// Cancels every task of the job that has not ended; quiet on failure.
void cancel_job(const std::string& job);
