#include "codegen/state_moves.h"

#include <cstdio>

#include "codegen/emitter.h"
#include "codegen/names.h"
#include "core/list.h"
#include "core/printer.h"
#include "expr/ctext.h"
#include "model/splits.h"

static int isIntegerValue(const Cell* c, int32_t value) {
  return is_integer(c) && integer_value(c) == value;
}

// A bound value that is a number enters a product as itself; any other
// text is reached through its variable.
static const Cell* constantOrName(const Cell* value, const Cell* name) {
  return is_integer(value) || is_real(value) ? value : name;
}

// The stay probability of a child: 1 less each of its outgoing
// transitions, newest first; the integer 1 when it has none.
static const Cell* stayProbability(const Cell* child, const Cell* targets) {
  if (!is_cons(targets)) return integer(1);
  const Cell* rest = nil();
  for (const Cell* t = reverse(targets); is_cons(t); t = tail(t)) {
    rest = cons(symbol("-"), cons(transitionProbName(child, head(t)), rest));
  }
  return cons(integer(1), rest);
}

static const Cell* intensityAssignments(const Cell* split, const Cell* cdefs, const Cell* defs,
                                        const Cell* environment, const Cell* accumulator) {
  const Cell* targets = nil();  // FROM to its TOs, newest first
  for (const Cell* i = splitIntensities(split); is_cons(i); i = tail(i)) {
    const Cell* from = first(head(i));
    const Cell* to = second(head(i));
    accumulator = bindCtext(transitionProbName(from, to), third(head(i)), cdefs, defs, environment,
                            accumulator);
    targets = aset(targets, from, cons(to, aget(targets, from)));
  }
  for (const Cell* c = splitChildren(split); is_cons(c); c = tail(c)) {
    const Cell* child = head(c);
    accumulator = acons(transitionProbName(child, child),
                        stayProbability(child, aget(targets, child)), accumulator);
  }
  return accumulator;
}

static const Cell* weightAssignments(const Cell* split, const Cell* cdefs, const Cell* defs,
                                     const Cell* environment, const Cell* accumulator) {
  const Cell* weights = splitWeights(split);
  if (!is_cons(weights)) return accumulator;
  const Cell* weighted = nil();
  for (const Cell* w = weights; is_cons(w); w = tail(w)) {
    const Cell* child = first(head(w));
    accumulator =
        bindCtext(weightName(child), second(head(w)), cdefs, defs, environment, accumulator);
    weighted = cons(child, weighted);
  }
  // A split whose children all have clauses has no child left here, and
  // taking the first of nothing ends the run.
  const Cell* rest = first(list_difference(splitChildren(split), weighted));
  return acons(weightName(rest), remainderWeight(accumulator, integer(1), weights), accumulator);
}

// Recurses once per level of the tree; the entries of a level are a loop.
const Cell* splitAssignments(const Cell* tree, const Cell* cdefs, const Cell* defs,
                             const Cell* environment, const Cell* accumulator) {
  for (; is_cons(tree); tree = tail(tree)) {
    const Cell* split = head(head(tree));
    accumulator = intensityAssignments(split, cdefs, defs, environment, accumulator);
    accumulator = weightAssignments(split, cdefs, defs, environment, accumulator);
    for (const Cell* c = tail(head(tree)); is_cons(c); c = tail(c)) {
      accumulator = splitAssignments(tail(head(c)), cdefs, defs, environment, accumulator);
    }
  }
  return accumulator;
}

const Cell* remainderWeight(const Cell* accumulator, const Cell* start, const Cell* weights) {
  const Cell* term = start;
  for (; is_cons(weights); weights = tail(weights)) {
    const Cell* name = weightName(first(head(weights)));
    const Cell* value = aget(accumulator, name);
    if (is_integer(term) && is_integer(value)) {
      term = integer(integer_value(term) - integer_value(value));
    } else {
      term = list3(term, symbol("-"), name);
    }
  }
  return term;
}

const Cell* multiplyTerms(const Cell* a, const Cell* b) {
  if (isIntegerValue(a, 0)) return a;
  if (isIntegerValue(b, 0)) return b;
  if (isIntegerValue(a, 1)) return b;
  if (isIntegerValue(b, 1)) return a;
  return list3(symbol("*"), a, b);
}

