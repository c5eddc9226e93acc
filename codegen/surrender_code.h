// Surrender and the conversion from premium paying to free policy.
//
// Without the portfolio flag `seven_state`, every policy carries the
// surrender product "product_surrender": its block moves probability
// through seven fixed states and leaves quotient_ppa and delta_ppa, with
// which the blocks of the ordinary products shift probability from their
// premium-paying to their free-policy side. With `seven_state` the
// surrender intensity of the basis is 0.0 and none of this code exists.
#pragma once

#include "core/cell.h"

// The portfolio with its basis's "surrender" set to the real 0.0 when its
// "seven_state" is not nil; else the portfolio itself.
const Cell* zeroSurrenderIntensity(const Cell* portfolio);

// Which records get which code. A flag of a record is true when its
// environment has the key with a value other than nil.
int recordFlag(const Cell* record, const char* key);
// A surrender product of a seven-state portfolio: no declarations, no block.
int getsNoCode(const Cell* record);
// The surrender product otherwise: the surrender block.
int getsSurrenderBlock(const Cell* record);
// Neither surrender product, nor seven-state, nor survives_free_policy: a
// free-policy side with its moves and the move from premium paying to it.
int getsFreePolicySide(const Cell* record);

// Head of the surrender block: keeps state 0's start-of-month probability.
void emitSecurePpa(int indent, const Cell* record);

// The fixed moves of the surrender product, in place of its ordinary moves.
void emitSurrenderMoves(int indent, const Cell* record);

// Shifts the month's conversion from the premium-paying to the free-policy
// side of an ordinary record, after the pay sums of both sides.
void emitPpToFp(int indent, const Cell* record);

// End of the surrender block: quotient_ppa and delta_ppa for later blocks.
void emitDeltaQuotient(int indent);

// In a portfolio of several policies each block converts with its own
// policy's values, never another's: the surrender block keeps them in its
// policy's copies, which start at 0, and every block with a free-policy side
// loads them at its head, or 0 when its policy has no surrender block. A
// block that runs before the surrender block thus reads last month's values.
void emitPolicyConversionDeclarations(int indent, const Cell* record);
void emitKeepPolicyConversion(int indent, const Cell* record);
void emitLoadPolicyConversion(int indent, const Cell* record, int policyHasSurrender);
