// Up to N chunk valuations at once, the next one started as soon as one
// finishes, under one progress bar for all. The first chunk that fails
// ends the run, and with it every other talvon (see run_guard).
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/run/chunk_valuation.h"
#include "tools/run/phase_clock.h"

struct ScheduledChunk {
  ChunkInput input;
  std::string name;  // how a failure names it; empty for none
  long weight = 1;   // its share of the progress bar (its policies)
};

// Hands each chunk's results to `take` in chunk order, whatever order the
// chunks finish in, so that results are added in the same order every time
// and only the few finished out of order wait in memory. With a `clock`,
// the first chunk's progress ends its phases (the program written, then
// compiled).
void value_chunks(const std::vector<ScheduledChunk>& chunks, int jobs, bool display,
                  const std::string& keep_into, const std::function<void(ChunkResult&)>& take,
                  PhaseClock* clock = nullptr);
