// One run of talvon-run: the run directory, talvon server, the progress and
// result channels read together in one poll loop, and the results written
// out. Whatever happens, the run directory, the FIFOs and the processes
// are gone when talvon-run exits.
#pragma once

#include "tools/run/options.h"

// Runs talvon on the options' scripts and returns the exit status for a
// finished run; failures end the process (status 1, or 128 + the signal
// when interrupted).
int run_valuation(const RunOptions& options);
