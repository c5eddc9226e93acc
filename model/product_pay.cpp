#include "model/product_pay.h"

#include "core/list.h"
#include "driver/diagnostics.h"

// Walks the entries of a tuple into `result`; recursion follows the
// nesting of the tuple only.
static const Cell* addUndivided(const Cell* tuple, const Cell* result) {
  for (; is_cons(tuple); tuple = tail(tuple)) {
    const Cell* entry = head(tuple);
    if (is_nil(tail(entry))) {
      result = cons(head(entry), result);
    } else {
      result = addUndivided(tail(entry), result);
    }
  }
  return result;
}

const Cell* tupleToStates(const Cell* tuple) { return addUndivided(tuple, nil()); }

const Cell* nodeTuplesToConjunctions(const Cell* nodeTuples) {
  const Cell* conjunctions = nil();
  for (; is_cons(nodeTuples); nodeTuples = tail(nodeTuples)) {
    conjunctions = acons(tupleToStates(head(nodeTuples)), head(nodeTuples), conjunctions);
  }
  return conjunctions;
}

const Cell* setAget(const Cell* conjunctions, const Cell* stateList) {
  for (; is_cons(conjunctions); conjunctions = tail(conjunctions)) {
    const Cell* entry = head(conjunctions);
    if (same_elements(head(entry), stateList)) return tail(entry);
  }
  die("setAget: conjunction not found");
}

const Cell* conjunctionToStates(const Cell* conjunction) {
  if (is_cons(conjunction) && is_symbol_named(head(conjunction), "and")) return tail(conjunction);
  return list1(conjunction);
}

// The items of a condition: the rest of (or ...), else the condition alone.
static const Cell* alternatives(const Cell* condition) {
  if (is_cons(condition) && is_symbol_named(head(condition), "or")) return tail(condition);
  return list1(condition);
}

const Cell* whileToPayStates(const Cell* condition, const Cell* conjunctions) {
  const Cell* result = nil();
  for (const Cell* items = alternatives(condition); is_cons(items); items = tail(items)) {
    result = cons(setAget(conjunctions, conjunctionToStates(head(items))), result);
  }
  return result;
}

const Cell* whenToPayTransitions(const Cell* transitions, const Cell* conjunctions) {
  const Cell* result = nil();
  for (const Cell* items = alternatives(transitions); is_cons(items); items = tail(items)) {
    const Cell* arrow = head(items);
    const Cell* from = setAget(conjunctions, conjunctionToStates(second(arrow)));
    const Cell* to = setAget(conjunctions, conjunctionToStates(third(arrow)));
    result = cons(cons(from, to), result);
  }
  return result;
}

const Cell* productDefToPay(const Cell* cashflow, const Cell* nodeTuples) {
  const Cell* conjunctions = nodeTuplesToConjunctions(nodeTuples);
  const Cell* payStates = symbol("payStates");
  const Cell* paySize = symbol("paySize");
  const Cell* payTransitions = symbol("payTransitions");
  if (is_cons(cashflow) && is_symbol_named(head(cashflow), "while")) {
    return list3(cons(payStates, whileToPayStates(second(cashflow), conjunctions)),
                 cons(paySize, third(cashflow)), cons(payTransitions, nil()));
  }
  if (is_cons(cashflow) && is_symbol_named(head(cashflow), "when")) {
    return list3(cons(payTransitions, whenToPayTransitions(second(cashflow), conjunctions)),
                 cons(paySize, third(cashflow)), cons(payStates, nil()));
  }
  return list3(cons(paySize, cashflow), cons(payTransitions, nil()), cons(payStates, list1(nil())));
}
