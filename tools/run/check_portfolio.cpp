#include "tools/run/check_portfolio.h"

#include <cstring>
#include <map>

#include "core/list.h"
#include "expr/eval.h"
#include "tools/run/check_report.h"

namespace {

// The value expression of ("KEY" VALUE) in an (assoc ...) form as written.
const Cell* source_entry(const Cell* form, const char* key) {
  if (form == nullptr || !is_cons(form) || !is_symbol_named(form->pair.head, "assoc")) return nullptr;
  for (const Cell* e = form->pair.tail; is_cons(e); e = e->pair.tail) {
    const Cell* entry = e->pair.head;
    if (is_cons(entry) && is_string_equal(entry->pair.head, key) && is_cons(entry->pair.tail)) {
      return entry->pair.tail->pair.head;
    }
  }
  return nullptr;
}

// The items of a (list ...) form as written.
std::vector<const Cell*> source_items(const Cell* form) {
  std::vector<const Cell*> items;
  if (form == nullptr || !is_cons(form) || !is_symbol_named(form->pair.head, "list")) return items;
  for (const Cell* i = form->pair.tail; is_cons(i); i = i->pair.tail) items.push_back(i->pair.head);
  return items;
}

// The body of the value definition that the task's portfolio calls.
const Cell* source_portfolio(const Cell* statements, const Cell* call) {
  if (!is_cons(call) || !is_symbol(call->pair.head)) return nullptr;
  for (const Cell* s = statements; is_cons(s); s = s->pair.tail) {
    const Cell* st = s->pair.head;
    if (!is_cons(st) || !is_symbol_named(st->pair.head, "define") || length(st) != 3) continue;
    const Cell* lhs = second(st);
    if (is_cons(lhs) && is_symbol_named(lhs->pair.head, call->pair.head->text)) return third(st);
  }
  return nullptr;
}

std::vector<const Cell*> items_of(const Cell* list) {
  std::vector<const Cell*> items;
  for (; is_cons(list); list = list->pair.tail) items.push_back(list->pair.head);
  return items;
}

// Where a policy or product is written: its (assoc as written, else its
// first key.
const Cell* place_cell(const std::vector<const Cell*>& written, size_t count, size_t i, const Cell* value) {
  if (written.size() == count) return written[i];
  return value;
}

std::string line_of(const Cell* where) {
  Finding place = place_of(where);
  if (place.file.empty()) return "";
  std::string file = place.file == portfolio_file_name() ? "" : place.file + " ";
  return " (" + file + "line " + std::to_string(place.line) + ")";
}

bool is_alist(const Cell* value) {
  for (; is_cons(value); value = value->pair.tail) {
    if (!is_cons(value->pair.head)) return false;
  }
  return is_nil(value);
}

// Entries ("KEY" . value): what the valuation turns into an environment.
bool is_entries(const Cell* value) {
  for (; is_cons(value); value = value->pair.tail) {
    if (!is_cons(value->pair.head) || !is_string(value->pair.head->pair.head)) return false;
  }
  return is_nil(value);
}

void check_view(PortfolioCheck& check, const Cell* entry) {
  const Cell* items = entry->pair.tail;
  std::vector<const Cell*> all = items_of(items);
  if (all.size() < 2 || !is_integer(all[0])) {
    report(Severity::warning, entry->pair.head, "the view is not (list COUNT 1 FROM TO LABEL ...)");
    return;
  }
  size_t i = 2;
  for (; i + 2 < all.size(); i += 3) {
    if (!is_integer(all[i]) || !is_integer(all[i + 1]) || !is_string(all[i + 2])) break;
    check.view.push_back(ViewFlow{all[i]->whole, all[i + 1]->whole, all[i + 2]->text, place_of(all[i])});
  }
  if (i != all.size()) {
    report(Severity::warning, i < all.size() ? all[i] : entry->pair.head,
           "the view's flows are not FROM TO \"LABEL\" triples from here on");
  }
  if (static_cast<size_t>(all[0]->whole) != check.view.size()) {
    report(Severity::warning, all[0],
           "the view's count is " + std::to_string(all[0]->whole) + " but it lists " +
               std::to_string(check.view.size()) + " flows");
  }
}

bool suggested(const std::vector<std::string>& names, const char* name) {
  for (const std::string& n : names) {
    if (n == name) return true;
  }
  return false;
}

std::vector<std::string> check_whole_portfolio(PortfolioCheck& check, const Cell* portfolio, const Cell* where) {
  std::vector<std::string> close = check_keys(portfolio, Level::portfolio, check.catalogue, "the portfolio");
  check_flags(portfolio, "the portfolio");
  const Cell* basis = entry_of(portfolio, "basis");
  if (basis == nullptr) {
    report(Severity::error, where, "the portfolio has no \"basis\"");
  } else if (is_alist(basis->pair.tail)) {
    check_keys(basis->pair.tail, Level::basis, check.catalogue, "the basis");
    for (const Cell* e = basis->pair.tail; is_cons(e); e = e->pair.tail) {
      if (is_alist(e->pair.head->pair.tail) && !is_nil(e->pair.head->pair.tail)) {
        check_keys(e->pair.head->pair.tail, Level::basis, check.catalogue, "the basis's " + cell_text(e->pair.head->pair.head));
      }
    }
    check_basis(basis->pair.tail, basis->pair.head);
  }
  if (const Cell* view = entry_of(portfolio, "view")) check_view(check, view);
  return close;
}

void check_birth(const Cell* policy, const Cell* portfolio, const std::string& owner) {
  const Cell* validity = entry_of(policy, "date_validity");
  if (validity == nullptr) validity = entry_of(portfolio, "date_validity");
  if (validity == nullptr || !is_date(validity->pair.tail)) return;
  for (const char* key : {"time_birth", "time_birth_spouse", "time_birth_child"}) {
    const Cell* birth = entry_of(policy, key);
    if (birth == nullptr || !is_date(birth->pair.tail) || birth->pair.tail->whole <= validity->pair.tail->whole) continue;
    report(Severity::warning, birth->pair.head,
           owner + ": \"" + key + "\" " + cell_text(birth->pair.tail) + " is after the valuation date " +
               cell_text(validity->pair.tail));
  }
}

void check_policy(PortfolioCheck& check, const Cell* portfolio, const Cell* policy, const Cell* written,
                  const std::string& owner, long number) {
  std::vector<std::string> close = check_keys(policy, Level::policy, check.catalogue, owner);
  check_flags(policy, owner);
  check_birth(policy, portfolio, owner);
  const Cell* products = entry_of(policy, "products");
  if (products == nullptr) {
    if (!suggested(close, "products")) report(Severity::error, written, owner + " has no \"products\"");
    return;
  }
  std::vector<const Cell*> items = items_of(products->pair.tail);
  std::vector<const Cell*> sources = source_items(source_entry(written, "products"));
  for (size_t j = 0; j < items.size(); j++) {
    const Cell* where = place_cell(sources, items.size(), j, items[j]);
    std::string product_owner = owner + ", product " + std::to_string(j + 1) + line_of(where);
    if (!is_entries(items[j])) {
      report(Severity::error, where, product_owner + " is not an association list with string keys");
      continue;
    }
    set_context(where, &product_owner, "checking the product", nullptr);
    check_keys(items[j], Level::product, check.catalogue, product_owner);
    check_flags(items[j], product_owner);
    check_product(check.model, ProductAt{items[j], policy, portfolio, where, product_owner, number});
  }
}

}  // namespace

