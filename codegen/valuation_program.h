// The valuation core of the calculation program: one policy product record
// per product of every policy (and per term of a linear combination), the
// declarations of `main`, the body of the month loop with one block per
// record in order of decreasing expiry, and the reserve accumulation.
#pragma once

#include <cstdint>

#include "core/cell.h"

// Account pairs run 0..ACCOUNT_COUNT-1 on both sides.
constexpr int ACCOUNT_COUNT = 20;

// A month that no loop reaches: the expiry of (= 0 0).
constexpr int32_t NEVER_EXPIRES = 1000000;

// The records, newest first. A record is an association list with the
// symbol keys id, name, weight, def, env and policy (the index of its
// policy in the portfolio, from 0). Starts a generation: clears the
// used-account table and reports progress 0.0.
const Cell* buildPolicyProducts(const Cell* portfolio, const Cell* products);

// TRUE when the record's name is the string "product_surrender".
int isSurrenderProduct(const Cell* record);

// The record's initial state index in its product's node tuples.
int32_t initialStateIndex(const Cell* record, const Cell* defs);

// The first month in which a product with this expiry relation no longer
// pays.
int32_t expiryMonth(const Cell* expiry, const Cell* cdefs, const Cell* defs,
                    const Cell* environment);

// The records in the order of their month blocks: latest expiry first,
// those that outlive the loop all together before the rest, records of one
// month in their given order.
const Cell* orderByExpiry(const Cell* records, const Cell* cdefs, const Cell* defs);

// The used-account table of one generation.
void clearUsedAccounts();
void markAccountUsed(int x, int y);
int isAccountUsed(int x, int y);

// Writers of `main`'s parts; the records as buildPolicyProducts gives them.
void emitMainDeclarations(const Cell* records, const Cell* cdefs, const Cell* defs,
                          const Cell* states);
void emitMonthBody(int indent, const Cell* records, const Cell* cdefs, const Cell* defs);
void emitReserveAccumulation(const Cell* portfolio, const Cell* cdefs, const Cell* defs);

// Progress values while the records are written: record k of n (from 1).
double declarationProgress(int k, int n);
double monthBodyProgress(int k, int n);
