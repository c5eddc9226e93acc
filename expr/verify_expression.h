// The check of script expressions, made once when their statement is read
// and long before anything is evaluated: every operator is known and has
// its number of arguments, every variable is bound at its place, and the
// special forms have their shapes. Kinds of values are not looked at. The
// first fault ends the run; a check that returns found nothing.
#pragma once

#include "core/cell.h"

// The context of a place: `bound` lists the symbols that may stand as
// variables, `states` the state names that `is` may name, `cdefs` the
// C-level definitions (for `c` forms) and `defs` the value definitions
// known here, which give the arity of user functions.

// One expression of any kind.
void verifyExpression(const Cell* bound, const Cell* states, const Cell* cdefs, const Cell* defs,
                      const Cell* expression);

// One application: a pair whose head is the operator.
void verifyCompoundExpression(const Cell* bound, const Cell* states, const Cell* cdefs,
                              const Cell* defs, const Cell* expression);

// Every element of a nil-terminated list, first to last.
void verifyExpressionList(const Cell* bound, const Cell* states, const Cell* cdefs,
                          const Cell* defs, const Cell* list);

// Ends the run with "Wrong arity" at the expression when the flag is false.
void checkArity(int flag, const Cell* expression);

// Every element of the parameter list of a `function` must be a symbol.
void verifyFunctionArguments(const Cell* list);