void check_portfolio_script(PortfolioCheck& check, const Cell* portfolio_statements) {
  bool first = check.first;
  check.first = false;
  check.model.reported.clear();
  check.model.reads.clear();
  const Cell* task = aget_named(check.model.defs, "task");
  const Cell* body = is_cons(task) ? task->pair.tail : nullptr;
  if (body == nullptr || !is_cons(body) || !is_symbol_named(body->pair.head, "cashflow") || !is_cons(body->pair.tail)) {
    check.valued = false;  // a generate task, or none: nothing is valued
    return;
  }
  const Cell* call = second(body);
  set_context(call, nullptr, "evaluating the portfolio", call);
  const Cell* portfolio = eval(call, check.model.defs, nil());
  const Cell* written = source_portfolio(portfolio_statements, call);
  const Cell* place = written != nullptr ? written : call;
  if (!is_entries(portfolio) || is_nil(portfolio)) {
    if (first) report(Severity::error, place, "the portfolio " + cell_text(call) + " is " + cell_text(portfolio) + ", not an association list with string keys");
    check.valued = false;
    return;
  }
  std::vector<std::string> close;
  if (first) close = check_whole_portfolio(check, portfolio, place);
  const Cell* entry = entry_of(portfolio, "policies");
  if (entry == nullptr) {
    if (first && !suggested(close, "policies")) report(Severity::error, place, "the portfolio has no \"policies\"");
    check.valued = false;
    return;
  }
  if (first) check.policies_place = place_of(entry->pair.head);
  check.model.cdef_names = cdef_names(check.model.cdefs);
  check.model.basis_formulas = basis_formulas(portfolio);
  check.model.whole_formulas.clear();
  std::vector<const Cell*> policies = items_of(entry->pair.tail);
  std::vector<const Cell*> sources = source_items(source_entry(written, "policies"));
  for (size_t k = 0; k < policies.size(); k++) {
    const Cell* where = place_cell(sources, policies.size(), k, policies[k]);
    long number = check.first_policy + static_cast<long>(k);
    std::string owner = "policy " + std::to_string(number) + line_of(where);
    if (!is_entries(policies[k])) {
      report(Severity::error, where, owner + " is not an association list with string keys");
      continue;
    }
    set_context(where, &owner, "checking the policy", nullptr);
    // What a policy's checks make is forgotten once they are done: the
    // memory of a check stays that of the portfolio itself.
    CellMark mark = mark_cells();
    check.model.formulas_written.clear();
    check_policy(check, portfolio, policies[k], where, owner, number);
    release_cells(mark);
  }
  check.policies += static_cast<long>(policies.size());
  // The basis's own functions in the program, once the policies have
  // shown that the basis holds what they read.
  if (first && errors_reported() == 0) {
    note_basis_texts(check.model.decimals, portfolio, check.model.cdefs, check.model.defs, check.model.cdef_names);
  }
}

