// Scalar arithmetic and comparison: the nine primitives under every
// comparison and calculation of script expressions. Operands are integers,
// reals, dates and spans (month counts). Numbers mix with each other, dates
// and spans only with each other. Each primitive takes the expression being
// evaluated as the place: results carry its position and a rejected pair of
// operands ends the run there.
#pragma once

#include "core/cell.h"

// Flags. Equality of nil, pairs, symbols and strings is deep equality;
// ordering them is an error.
int scalarEqual(const Cell* first, const Cell* second, const Cell* place);
int scalarLess(const Cell* first, const Cell* second, const Cell* place);

// Integer and month-count results wrap around in 32 bits.
const Cell* scalarAdd(const Cell* first, const Cell* second, const Cell* place);
const Cell* scalarSubtract(const Cell* first, const Cell* second, const Cell* place);
const Cell* scalarMultiply(const Cell* first, const Cell* second, const Cell* place);

// Numbers only; the result is always a real, also for two integers.
const Cell* scalarDivide(const Cell* first, const Cell* second, const Cell* place);
const Cell* scalarPower(const Cell* first, const Cell* second, const Cell* place);
const Cell* scalarMin(const Cell* first, const Cell* second, const Cell* place);
const Cell* scalarMax(const Cell* first, const Cell* second, const Cell* place);
