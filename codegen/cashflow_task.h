// The valuation task: writes, builds and runs the calculation program.
#pragma once

#include "core/cell.h"

void runCashflowTask(const Cell* portfolio, const Cell* cdefs, const Cell* defs,
                     const Cell* products, const Cell* states, const char* connection);
