// talvon-run --slurm: the chunks valued as one Slurm job array. The chunks
// go into a folder that the cluster's nodes share, one array task values
// each with the installed batch script (talvon-run --value-chunk on its
// node), and the valued chunks are added up here, as after a local run.
#pragma once

#include <string>

#include "tools/run/options.h"

// The batch script beside the executable: slurm/ in a build tree,
// share/talvon/slurm in an install tree. Empty when neither is there.
std::string batch_script_path();

// Runs the whole valuation on the cluster and gives 0 when the results are
// written; a failed task, a refused submission or an interrupt ends the
// run, with the job cancelled.
int run_on_slurm(const RunOptions& options);
