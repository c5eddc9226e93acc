#include "model/product_states.h"

#include <cstddef>
#include <vector>

#include "core/list.h"
#include "core/printer.h"
#include "driver/diagnostics.h"
#include "expr/eval.h"
#include "model/splits.h"

using Cells = std::vector<const Cell*>;

static const Cell* listOf(const Cells& elements) {
  const Cell* list = nil();
  for (size_t i = elements.size(); i-- > 0;) list = cons(elements[i], list);
  return list;
}

// A state goes in front unless already there; of a list, the keyword head
// is skipped and the other elements are taken from the last to the first.
static const Cell* collectStates(const Cell* condition, const Cell* result) {
  if (!is_cons(condition)) return member(result, condition) ? result : cons(condition, result);
  Cells items;
  for (const Cell* rest = tail(condition); is_cons(rest); rest = tail(rest)) {
    items.push_back(head(rest));
  }
  for (size_t i = items.size(); i-- > 0;) result = collectStates(items[i], result);
  return result;
}

const Cell* productDefToStates(const Cell* cashflow) {
  if (!is_cons(cashflow)) return nil();
  const Cell* op = head(cashflow);
  if (!is_symbol_named(op, "when") && !is_symbol_named(op, "while")) return nil();
  return collectStates(second(cashflow), nil());
}

const Cell* statesToSplitAssoc(const Cell* stateList, const Cell* states) {
  Cells listed;
  for (; is_cons(stateList); stateList = tail(stateList)) listed.push_back(head(stateList));
  const Cell* root = cons(symbol("all"), nil());
  for (size_t i = listed.size(); i-- > 0;) {
    const Cell* path = reverse(aget(states, listed[i]));
    root = addPath(listed[i], root, path);
  }
  return tail(root);
}

// Recurses once per split on the path, that is per level of the tree.
const Cell* addPath(const Cell* state, const Cell* node, const Cell* path) {
  if (!is_cons(path)) return node;
  const Cell* split = head(path);
  const Cell* rest = tail(path);
  const Cell* next = is_cons(rest) ? splitParent(head(rest)) : state;
  const Cell* tree = tail(node);
  const Cell* childMap = aget(tree, split);
  if (is_nil(childMap)) {
    Cells entries;
    for (const Cell* c = splitChildren(split); is_cons(c); c = tail(c)) {
      entries.push_back(cons(head(c), nil()));
    }
    childMap = listOf(entries);
  }
  const Cell* child = addPath(state, cons(next, aget(childMap, next)), rest);
  return cons(head(node), aset(tree, split, aset(childMap, next, tail(child))));
}

// The tuples of one split: (CHILD . tuple) for each child in map order and
// each tuple of the child's tree.
static Cells splitEntries(const Cell* childMap) {
  Cells entries;
  for (; is_cons(childMap); childMap = tail(childMap)) {
    const Cell* child = head(head(childMap));
    for (const Cell* t = splitAssocToNodeTuples(tail(head(childMap))); is_cons(t); t = tail(t)) {
      entries.push_back(cons(child, head(t)));
    }
  }
  return entries;
}

const Cell* splitAssocToNodeTuples(const Cell* tree) {
  std::vector<Cells> perSplit;
  for (; is_cons(tree); tree = tail(tree)) perSplit.push_back(splitEntries(tail(head(tree))));
  // Built from the last split back, so the first split varies slowest.
  Cells tuples = {nil()};
  for (size_t s = perSplit.size(); s-- > 0;) {
    Cells longer;
    for (const Cell* entry : perSplit[s]) {
      for (const Cell* rest : tuples) longer.push_back(cons(entry, rest));
    }
    tuples = longer;
  }
  return listOf(tuples);
}

const Cell* initialNodeTuple(const Cell* tree, const Cell* defs, const Cell* environment) {
  Cells entries;
  for (; is_cons(tree); tree = tail(tree)) {
    const Cell* split = head(head(tree));
    const Cell* childMap = tail(head(tree));
    // A value that is no child finds no subtree and so matches no state.
    const Cell* value = eval(splitInit(split), defs, environment);
    entries.push_back(cons(value, initialNodeTuple(aget(childMap, value), defs, environment)));
  }
  return listOf(entries);
}

int32_t nodeTupleIndex(const Cell* nodeTuples, const Cell* tuple) {
  int32_t index = 0;
  for (; is_cons(nodeTuples); nodeTuples = tail(nodeTuples), index++) {
    if (equal(head(nodeTuples), tuple)) return index;
  }
  print_cell_line(tuple);
  error_at(tuple, "Cannot find initial state");
}
