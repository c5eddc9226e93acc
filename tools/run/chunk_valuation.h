// Valuing one chunk: its three scripts scrambled into a private run
// directory, the FIFOs (or a loopback socket), talvon server started on
// them, and its progress and result records decoded as they arrive. Jobs
// are driven from outside, so that several run side by side in one poll
// loop; a finished job gives its results for adding up.
#pragma once

#include <string>
#include <vector>

#include "tools/run/progress_records.h"
#include "tools/run/result_records.h"
#include "tools/run/run_dir.h"
#include "tools/run/talvon_child.h"

// A byte source of the loop: a FIFO, a socket or one of talvon's streams.
struct Source {
  int fd = -1;
  bool connected = false;  // a writer has been there
};

struct ChunkJob {
  std::string name;    // how a failure names the chunk; empty for none
  ScriptNames names;
  RunDir dir;
  TalvonChild child;
  Source progress, result, listener, out, err;
  ProgressStream progress_stream;
  ResultStream result_stream;
  std::string talvon_out, talvon_err;
  bool ended = false;  // talvon has been reaped
  int status = 0;      // its exit status, 128 + the signal when killed
};

struct ChunkInput {
  std::string folder;  // holds the three scripts under `names`
  ScriptNames names;
  std::string conf;    // the tables' folder; empty for none
  bool socket = false;
};

// Makes the run directory and starts talvon. The job must stay where it is
// until it is finished.
void start_chunk(ChunkJob& job, const ChunkInput& input);

// Takes whatever the jobs' sources have, waiting up to `timeout` ms, and
// reaps those whose talvon ended. Signals are taken here.
void serve_chunks(const std::vector<ChunkJob*>& jobs, int timeout);

// How far the job is, from 0 to 1.
double chunk_fraction(const ChunkJob& job);

struct ChunkResult {
  bool results_sent = false;  // false for a task that sends none (generate)
  ResultStream results;
  int kept_files = 0;         // files of such a task copied out
};

// Finishes an ended job: ends what talvon left, reads the channels to
// their end, removes the run directory. A failed chunk ends the run with
// talvon's output as it wrote it and talvon-run's message. Files that a
// task without results wrote go to `keep_into` when it is not empty.
ChunkResult finish_chunk(ChunkJob& job, const std::string& keep_into);
