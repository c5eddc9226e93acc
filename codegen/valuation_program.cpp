#include "codegen/valuation_program.h"

#include <vector>

#include "core/list.h"
#include "driver/diagnostics.h"
#include "driver/progress_channel.h"
#include "expr/eval.h"
#include "expr/scalar.h"
#include "model/product_states.h"

// ---- Policy product records ----

static const Cell* makeRecord(int32_t id, const Cell* name, const Cell* weight, const Cell* def,
                              const Cell* environment) {
  return list5(cons(symbol("id"), integer(id)), cons(symbol("name"), name),
               cons(symbol("weight"), weight), cons(symbol("def"), def),
               cons(symbol("env"), environment));
}

const Cell* buildPolicyProducts(const Cell* portfolio, const Cell* products) {
  const Cell* records = nil();
  int32_t id = 0;
  const Cell* portfolioEnv = symbolize_keys(portfolio);
  for (const Cell* policies = aget_string(portfolio, "policies"); is_cons(policies);
       policies = policies->pair.tail) {
    const Cell* policy = policies->pair.head;
    const Cell* policyEnv = append(symbolize_keys(policy), portfolioEnv);
    for (const Cell* items = aget_string(policy, "products"); is_cons(items);
         items = items->pair.tail) {
      const Cell* product = items->pair.head;
      const Cell* environment = append(symbolize_keys(product), policyEnv);
      const Cell* name = aget_string(product, "product_definition");
      const Cell* def = aget_named(products, string_value(name));
      const Cell* paySize = aget_named(def, "paySize");
      if (is_cons(paySize) && is_symbol_named(paySize->pair.head, "linear_combination")) {
        // Each term (COEFFICIENT (NAME ...)) is a record of its own.
        for (const Cell* terms = paySize->pair.tail; is_cons(terms); terms = terms->pair.tail) {
          const Cell* term = terms->pair.head;
          const Cell* termName = first(second(term));
          records = cons(makeRecord(id++, termName, first(term), aget(products, termName),
                                    environment),
                         records);
        }
      } else {
        records = cons(makeRecord(id++, name, integer(1), def, environment), records);
      }
    }
  }
  send_progress(0.0);
  return records;
}

int isSurrenderProduct(const Cell* record) {
  return is_string_equal(aget_named(record, "name"), "product_surrender");
}

int recordFlag(const Cell* record, const char* key) {
  return !is_nil(aget_named(aget_named(record, "env"), key));
}

int isSkippedRecord(const Cell* record) {
  return isSurrenderProduct(record) && recordFlag(record, "seven_state");
}

int32_t initialStateIndex(const Cell* record, const Cell* defs) {
  const Cell* def = aget_named(record, "def");
  const Cell* tuple =
      initialNodeTuple(aget_named(def, "splitAssoc"), defs, aget_named(record, "env"));
  return nodeTupleIndex(aget_named(def, "nodeTuples"), tuple);
}

// ---- Expiry ----

// The value of the left side of an expiry relation: a date or a span
// computed from C definitions and policy values.
static const Cell* evalExpiryTerm(const Cell* term, const Cell* cdefs, const Cell* defs,
                                  const Cell* environment) {
  if (is_symbol(term)) {
    const Cell* definition = aget(cdefs, term);
    if (is_nil(definition)) error_at(term, "unknown variable");
    return evalExpiryTerm(definition, cdefs, defs, environment);
  }
  if (is_cons(term)) {
    const Cell* op = term->pair.head;
    if (is_symbol_named(op, "t_span") || is_symbol_named(op, "t_date")) {
      return evalExpiryTerm(term->pair.tail, cdefs, defs, environment);
    }
    if (is_symbol_named(op, "v_span") || is_symbol_named(op, "v_date")) {
      return eval(second(term), defs, environment);
    }
    if (is_symbol_named(op, "-")) {
      return scalarSubtract(evalExpiryTerm(second(term), cdefs, defs, environment),
                            evalExpiryTerm(third(term), cdefs, defs, environment), term);
    }
    if (is_symbol_named(op, "+")) {
      return scalarAdd(evalExpiryTerm(second(term), cdefs, defs, environment),
                       evalExpiryTerm(third(term), cdefs, defs, environment), term);
    }
  }
  error_at(term, "malformed expiry");
}

int32_t expiryMonth(const Cell* expiry, const Cell* cdefs, const Cell* defs,
                    const Cell* environment) {
  const Cell* op = first(expiry);
  if (is_symbol_named(op, "=")) return NEVER_EXPIRES;
  const Cell* right = third(expiry);
  if (!is_cons(right) || !is_symbol_named(right->pair.head, "v_span")) {
    error_at(right, "malformed expiry");
  }
  const Cell* end = eval(second(right), defs, environment);
  if (!is_span(end)) error_at(right, "malformed expiry");
  const Cell* start = evalExpiryTerm(second(expiry), cdefs, defs, environment);
  const Cell* months = scalarSubtract(end, start, expiry);
  if (!is_span(months)) error_at(expiry, "malformed expiry");
  return span_value(months) + (is_symbol_named(op, "<=") ? 1 : 0);
}

// The months of the calculation program's loop.
static const int MONTHS = 1440;

const Cell* orderByExpiry(const Cell* records, const Cell* cdefs, const Cell* defs) {
  std::vector<std::vector<const Cell*>> buckets(MONTHS);
  for (; is_cons(records); records = records->pair.tail) {
    const Cell* record = records->pair.head;
    int32_t month = expiryMonth(aget_named(aget_named(record, "def"), "expiry"), cdefs, defs,
                                aget_named(record, "env"));
    if (month < 0) month = 0;
    if (month > MONTHS - 1) month = MONTHS - 1;
    buckets[month].push_back(record);
  }
  // Built from the back: the lowest bucket ends the list.
  const Cell* ordered = nil();
  for (const std::vector<const Cell*>& bucket : buckets) {
    for (auto it = bucket.rbegin(); it != bucket.rend(); ++it) ordered = cons(*it, ordered);
  }
  return ordered;
}

// ---- Used accounts ----

static int usedAccounts[ACCOUNT_COUNT][ACCOUNT_COUNT];

void clearUsedAccounts() {
  for (int x = 0; x < ACCOUNT_COUNT; x++) {
    for (int y = 0; y < ACCOUNT_COUNT; y++) usedAccounts[x][y] = FALSE;
  }
}

void markAccountUsed(int x, int y) { usedAccounts[x][y] = TRUE; }

int isAccountUsed(int x, int y) { return usedAccounts[x][y]; }

double declarationProgress(int k, int n) { return 0.06 + 0.1 * k / n; }

double monthBodyProgress(int k, int n) { return 0.16 + 0.5 * k / n; }
