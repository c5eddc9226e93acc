#include "tools/run/progress_records.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "driver/diagnostics.h"
#include "tools/run/result_records.h"

static constexpr int32_t PROGRESS_TAG = 1;
static constexpr int32_t END_TAG = 3;
// Where the progress values stop while the program is written: the last
// policy record of the month loop.
static constexpr double WRITING_END = 0.66;

void start_progress_stream(ProgressStream& stream) {
  stream.pending.clear();
  stream.value = -1.0;
  stream.ended = false;
}

void take_progress_bytes(ProgressStream& stream, const char* bytes, size_t size) {
  stream.pending.append(bytes, size);
  size_t at = 0;
  while (stream.pending.size() - at >= 4) {
    int32_t tag;
    memcpy(&tag, stream.pending.data() + at, 4);
    if (tag == END_TAG) {
      stream.ended = true;
      at += 4;
    } else if (tag == PROGRESS_TAG) {
      if (stream.pending.size() - at < 12) break;
      memcpy(&stream.value, stream.pending.data() + at + 4, 8);
      at += 12;
    } else {
      char message[100];
      snprintf(message, sizeof message, "talvon-run: unknown progress record tag %d", tag);
      die(message);
    }
  }
  stream.pending.erase(0, at);
}

Stage progress_stage(double value) {
  if (value < 0.0) return Stage::starting;
  if (value < 1.0) return Stage::writing;
  if (value < 2.0) return Stage::compiling;
  return Stage::running;
}

double run_fraction(double value, int months) {
  switch (progress_stage(value)) {
    case Stage::starting:
      return 0.0;
    case Stage::writing:
      return 0.5 * std::min(value / WRITING_END, 1.0);
    case Stage::compiling:
      return 0.5;
    case Stage::running:
      break;
  }
  return 0.6 + 0.4 * months / MONTH_LIMIT;
}

std::string progress_line(double value, int months, int width) {
  double fraction = run_fraction(value, months);
  int filled = static_cast<int>(fraction * width + 0.5);
  std::string line = "[";
  for (int i = 0; i < width; i++) line += i < filled ? '#' : '.';
  char tail[80];
  snprintf(tail, sizeof tail, "] %3d%% ", static_cast<int>(fraction * 100.0 + 0.5));
  line += tail;
  switch (progress_stage(value)) {
    case Stage::starting:
      line += "starting talvon";
      break;
    case Stage::writing:
      line += "writing the program";
      break;
    case Stage::compiling:
      line += "compiling";
      break;
    case Stage::running:
      snprintf(tail, sizeof tail, "running: month %d of %d", months, MONTH_LIMIT);
      line += tail;
      break;
  }
  return line;
}

std::string chunks_progress_line(double fraction, size_t done, size_t running, size_t total,
                                 int width) {
  int filled = static_cast<int>(fraction * width + 0.5);
  std::string line = "[";
  for (int i = 0; i < width; i++) line += i < filled ? '#' : '.';
  char tail[120];
  snprintf(tail, sizeof tail, "] %3d%% chunks: %zu of %zu done, %zu at work",
           static_cast<int>(fraction * 100.0 + 0.5), done, total, running);
  return line + tail;
}
