// The type check of C-level expressions: those that are translated into
// the calculation program rather than evaluated here (intensities, weights,
// cashflows, expiry, cdefs, `c` forms). A type is one of the symbols
// t_real, t_date, t_span and bool; callers compare it by name. An
// expression that cannot be typed ends the run.
#pragma once

#include "core/cell.h"

// The type of the expression. `cdefs` are its variables; `bound` and `defs`
// are handed to the script-expression check for the arguments of v_date,
// v_span and v_real.
const Cell* verifyCExpr(const Cell* bound, const Cell* cdefs, const Cell* defs,
                        const Cell* expression);

// A new list of the types of the list's elements, typed first to last.
const Cell* verifyCExprList(const Cell* bound, const Cell* cdefs, const Cell* defs,
                            const Cell* list);
