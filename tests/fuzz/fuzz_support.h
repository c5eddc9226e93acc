// What the fuzz targets share: running one input until talvon ends it, and
// handing an input to the reader as a file.
//
// Every fatal error in talvon ends the process through exit(). A fuzz
// target must survive that, so the fuzz build links with --wrap=exit and
// __wrap_exit jumps back to the input's start while an input runs. A child
// process per input would also work, but then the coverage the input
// reached stays in the child and the fuzzer goes blind. The jump lives only
// here: the production code keeps calling exit() and knows nothing of it.
//
// What a jump leaves behind: C++ locals on the abandoned frames are not
// destroyed (leak checking is off in the fuzz runs: talvon frees nothing by
// design anyway), and the cells an input made stay in the store, which only
// grows; tests/fuzz/run restarts the fuzzer in rounds so that memory stays
// bounded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "core/cell.h"

// Runs body(context); false when talvon ended it through exit().
bool run_until_exit(void (*body)(void*), void* context);

// Once per process: stdout to /dev/null (talvon prints cells before some of
// its messages).
void quiet_fuzz_process();

// The input as a file the reader can open by path: a memory file under
// /proc/self/fd. The path stays valid until the next call.
const char* input_file(const uint8_t* data, size_t size);

// Reads a file as read_source or read_scrambled_source does; null when the
// reader ended the run. The stream the reader had open is then closed here,
// since talvon leaves that to the end of the process.
const Cell* read_file_until_exit(const char* path, bool scrambled);

// The calculation program written into `program` so far (its first
// `size` bytes), compiled with tcc as a run compiles it: a checked model
// whose program tcc rejects is a finding, so tcc's errors go to stderr and
// the process aborts. Compiling is slow beside the rest, so only a sample
// is compiled: the first program, then one after each pause of three times
// the last compile's time, and at least COMPILE_INTERVAL_SECONDS.
void compile_sample(FILE* program);
constexpr double COMPILE_INTERVAL_SECONDS = 0.25;

// The input as a NUL-terminated text (NULs inside end it early, as they do
// for talvon's texts).
std::string input_text(const uint8_t* data, size_t size);
