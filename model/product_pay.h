// What a product pays and where: the pay entries of a product record.
//   paySize         the amount of `while` and `when`, else the whole cashflow
//   payStates       node tuples in which the product pays
//   payTransitions  (FROM-TUPLE . TO-TUPLE) moves on which it pays
#pragma once

#include "core/cell.h"

// The undivided states of a tuple, last met first.
const Cell* tupleToStates(const Cell* tuple);

// (undivided states . tuple) for every tuple, the last tuple first.
const Cell* nodeTuplesToConjunctions(const Cell* nodeTuples);

// The tuple whose undivided states are exactly the listed ones, in any
// order; none ends the run.
const Cell* setAget(const Cell* conjunctions, const Cell* stateList);

// The states of a conjunction: the rest of (and ...), else the one state.
const Cell* conjunctionToStates(const Cell* conjunction);

const Cell* whileToPayStates(const Cell* condition, const Cell* conjunctions);
const Cell* whenToPayTransitions(const Cell* transitions, const Cell* conjunctions);

// The three pay entries: while gives payStates, paySize, payTransitions;
// when gives payTransitions, paySize, payStates; any other cashflow gives
// paySize, payTransitions, payStates (the one empty tuple).
const Cell* productDefToPay(const Cell* cashflow, const Cell* nodeTuples);
