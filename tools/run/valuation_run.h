// talvon-run's steps put together: the portfolio cut into chunks, the
// chunks valued side by side, their results added and written out. Each
// step also runs alone (--write-chunks, --value-chunk, --merge), through
// the same functions, with the chunk folder between them. Whatever
// happens, the run directories, the FIFOs and the processes are gone when
// talvon-run exits.
#pragma once

#include <string>

#include "tools/run/chunk_manifest.h"
#include "tools/run/options.h"

// Runs the step the options ask for and gives the exit status of a
// finished run; failures end the process (status 1, or 128 + the signal
// when interrupted).
int run_valuation(const RunOptions& options);

// Two steps alone, for talvon-run --slurm: the chunks written into `dir`,
// and the valued chunks of `dir` added and written into `output`.
ChunkManifest write_chunks(const RunOptions& options, const std::string& dir);
void merge_chunks(const std::string& dir, const std::string& output);
