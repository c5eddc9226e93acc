#include "tools/run/view_labels.h"

static bool is_view_entry(const Cell* entry) {
  if (!is_cons(entry) || !is_string_equal(head(entry), "view")) return false;
  const Cell* rest = tail(entry);
  if (!is_cons(rest) || !is_cons(head(rest))) return false;
  return is_symbol_named(head(head(rest)), "list");
}

static std::vector<FlowLabel> view_flows(const Cell* entry) {
  // Skip `list`, the count and the 1.
  const Cell* items = tail(head(tail(entry)));
  for (int skip = 0; skip < 2 && is_cons(items); skip++) items = tail(items);
  std::vector<FlowLabel> flows;
  while (is_cons(items) && is_cons(tail(items)) && is_cons(tail(tail(items)))) {
    const Cell* from = head(items);
    const Cell* to = head(tail(items));
    const Cell* label = head(tail(tail(items)));
    if (!is_integer(from) || !is_integer(to) || !is_string(label)) break;
    flows.push_back(FlowLabel{integer_value(from), integer_value(to), string_value(label)});
    items = tail(tail(tail(items)));
  }
  return flows;
}

// Recursion follows the nesting only; the elements of a list are walked.
static const Cell* find_view_entry(const Cell* list) {
  for (; is_cons(list); list = tail(list)) {
    const Cell* item = head(list);
    if (!is_cons(item)) continue;
    if (is_view_entry(item)) return item;
    if (const Cell* found = find_view_entry(item)) return found;
  }
  return nullptr;
}

std::vector<FlowLabel> find_view_labels(const Cell* statements) {
  const Cell* entry = find_view_entry(statements);
  if (entry == nullptr) return {};
  return view_flows(entry);
}

std::string label_of(const std::vector<FlowLabel>& labels, int from, int to) {
  for (const FlowLabel& flow : labels) {
    if (flow.from == from && flow.to == to) return flow.label;
  }
  return "";
}
