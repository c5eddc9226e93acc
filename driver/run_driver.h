// The run driver: reads the three scripts of a run, builds the model with
// the statement passes and runs the task the scripts define.
#pragma once

#include "core/cell.h"

// F1 model, F2 portfolio, F3 run script, all scrambled. `pipe_name` is the
// progress pipe ("-1" under exec); `connection` goes to the cashflow task.
void run_script_set(const char* f1, const char* f2, const char* f3, const char* pipe_name,
                    const char* connection);

void run_task(const Cell* cdefs, const Cell* defs, const Cell* products, const Cell* states,
              const char* pipe_name, const char* connection);