// Recurses once per level of nesting of the tuples.
const Cell* moveProbability(const Cell* accumulator, const Cell* from, const Cell* to) {
  const Cell* term = integer(1);
  for (; is_cons(from) && is_cons(to); from = tail(from), to = tail(to)) {
    term = multiplyTerms(term, componentMove(accumulator, head(from), head(to)));
  }
  return term;
}

const Cell* componentMove(const Cell* accumulator, const Cell* from, const Cell* to) {
  const Cell* a = head(from);
  const Cell* b = head(to);
  const Cell* name = transitionProbName(a, b);
  const Cell* value = aget(accumulator, name);
  if (is_nil(value)) return integer(0);
  const Cell* factor = constantOrName(value, name);
  if (equal(a, b) && is_cons(tail(from))) {
    return multiplyTerms(factor, moveProbability(accumulator, tail(from), tail(to)));
  }
  return multiplyTerms(factor, entryWeight(accumulator, tail(to)));
}

const Cell* entryWeight(const Cell* accumulator, const Cell* components) {
  const Cell* term = integer(1);
  for (; is_cons(components); components = tail(components)) {
    const Cell* component = head(components);
    const Cell* name = weightName(head(component));
    const Cell* weight = name;
    if (!ahas(accumulator, name)) {
      printf("Warning: ");
      print_cell_line(name);
    } else {
      weight = constantOrName(aget(accumulator, name), name);
    }
    term = multiplyTerms(term, multiplyTerms(weight, entryWeight(accumulator, tail(component))));
  }
  return term;
}

static int isProduct(const Cell* term) {
  return is_cons(term) && is_symbol_named(head(term), "*") && length(term) == 3;
}

// Recurses once per factor: products are as deep as a tuple's components.
const Cell* toInfix(const Cell* term) {
  if (!isProduct(term)) return term;
  return list5(symbol("("), toInfix(second(term)), symbol("*"), toInfix(third(term)), symbol(")"));
}

static const Cell* stateVariable(const Cell* record, int32_t k, Side side) {
  return side == Side::premiumPaying ? stateProbName(record, k) : fpStateProbName(record, k);
}

static const Cell* stateCopy(int32_t k, Side side) {
  return side == Side::premiumPaying ? tempProbName(k) : tempFpProbName(k);
}

static void emitMove(int indent, const Cell* record, const Cell* p, int32_t i, int32_t j, Side side,
                     int pays) {
  emitAssign(indent, symbol("prob"), toInfix(multiplyTerms(p, stateCopy(i, side))));
  emitTemplate1(indent, "%-=prob;", stateVariable(record, i, side));
  emitTemplate1(indent, "%+=prob;", stateVariable(record, j, side));
  if (pays) emitLine(indent, "probTransfer+=prob;");
}

void emitMoves(int indent, const Cell* record, const Cell* accumulator, Side side) {
  const Cell* def = aget_named(record, "def");
  const Cell* tuples = aget_named(def, "nodeTuples");
  const Cell* payStates = aget_named(def, "payStates");
  const Cell* payTransitions = aget_named(def, "payTransitions");
  if (side == Side::premiumPaying) {
    emitLine(indent, "// Move pp probabiliites");
    emitLine(indent, "probTransfer=0;");
  } else {
    emitLine(indent, "// Move fp probabiliites");
  }
  int32_t i = 0;
  for (const Cell* from = tuples; is_cons(from); from = tail(from), i++) {
    int32_t j = 0;
    for (const Cell* to = tuples; is_cons(to); to = tail(to), j++) {
      if (j == i) continue;
      const Cell* p = moveProbability(accumulator, head(from), head(to));
      if (isIntegerValue(p, 0)) continue;
      int pays = member(payTransitions, cons(head(from), head(to)));
      emitMove(indent, record, p, i, j, side, pays);
    }
  }
  int32_t k = 0;
  for (const Cell* t = tuples; is_cons(t); t = tail(t), k++) {
    if (member(payStates, head(t))) {
      emitTemplate1(indent, "probTransfer+=%;", stateVariable(record, k, side));
    }
  }
}
