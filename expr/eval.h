// The evaluator: the value of a script expression. Atoms stand for
// themselves, a symbol is a variable of the environment, and a list applies
// its head: a special form (arguments as written), an operation (arguments
// evaluated first) or a user function from the value definitions, whose
// body sees the caller's bindings (dynamic scope). Nothing is checked in
// advance; whatever is wrong ends the run where it is met.
#pragma once

#include "core/cell.h"

// `defs` maps a name to (parameters . body); the environment maps symbols
// to values. Neither is ever changed.
// Calls of definitions nest at most MAX_NESTING deep; a call beyond ends the
// run at the call.
const Cell* eval(const Cell* expression, const Cell* defs, const Cell* environment);

constexpr int32_t MAX_NESTING = 1200000;

// Forgets the calls under way: for a harness that abandons a run midway.
void resetNesting();

// The values of the arguments, in argument order. The last argument is
// evaluated first, which decides the error reported when two are faulty.
const Cell* evalList(const Cell* arguments, const Cell* defs, const Cell* environment);

// One entry (key . value) per pair (K V ...), in order; for each pair the
// key is evaluated before the value and further elements are ignored.
const Cell* evalAssoc(const Cell* pairs, const Cell* defs, const Cell* environment);

// The environment with (parameter . value) in front for each parameter,
// the first parameter first. Surplus values are ignored.
const Cell* bindArguments(const Cell* parameters, const Cell* values, const Cell* environment);

// `replacement` for a term equal to `old`; else a list keeps its head and
// has replaceTerm applied to each further element; else the term itself.
const Cell* replaceTerm(const Cell* term, const Cell* old, const Cell* replacement);
const Cell* replaceInList(const Cell* list, const Cell* old, const Cell* replacement);

// The normal density at x with mean m and deviation s; 0.0 where the
// squared z-score exceeds 100.
double gauss(double x, double m, double s);
