// Builders of the generated variable names. A name is a token list of
// cells, made into text only when flattened; the same name is always built
// with the same tokens, so names compare with `equal` as accumulator keys.
#pragma once

#include <cstdint>

#include "core/cell.h"

// (prob_ i): prob_3
const Cell* tempProbName(int32_t state);
// (prob_fp_ i): prob_fp_3
const Cell* tempFpProbName(int32_t state);
// (prob_product_ id _state_ i): prob_product_12_state_3
const Cell* stateProbName(const Cell* record, int32_t state);
// (prob_product_ id _fp_state_ i): prob_product_12_fp_state_3
const Cell* fpStateProbName(const Cell* record, int32_t state);
// (prob_ from _to_ to): prob_alive_to_dead
const Cell* transitionProbName(const Cell* from, const Cell* to);
// (weight_ state): weight_active
const Cell* weightName(const Cell* state);
// (quotient_ppa_ policy) and (delta_ppa_ policy): the conversion that the
// surrender block of the record's policy left, quotient_ppa_4, delta_ppa_4
const Cell* policyQuotientName(const Cell* record);
const Cell* policyDeltaName(const Cell* record);
