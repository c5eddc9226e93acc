// The generate task: test portfolio files.
#pragma once

#include "core/cell.h"

// Checks the task's arguments (generate COUNT FIRST-FILE SECOND-FILE) and
// writes the portfolio files.
void generatePortfolios(const Cell* body);
