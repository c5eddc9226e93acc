#include "tools/run/phase_clock.h"

#include <cstdio>
#include <ctime>

void start_phase_clock(PhaseClock& clock, bool log) {
  clock.last = std::chrono::steady_clock::now();
  clock.phases.clear();
  clock.log = log;
}

void end_phase(PhaseClock& clock, const std::string& name) {
  std::chrono::steady_clock::time_point now = std::chrono::steady_clock::now();
  double seconds = std::chrono::duration<double>(now - clock.last).count();
  clock.last = now;
  clock.phases.push_back(PhaseTime{name, seconds});
  if (clock.log) {
    fprintf(stderr, "talvon-run: %s done in %.2f s\n", name.c_str(), seconds);
    fflush(stderr);
  }
}

static bool ended(const PhaseClock& clock, const char* name) {
  for (const PhaseTime& phase : clock.phases) {
    if (phase.name == name) return true;
  }
  return false;
}

void end_phases_by_progress(PhaseClock& clock, double progress) {
  if (progress >= 1.0 && !ended(clock, "write program")) end_phase(clock, "write program");
  if (progress >= 2.0 && !ended(clock, "compile")) end_phase(clock, "compile");
}

std::string utc_now() {
  time_t now = time(nullptr);
  struct tm parts;
  gmtime_r(&now, &parts);
  char text[32];
  strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}
