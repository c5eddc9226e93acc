#include "tools/run/check_surrender.h"

#include <string>
#include <vector>

#include "core/list.h"
#include "tools/run/check_report.h"

namespace {

struct Role {
  const char* name;
  std::vector<const char*> states;  // each occurs somewhere in the state's tuple
};

const Role ROLES[] = {
    {"premium paying, active", {"customer", "alive", "active", "premium_paying"}},
    {"free policy, active", {"customer", "alive", "active", "free_policy"}},
    {"premium paying, disabled", {"customer", "alive", "disabled", "premium_paying"}},
    {"free policy, disabled", {"customer", "alive", "disabled", "free_policy"}},
    {"dead, from premium paying", {"customer", "dead", "premium_paying"}},
    {"dead, from free policy", {"customer", "dead", "free_policy"}},
    {"surrendered", {"surrender"}},
};
constexpr int ROLE_COUNT = 7;

bool occurs(const Cell* tree, const char* state) {
  if (is_symbol(tree)) return is_symbol_named(tree, state);
  for (; is_cons(tree); tree = tree->pair.tail) {
    if (occurs(tree->pair.head, state)) return true;
  }
  return false;
}

bool plays(const Cell* tuple, const Role& role) {
  for (const char* state : role.states) {
    if (!occurs(tuple, state)) return false;
  }
  return true;
}

// The undivided states of a tuple, for a message.
void leaves(const Cell* tuple, std::string& text) {
  for (; is_cons(tuple); tuple = tuple->pair.tail) {
    const Cell* entry = tuple->pair.head;
    if (!is_cons(entry)) continue;
    if (is_cons(entry->pair.tail)) {
      leaves(entry->pair.tail, text);
    } else if (is_symbol(entry->pair.head)) {
      text += std::string(text.empty() ? "" : " and ") + entry->pair.head->text;
    }
  }
}

}  // namespace

void check_surrender_roles(const Cell* record) {
  const Cell* tuples = aget_named(record, "nodeTuples");
  std::vector<const Cell*> states;
  for (const Cell* t = tuples; is_cons(t); t = t->pair.tail) states.push_back(t->pair.head);
  std::string wrong;
  for (int k = 0; k < ROLE_COUNT; k++) {
    if (k < static_cast<int>(states.size()) && plays(states[k], ROLES[k])) continue;
    int at = -1;
    for (size_t j = 0; j < states.size(); j++) {
      if (plays(states[j], ROLES[k])) at = static_cast<int>(j);
    }
    std::string held = "missing";
    if (k < static_cast<int>(states.size())) {
      held.clear();
      leaves(states[k], held);
    }
    wrong += std::string(wrong.empty() ? "" : "; ") + "state " + std::to_string(k) + " is " + held +
             " but must be " + ROLES[k].name;
    wrong += at < 0 ? ", which no state is" : ", which is state " + std::to_string(at);
  }
  if (static_cast<int>(states.size()) != ROLE_COUNT) {
    wrong += std::string(wrong.empty() ? "" : "; ") + "it has " + std::to_string(states.size()) +
             " states, the free-policy transfer moves seven";
  }
  if (wrong.empty()) return;
  report(Severity::error, aget_named(record, "expiry"),
         "the states of product_surrender do not have the roles the free-policy transfer gives states 0 to 6: " +
             wrong + "; its states are numbered in the order in which its condition, read from the end, names them");
}