void finish_portfolio_checks(PortfolioCheck& check) {
  if (!check.valued) return;
  report_decimal_losses(check.model.decimals);
  if (check.policies == 0) {
    report_at(check.policies_place, Severity::error, "the portfolio has no policy: there is nothing to value");
    return;
  }
  // Products found wrong book nothing: their flows would be named here too.
  if (errors_reported() > 0) return;
  for (const ViewFlow& flow : check.view) {
    if (check.model.used_pairs.count({flow.from, flow.to}) != 0) continue;
    report_at(flow.place, Severity::warning,
              "the view names the flow " + std::to_string(flow.from) + " -> " + std::to_string(flow.to) + " \"" +
                  flow.label + "\", which no product books");
  }
}

// Whether the symbol NAME occurs anywhere in TERM.
static bool mentions(const Cell* term, const char* name) {
  for (; is_cons(term); term = term->pair.tail) {
    if (mentions(term->pair.head, name)) return true;
  }
  return is_symbol(term) && strcmp(term->text, name) == 0;
}

// Within one script: a later script may mean to replace a definition of
// the model, a second one in the same script is a slip, unless the second
// calls itself: a definition may only use names defined before it, so a
// recursive one is written after a first definition of its name.
void check_definitions(const Cell* statements) {
  std::map<std::string, const Cell*> seen;
  for (const Cell* s = statements; is_cons(s); s = s->pair.tail) {
    const Cell* st = s->pair.head;
    if (!is_cons(st) || !is_symbol(st->pair.head) || length(st) < 3) continue;
    const Cell* name = nullptr;
    std::string kind = st->pair.head->text;
    if (kind == "define" || kind == "product_definition") {
      const Cell* lhs = second(st);
      if (is_cons(lhs)) name = lhs->pair.head;
    } else if (kind == "cdef") {
      name = third(st);
    }
    if (name == nullptr || !is_symbol(name) || name->file == nullptr) continue;
    auto [at, fresh] = seen.emplace(std::string(name->file) + " " + kind + " " + name->text, name);
    if (fresh) continue;
    if (kind == "define" && mentions(third(st), name->text)) continue;
    Finding earlier = place_of(at->second);
    report(Severity::warning, name,
           kind + " " + name->text + " is defined a second time; this definition replaces the one at line " +
               std::to_string(earlier.line));
    report_at(earlier, Severity::note, "the earlier definition of " + std::string(name->text) + ", which is never used");
    at->second = name;
  }
}
