#include "model/products.h"

#include "core/list.h"
#include "driver/diagnostics.h"
#include "expr/verify_cexpr.h"
#include "model/product_pay.h"
#include "model/product_states.h"
#include "model/statements.h"

const Cell* statementsToProducts(const Cell* cdefs, const Cell* defs, const Cell* statements,
                                 const Cell* states) {
  const Cell* known = akeys(states);
  const Cell* products = nil();
  for (; is_cons(statements); statements = tail(statements)) {
    const Cell* statement = head(statements);
    if (isStatementOf(statement, "product_definition")) {
      products = verifyProductDef(cdefs, defs, known, tail(statement), products, states);
    }
  }
  return products;
}

const Cell* verifyProductDef(const Cell* cdefs, const Cell* defs, const Cell* known,
                             const Cell* arguments, const Cell* products, const Cell* states) {
  if (length(arguments) != 3) error_at(arguments, "Product definitions take three arguments");
  const Cell* lhs = first(arguments);
  if (!is_cons(lhs)) error_at(arguments, "Malformed product lhs");
  for (const Cell* rest = lhs; is_cons(rest); rest = tail(rest)) {
    if (!is_symbol(head(rest))) {
      error_at(head(rest), "First argument of product def must be list of symbols");
    }
  }
  const Cell* name = head(lhs);
  const Cell* parameters = tail(lhs);
  const Cell* expiry = second(arguments);
  const Cell* cashflow = third(arguments);
  verifyExpiry(parameters, cdefs, defs, expiry);
  verifyCashflow(parameters, known, cdefs, defs, cashflow);

  const Cell* tree = statesToSplitAssoc(productDefToStates(cashflow), states);
  const Cell* tuples = splitAssocToNodeTuples(tree);
  const Cell* pay = productDefToPay(cashflow, tuples);
  const Cell* record =
      acons(symbol("nodeTuples"), tuples,
            acons(symbol("splitAssoc"), tree, acons(symbol("expiry"), expiry, pay)));
  return acons(name, record, products);
}

void verifyExpiry(const Cell* parameters, const Cell* cdefs, const Cell* defs, const Cell* expiry) {
  if (!is_symbol_named(verifyCExpr(parameters, cdefs, defs, expiry), "bool")) {
    error_at(expiry, "expiry must be a Boolean");
  }
  const Cell* op = first(expiry);
  if (is_symbol_named(op, "<") || is_symbol_named(op, "<=")) return;
  if (is_symbol_named(op, "=")) {
    // (= 0 0) is the one equality allowed: a product that never expires.
    const Cell* zero = integer(0);
    if (!equal(second(expiry), zero) || !equal(third(expiry), zero)) {
      error_at(expiry, "Expiry can have form (= 0 0)");
    }
    return;
  }
  error_at(expiry, "malformed expiry");
}

static int isReal(const Cell* parameters, const Cell* cdefs, const Cell* defs,
                  const Cell* expression) {
  return is_symbol_named(verifyCExpr(parameters, cdefs, defs, expression), "t_real");
}

void verifyCashflow(const Cell* parameters, const Cell* known, const Cell* cdefs, const Cell* defs,
                    const Cell* cashflow) {
  if (!is_cons(cashflow)) {
    if (!isReal(parameters, cdefs, defs, cashflow)) {
      error_at(cashflow, "atom: cashflow must be a real");
    }
    return;
  }
  const Cell* op = head(cashflow);
  if (is_symbol_named(op, "when")) {
    if (length(cashflow) != 3) error_at(cashflow, "when takes two arguments");
    verifyWhenCondition(known, second(cashflow));
    if (!isReal(parameters, cdefs, defs, third(cashflow))) {
      error_at(cashflow, "when: cashflow must be a real");
    }
    return;
  }
  if (is_symbol_named(op, "while")) {
    if (length(cashflow) != 3) error_at(cashflow, "while takes two arguments");
    verifyWhileCondition(known, second(cashflow));
    if (!isReal(parameters, cdefs, defs, third(cashflow))) {
      error_at(cashflow, "while: cashflow must be a real");
    }
    return;
  }
  if (is_symbol_named(op, "linear_combination")) {
    // The products of the terms are resolved when policies are valued.
    for (const Cell* terms = tail(cashflow); is_cons(terms); terms = tail(terms)) {
      const Cell* term = head(terms);
      if (length(term) != 2) error_at(term, "Malformed linear combination");
      if (!isReal(parameters, cdefs, defs, first(term))) {
        error_at(cashflow, "linear_combination: coefficient must be a real");
      }
    }
    return;
  }
  if (!isReal(parameters, cdefs, defs, cashflow)) error_at(cashflow, "cashflow must be a real");
}

void verifyState(const Cell* known, const Cell* state) {
  if (!member(known, state)) error_at(state, "Unknown state");
}

void verifyStateConjunction(const Cell* known, const Cell* conjunction) {
  if (!is_cons(conjunction)) {
    verifyState(known, conjunction);
    return;
  }
  if (!is_symbol_named(head(conjunction), "and")) {
    error_at(conjunction, "Malformed state conjunction");
  }
  for (const Cell* rest = tail(conjunction); is_cons(rest); rest = tail(rest)) {
    verifyState(known, head(rest));
  }
}

void verifyArrow(const Cell* known, const Cell* arrow) {
  if (length(arrow) != 3 || !is_symbol_named(head(arrow), "to")) {
    error_at(arrow, "Malformed arrow");
  }
  verifyStateConjunction(known, second(arrow));
  verifyStateConjunction(known, third(arrow));
}

void verifyWhenCondition(const Cell* known, const Cell* condition) {
  if (!is_cons(condition)) error_at(condition, "when conjunction must be a list");
  if (!is_symbol_named(head(condition), "or")) {
    verifyArrow(known, condition);
    return;
  }
  for (const Cell* rest = tail(condition); is_cons(rest); rest = tail(rest)) {
    verifyArrow(known, head(rest));
  }
}

void verifyWhileCondition(const Cell* known, const Cell* condition) {
  if (!is_cons(condition)) {
    verifyState(known, condition);
    return;
  }
  if (!is_symbol_named(head(condition), "or")) {
    verifyStateConjunction(known, condition);
    return;
  }
  for (const Cell* rest = tail(condition); is_cons(rest); rest = tail(rest)) {
    verifyStateConjunction(known, head(rest));
  }
}
