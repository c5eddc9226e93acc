#include "model/splits.h"

#include <cstddef>
#include <vector>

#include "core/list.h"
#include "driver/diagnostics.h"
#include "expr/verify_cexpr.h"
#include "expr/verify_expression.h"
#include "model/c_names.h"
#include "model/statements.h"

const Cell* splitParameters(const Cell* split) { return first(split); }
const Cell* splitParent(const Cell* split) { return second(split); }
const Cell* splitChildren(const Cell* split) { return third(split); }
const Cell* splitInit(const Cell* split) { return fourth(split); }
const Cell* splitIntensities(const Cell* split) { return fifth(split); }
const Cell* splitWeights(const Cell* split) { return sixth(split); }

const Cell* statementsToStates(const Cell* cdefs, const Cell* defs, const Cell* statements,
                               const Cell* states) {
  for (; is_cons(statements); statements = tail(statements)) {
    const Cell* statement = head(statements);
    if (isStatementOf(statement, "split")) {
      states = verifySplit(cdefs, defs, tail(statement), states);
    }
  }
  verifyEntryWeights(states);
  return states;
}

// ---- Entry weights ----

// The split records of `states`, each once, in statement order.
static std::vector<const Cell*> splitRecords(const Cell* states) {
  std::vector<const Cell*> splits;
  for (; is_cons(states); states = tail(states)) {
    const Cell* split = head(tail(head(states)));
    if (splits.empty() || splits.back() != split) splits.push_back(split);
  }
  return std::vector<const Cell*>(splits.rbegin(), splits.rend());
}

static int isEntered(const Cell* state, const Cell* entered) {
  return member(entered, state) ? TRUE : FALSE;
}

// Probability that enters a state is shared among the children of every
// split below it by their weights: each of those splits must give a weight
// to every child but one, which takes the rest.
void verifyEntryWeights(const Cell* states) {
  std::vector<const Cell*> splits = splitRecords(states);
  const Cell* entered = nil();
  for (const Cell* split : splits) {
    for (const Cell* i = splitIntensities(split); is_cons(i); i = tail(i)) {
      entered = cons(second(head(i)), entered);
    }
  }
  for (const Cell* split : splits) {
    const Cell* parent = splitParent(split);
    int needed = isEntered(parent, entered);
    for (const Cell* up = aget(states, parent); is_cons(up) && !needed; up = tail(up)) {
      needed = isEntered(splitParent(head(up)), entered);
    }
    if (!needed) continue;
    const Cell* weighted = nil();
    for (const Cell* w = splitWeights(split); is_cons(w); w = tail(w)) {
      weighted = adjoin(weighted, first(head(w)));
    }
    if (length(list_difference(splitChildren(split), weighted)) > 1) {
      error_at(parent,
               "A split of a state that an intensity enters needs (weight CHILD EXPRESSION) "
               "for every child but one");
    }
  }
}

// A proper list of symbols, possibly empty.
static void verifySymbolList(const Cell* list, const char* malformed, const char* notSymbol) {
  for (const Cell* rest = list; !is_nil(rest); rest = tail(rest)) {
    if (!is_cons(rest)) error_at(rest, malformed);
    if (!is_symbol(head(rest))) error_at(rest, notSymbol);
  }
}

// Keyword to the argument lists of its clauses, in clause order. Walking
// from the last clause makes the last malformed clause the one reported.
static const Cell* groupClauses(const Cell* clauses) {
  std::vector<const Cell*> all;
  for (; is_cons(clauses); clauses = tail(clauses)) all.push_back(head(clauses));
  const Cell* groups = nil();
  for (size_t i = all.size(); i-- > 0;) {
    const Cell* clause = all[i];
    if (!is_cons(clause)) error_at(clause, "Malformed split");
    const Cell* keyword = head(clause);
    groups = aset(groups, keyword, cons(tail(clause), aget(groups, keyword)));
  }
  return groups;
}

static const Cell* verifyInit(const Cell* defs, const Cell* parameters, const Cell* children,
                              const Cell* group) {
  if (length(group) != 1) error_at(group, "Split must have one initiation statement");
  const Cell* arguments = head(group);
  if (length(arguments) != 1) error_at(group, "Split must have one expression");
  const Cell* expression = head(arguments);
  // The init expression may name the children with `is`.
  verifyExpression(parameters, children, nil(), defs, expression);
  return expression;
}

