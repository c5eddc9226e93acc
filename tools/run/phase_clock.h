// The time of each phase of a run, as run.json records it, and one line per
// finished phase on stderr for a log when no progress bar is shown.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tools/run/run_facts.h"

struct PhaseClock {
  std::chrono::steady_clock::time_point last;
  std::vector<PhaseTime> phases;
  bool log = false;  // write "talvon-run: PHASE done in S s" lines
};

void start_phase_clock(PhaseClock& clock, bool log);

// Ends the phase running since the last mark.
void end_phase(PhaseClock& clock, const std::string& name);

// The phases that talvon's progress values show as over: "write program"
// once the value reaches 1.0 (the program is written), "compile" at 2.0.
void end_phases_by_progress(PhaseClock& clock, double progress);

// The current UTC time in ISO 8601.
std::string utc_now();
