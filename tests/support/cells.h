// Helpers for tests that look at cells.
#pragma once

#include <string>

#include "core/cell.h"

// The cell as the printer writes it.
std::string printed(const Cell* c);
