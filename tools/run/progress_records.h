// The receiving side of talvon's progress channel: a progress record is the
// int 1 and a double x, the end record (a fatal end) the int 3. x runs from
// 0 towards 0.66 while the program is written; 1.0 marks the program
// written, 2.0 the program compiled.
#pragma once

#include <cstddef>
#include <string>

struct ProgressStream {
  std::string pending;  // the start of a record not yet whole
  double value;         // the last progress value, -1 before the first
  bool ended;           // the end record arrived: the run failed
};

void start_progress_stream(ProgressStream& stream);

// Takes the next bytes of the channel, however they were cut. An unknown
// tag ends the run.
void take_progress_bytes(ProgressStream& stream, const char* bytes, size_t size);

enum class Stage { starting, writing, compiling, running };

Stage progress_stage(double value);

// The whole run as a fraction from 0 to 1: writing (x up to 0.66) takes
// the first half, compiling a tenth, running (by the months received) the
// rest.
double run_fraction(double value, int months);

// One line of the progress display, without line end: a bar of `width`
// cells, the percentage and the stage.
std::string progress_line(double value, int months, int width);

// The line for a run in chunks: the bar over all chunks (`fraction` of the
// whole), then how many chunks are done and at work.
std::string chunks_progress_line(double fraction, size_t done, size_t running, size_t total,
                                 int width);
