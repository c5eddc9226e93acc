// The state space of one product. Its split tree (`splitAssoc`) maps split
// records to child maps; a child map maps each child of the split, in the
// split's order, to the child's own split tree (empty when the product
// does not divide it). A node tuple, one product state, holds one entry
// (CHILD . tuple of CHILD's tree) per split of a tree, in the tree's order.
#pragma once

#include "core/cell.h"

// The states a `when` or `while` condition names, each once, in the order
// of their last occurrence; empty for any other cashflow.
const Cell* productDefToStates(const Cell* cashflow);

// The split tree holding the paths from `all` to every listed state.
const Cell* statesToSplitAssoc(const Cell* stateList, const Cell* states);

// Adds to node (STATE . tree) the path of split records, outermost first.
const Cell* addPath(const Cell* state, const Cell* node, const Cell* path);

// Every product state of a tree; the first split varies slowest.
const Cell* splitAssocToNodeTuples(const Cell* tree);

// The product state a policy starts in: each split's init expression
// evaluated in the policy's environment.
const Cell* initialNodeTuple(const Cell* tree, const Cell* defs, const Cell* environment);

// The number of a product state; a tuple that is none ends the run.
int32_t nodeTupleIndex(const Cell* nodeTuples, const Cell* tuple);
