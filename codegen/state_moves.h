// The state transition code of a record's month block: the assignments of
// the transition probabilities and entry weights of its split tree, and the
// moves of probability between its product states.
//
// A probability term is built at generation time and simplified as it is
// built, so that moves that cannot happen write no code: the integer 0, the
// integer 1, a real or integer constant, a generated name (token list), or
// a product (* LEFT RIGHT) of two terms.
#pragma once

#include "core/cell.h"

// The two sets of state variables of an ordinary record.
enum class Side { premiumPaying, freePolicy };

// The accumulator extended, split by split and then child by child, with
// every transition probability (prob_FROM_to_TO, including each child's
// stay probability prob_S_to_S) and every entry weight (weight_S) of the
// tree.
const Cell* splitAssignments(const Cell* tree, const Cell* cdefs, const Cell* defs,
                             const Cell* environment, const Cell* accumulator);

// The weight of the child without a weight clause: `start` less every
// clause's weight, folded while both sides are integers.
const Cell* remainderWeight(const Cell* accumulator, const Cell* start, const Cell* weights);

// The product of two terms; integer factors 0 and 1 are simplified away.
const Cell* multiplyTerms(const Cell* a, const Cell* b);

// The probability term of a move between two node tuples of one product.
const Cell* moveProbability(const Cell* accumulator, const Cell* from, const Cell* to);

// The probability term of one component's move, (STATE . sub-tuple) to
// (STATE . sub-tuple); the integer 0 when no transition leads there.
const Cell* componentMove(const Cell* accumulator, const Cell* from, const Cell* to);

// The weight of entering all these components, the integer 1 for none.
const Cell* entryWeight(const Cell* accumulator, const Cell* components);

// The token list of a term: products become ( LEFT * RIGHT ).
const Cell* toInfix(const Cell* term);

// Writes one side's moves of a policy product record and the sums of the
// probability on which the record pays this month.
void emitMoves(int indent, const Cell* record, const Cell* accumulator, Side side);