static void verifyIntensities(const Cell* cdefs, const Cell* defs, const Cell* parameters,
                              const Cell* children, const Cell* group) {
  for (; is_cons(group); group = tail(group)) {
    const Cell* arguments = head(group);
    if (length(arguments) != 3) error_at(arguments, "Intensities must take three arguments");
    if (!member(children, first(arguments))) {
      error_at(arguments, "First argument of intensity must be a state");
    }
    if (!member(children, second(arguments))) {
      error_at(arguments, "Second argument of intensity must be a state");
    }
    if (!is_symbol_named(verifyCExpr(parameters, cdefs, defs, third(arguments)), "t_real")) {
      error_at(arguments, "intensities shall be reals");
    }
    // The program has one probability per move, and a state's probability
    // of staying is always 1 less its other intensities.
    if (equal(first(arguments), second(arguments))) {
      error_at(arguments,
               "An intensity from a state to itself is not written: staying is 1 less the "
               "state's other intensities");
    }
    for (const Cell* later = tail(group); is_cons(later); later = tail(later)) {
      const Cell* other = head(later);
      if (is_cons(other) && is_cons(tail(other)) && equal(first(other), first(arguments)) &&
          equal(second(other), second(arguments))) {
        error_at(other, "A second intensity between the same two states: write their sum as one");
      }
    }
  }
}

static void verifyWeights(const Cell* cdefs, const Cell* defs, const Cell* parameters,
                          const Cell* children, const Cell* group) {
  for (; is_cons(group); group = tail(group)) {
    const Cell* arguments = head(group);
    if (length(arguments) != 2) error_at(arguments, "Weights take two arguments");
    if (!member(children, first(arguments))) {
      error_at(arguments, "First argument of weight must be a split state");
    }
    if (!is_symbol_named(verifyCExpr(parameters, cdefs, defs, second(arguments)), "t_real")) {
      error_at(arguments, "weights shall be reals");
    }
  }
}

const Cell* verifySplit(const Cell* cdefs, const Cell* defs, const Cell* arguments,
                        const Cell* states) {
  if (!is_cons(arguments)) error_at(arguments, "Split must have parameters");
  const Cell* parameters = head(arguments);
  verifySymbolList(parameters, "Malformed split parameter list",
                   "Split parameters must be symbols");

  const Cell* rest = tail(arguments);
  if (!is_cons(rest)) error_at(arguments, "Split must have parent state");
  const Cell* parent = head(rest);
  if (!is_symbol(parent)) error_at(parent, "Split parent must be a symbol");
  if (!is_symbol_named(parent, "all") && !ahas(states, parent)) {
    error_at(parent, "Unknown split parent state");
  }

  rest = tail(rest);
  if (!is_cons(rest)) error_at(arguments, "Split must have list of children");
  const Cell* children = head(rest);
  if (length(children) < 2) error_at(arguments, "Split must have at least two children");
  verifySymbolList(children, "Malformed split children list", "Split children must be symbols");
  // A state's name is part of the names of its variables in the program.
  for (const Cell* child = children; is_cons(child); child = tail(child)) {
    if (!isIdentifierPart(symbol_name(head(child)))) {
      error_at(head(child), "Split children must be names of letters, digits and _");
    }
  }

  const Cell* groups = groupClauses(tail(rest));
  const Cell* weights = aget_named(groups, "weight");
  const Cell* intensities = aget_named(groups, "intensity");
  const Cell* inits = aget_named(groups, "init");
  const Cell* unknown =
      aremove_named(aremove_named(aremove_named(groups, "weight"), "intensity"), "init");
  if (!is_nil(unknown)) error_at(unknown, "Unknown split keyword");

  const Cell* init = verifyInit(defs, parameters, children, inits);
  verifyIntensities(cdefs, defs, parameters, children, intensities);
  verifyWeights(cdefs, defs, parameters, children, weights);

  const Cell* split = list6(parameters, parent, children, init, intensities, weights);
  // For `all` the lookup finds nothing and the chain is the record alone.
  const Cell* chain = cons(split, aget(states, parent));
  for (const Cell* child = children; is_cons(child); child = tail(child)) {
    if (ahas(states, head(child))) error_at(head(child), "Split children must be unique");
    states = acons(head(child), chain, states);
  }
  return states;
}
