// The state model: a tree of states rooted at `all`, grown by split
// statements. `states` maps every child of every split to its chain, the
// split records from the one that made it up to the root, innermost first.
//
// A split record is the six-item list
//   (PARAMS PARENT CHILDREN INIT INTENSITIES WEIGHTS)
// where INTENSITIES holds the (FROM TO EXPRESSION) argument lists and
// WEIGHTS the (CHILD EXPRESSION) argument lists, each in clause order.
#pragma once

#include "core/cell.h"

// Adds the children of every split statement, in statement order, to
// `states` (an empty list for a run).
const Cell* statementsToStates(const Cell* cdefs, const Cell* defs, const Cell* statements,
                               const Cell* states);

// Ends the run at a split below a state that some intensity enters (the
// state itself or an ancestor) unless the split weighs every child but one.
void verifyEntryWeights(const Cell* states);

// Checks one split's arguments and gives `states` with its children in
// front, the last child first.
const Cell* verifySplit(const Cell* cdefs, const Cell* defs, const Cell* arguments,
                        const Cell* states);

// Items of a split record.
const Cell* splitParameters(const Cell* split);
const Cell* splitParent(const Cell* split);
const Cell* splitChildren(const Cell* split);
const Cell* splitInit(const Cell* split);
const Cell* splitIntensities(const Cell* split);
const Cell* splitWeights(const Cell* split);
