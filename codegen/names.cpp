#include "codegen/names.h"

#include "core/list.h"

// The record's `id`; a record without one is a fault of the generator.
static const Cell* record_id(const Cell* record) {
  return aget_strict(record, symbol("id"));
}

const Cell* tempProbName(int32_t state) {
  return list2(symbol("prob_"), integer(state));
}

const Cell* tempFpProbName(int32_t state) {
  return list2(symbol("prob_fp_"), integer(state));
}

const Cell* stateProbName(const Cell* record, int32_t state) {
  return list4(symbol("prob_product_"), record_id(record), symbol("_state_"), integer(state));
}

const Cell* fpStateProbName(const Cell* record, int32_t state) {
  return list4(symbol("prob_product_"), record_id(record), symbol("_fp_state_"), integer(state));
}

const Cell* transitionProbName(const Cell* from, const Cell* to) {
  return list4(symbol("prob_"), from, symbol("_to_"), to);
}

const Cell* weightName(const Cell* state) {
  return list2(symbol("weight_"), state);
}

const Cell* policyQuotientName(const Cell* record) {
  return list2(symbol("quotient_ppa_"), aget_strict(record, symbol("policy")));
}

const Cell* policyDeltaName(const Cell* record) {
  return list2(symbol("delta_ppa_"), aget_strict(record, symbol("policy")));
}
