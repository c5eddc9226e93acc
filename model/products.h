// Product definitions: their checks and the product records built from
// them. A record is an association list with symbol keys, in this order:
//   nodeTuples      the product's states, numbered by position from 0
//   splitAssoc      the product's split tree
//   expiry          EXPIRY as read
//   the pay entries of productDefToPay (paySize, payStates, payTransitions)
#pragma once

#include "core/cell.h"

// `products`: name to record, the last definition first.
const Cell* statementsToProducts(const Cell* cdefs, const Cell* defs, const Cell* statements,
                                 const Cell* states);

// Checks (NAME PARAM ...) EXPIRY CASHFLOW and gives `products` with the
// record in front.
const Cell* verifyProductDef(const Cell* cdefs, const Cell* defs, const Cell* known,
                             const Cell* arguments, const Cell* products, const Cell* states);

void verifyExpiry(const Cell* parameters, const Cell* cdefs, const Cell* defs, const Cell* expiry);
void verifyCashflow(const Cell* parameters, const Cell* known, const Cell* cdefs, const Cell* defs,
                    const Cell* cashflow);

// The conditions of `while` and `when`; `known` is the list of states.
void verifyState(const Cell* known, const Cell* state);
void verifyStateConjunction(const Cell* known, const Cell* conjunction);
void verifyArrow(const Cell* known, const Cell* arrow);
void verifyWhenCondition(const Cell* known, const Cell* condition);
void verifyWhileCondition(const Cell* known, const Cell* condition);
