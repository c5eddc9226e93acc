// C text of C-level expressions: what the calculation program computes in
// place of an intensity, weight, cashflow, expiry or cdef. Values that the
// back end already knows (v_date, v_span, v_real) are evaluated now and go
// in as constants; every variable that a text uses is collected, with the
// text of its own definition, into an accumulator so that the caller can
// assign the variables ahead of the expression.
//
// A text is a tree of cells that the emitter flattens depth first, atoms
// concatenated without separators. The accumulator is an association list
// (name . text), newest first; a variable's dependencies stand behind it, so
// writing the list oldest first assigns every variable after those it uses.
// A pair (name . name) declares a name that is already a C variable.
//
// Results that carry a text and the accumulator are pairs (text . accumulator).
// `cdefs` maps a name to (type . expression); `defs` and the environment are
// handed to the evaluator for the arguments of v_date, v_span and v_real.
#pragma once

#include "core/cell.h"

// One term: a pair (text . accumulator).
const Cell* ctermToCtext(const Cell* term, const Cell* cdefs, const Cell* defs,
                         const Cell* environment, const Cell* accumulator);

// The accumulator after translating the term, with (name . text) in front.
const Cell* bindCtext(const Cell* name, const Cell* term, const Cell* cdefs, const Cell* defs,
                      const Cell* environment, const Cell* accumulator);

// The terms first to last, each with the accumulator the previous one left:
// a pair (list of texts . accumulator).
const Cell* ctermListToCtext(const Cell* terms, const Cell* cdefs, const Cell* defs,
                             const Cell* environment, const Cell* accumulator);

// A two-argument operator as (opening a separator b closing), the three
// symbols at the term's position: a pair (text . accumulator).
const Cell* operationToCtext(const Cell* term, const Cell* cdefs, const Cell* defs,
                             const Cell* environment, const Cell* accumulator,
                             const char* opening, const char* separator, const char* closing);

// operationToCtext with "(" and ")" around the operator text.
const Cell* infixToCtext(const Cell* term, const Cell* cdefs, const Cell* defs,
                         const Cell* environment, const Cell* accumulator,
                         const char* operator_text);

// A variable is its own text. `t` and names already in the accumulator are
// taken as they are; any other is a cdef whose definition is translated and
// bound first: a pair (symbol . accumulator).
const Cell* cvarToCtext(const Cell* symbol, const Cell* cdefs, const Cell* defs,
                        const Cell* environment, const Cell* accumulator);
