#include "tools/run/check_products.h"

#include <cstring>
#include <vector>

#include "core/list.h"
#include "expr/ctext.h"
#include "expr/eval.h"
#include "expr/verify_cexpr.h"
#include "tools/run/check_keys.h"
#include "tools/run/check_reads.h"
#include "tools/run/check_report.h"
#include "tools/run/check_surrender.h"

namespace {

constexpr int ACCOUNTS = 20;

const char* kind_name(Kind kind) {
  switch (kind) {
    case Kind::date: return "a date";
    case Kind::span: return "a span";
    case Kind::number: return "a number";
    case Kind::integer: return "an integer";
    case Kind::text: return "a string";
    case Kind::real_term: return "a number or a formula";
    default: return "a value";
  }
}

bool fits(const Cell* value, Kind kind) {
  switch (kind) {
    case Kind::date: return is_date(value);
    case Kind::span: return is_span(value);
    case Kind::number: return is_integer(value) || is_real(value);
    case Kind::integer: return is_integer(value);
    case Kind::text: return is_string(value);
    case Kind::real_term:
      return is_integer(value) || is_real(value) || is_cons(value) || is_symbol(value);
    default: return true;
  }
}

// The entry that a variable of the environment comes from: the product's,
// else the policy's, else the portfolio's.
const Cell* find_entry(const ProductAt& at, const char* name) {
  for (const Cell* level : {at.product, at.policy, at.portfolio}) {
    if (const Cell* entry = entry_of(level, name)) return entry;
  }
  return nullptr;
}

// A place in the model named in passing: its file's base name is enough.
std::string model_place(const Cell* cell) {
  Finding place = place_of(cell);
  if (place.file.empty()) return "";
  std::string file = place.file.substr(place.file.rfind('/') + 1);
  return " (" + file + ":" + std::to_string(place.line) + ":" + std::to_string(place.character) + ")";
}

std::vector<std::string> keys_of(const Cell* alist) {
  std::vector<std::string> keys;
  for (const Cell* e = alist; is_cons(e); e = e->pair.tail) {
    if (is_cons(e->pair.head) && is_string(e->pair.head->pair.head)) keys.push_back(e->pair.head->pair.head->text);
  }
  return keys;
}

// The keys of a list that hold lists themselves, when there are such:
// those that a further lookup can go into.
std::vector<std::string> nested_keys_of(const Cell* alist) {
  std::vector<std::string> keys;
  for (const Cell* e = alist; is_cons(e); e = e->pair.tail) {
    const Cell* entry = e->pair.head;
    if (is_cons(entry) && is_string(entry->pair.head) && is_cons(entry->pair.tail) &&
        is_cons(entry->pair.tail->pair.head)) {
      keys.push_back(entry->pair.head->text);
    }
  }
  return keys.empty() ? keys_of(alist) : keys;
}

std::string key_list(const std::vector<std::string>& keys) {
  std::string text;
  for (const std::string& key : keys) text += (text.empty() ? "\"" : ", \"") + key + "\"";
  return text;
}

struct RecordCheck {
  ModelView& model;
  const ProductAt& at;
  const Cell* env;
  std::string name;   // of the definition
  std::string label;  // the product as messages name it
  std::string context;
  int errors = 0;

  void error(const Cell* where, const std::string& message) {
    report(Severity::error, where, at.owner + " " + label + ": " + message);
    errors++;
  }
};

void check_key_of(RecordCheck& r, const Need& need, const Cell* entry) {
  if (!is_symbol(need.base) || !is_cons(aget(r.env, need.base))) return;
  const Cell* base = aget(r.env, need.base);
  if (!is_string(entry->pair.tail)) {
    r.error(entry->pair.head, "\"" + std::string(need.variable->text) + "\" is " + cell_text(entry->pair.tail) +
                                  ", but must be a string that \"" + need.base->text + "\" has as a key");
    return;
  }
  if (!is_nil(aget(base, entry->pair.tail))) return;
  std::vector<std::string> keys = nested_keys_of(base);
  std::string close = closest_name(entry->pair.tail->text, keys_of(base));
  r.error(entry->pair.head, "\"" + std::string(need.variable->text) + "\" is \"" + entry->pair.tail->text +
                                "\", which \"" + need.base->text + "\" does not have (it has " + key_list(keys) +
                                ")" + (close.empty() ? "" : "; did you mean \"" + close + "\"?"));
}

void check_needs(RecordCheck& r, const Reads& reads) {
  std::set<std::string> missing;
  for (const Need& need : reads.needs) {
    const Cell* entry = find_entry(r.at, need.variable->text);
    if (entry == nullptr) {
      if (need.always && missing.insert(need.variable->text).second) {
        r.error(r.at.where, "no \"" + std::string(need.variable->text) + "\", which " + r.name + " reads" +
                                model_place(need.reader));
      }
      continue;
    }
    if (r.model.reported.count(entry) != 0) {
      r.errors++;
      continue;
    }
    int before = r.errors;
    if (need.kind == Kind::key_of) {
      check_key_of(r, need, entry);
    } else if (!fits(entry->pair.tail, need.kind)) {
      r.error(entry->pair.head, "\"" + std::string(need.variable->text) + "\" is " + cell_text(entry->pair.tail) +
                                    ", but " + r.name + " needs " + kind_name(need.kind) + model_place(need.reader));
    }
    if (r.errors > before) r.model.reported.insert(entry);
  }
}

// The variables an expression reads, with their values, for a message.
std::string values_read(const RecordCheck& r, const Cell* expression) {
  Reads reads;
  script_reads(expression, r.model.defs, reads);
  std::string text;
  for (const Need& need : reads.needs) {
    if (!ahas(r.env, need.variable)) continue;
    const Cell* value = aget(r.env, need.variable);
    if (is_cons(value) && is_cons(value->pair.head)) continue;  // a whole list of entries says little
    text += std::string(text.empty() ? " (" : ", ") + need.variable->text + " = " + cell_text(value);
  }
  return text.empty() ? text : text + ")";
}

// As the valuation finds a policy's first state: each split's init in
// the product's tree, and under the child it gives, that child's splits.
void check_initial_states(RecordCheck& r, const Cell* tree) {
  for (; is_cons(tree); tree = tree->pair.tail) {
    const Cell* split = tree->pair.head->pair.head;
    const Cell* init = nth(3, split);
    Reads read;
    script_reads(init, r.model.defs, read);
    int before = r.errors;
    check_needs(r, read);
    if (r.errors > before) continue;
    set_context(r.at.where, &r.context, "evaluating the initial state", init);
    const Cell* value = eval(init, r.model.defs, r.env);
    const Cell* children = nth(2, split);
    if (is_symbol(value) && member(children, value)) {
      check_initial_states(r, aget(tree->pair.head->pair.tail, value));
      continue;
    }
    std::vector<std::string> names;
    for (const Cell* c = children; is_cons(c); c = c->pair.tail) names.push_back(c->pair.head->text);
    std::string close = is_symbol(value) || is_string(value) ? closest_name(value->text, names) : "";
    // A state read from one key of the policy is that key's fault.
    const Cell* where = r.at.where;
    if (read.needs.size() == 1) {
      if (const Cell* entry = find_entry(r.at, read.needs[0].variable->text)) {
        if (!r.model.reported.insert(entry).second) {
          r.errors++;
          continue;
        }
        where = entry->pair.head;
      }
    }
    r.error(where, "the initial state " + cell_text(init) + values_read(r, init) + " is " + cell_text(value) +
                       ", which is none of its states (" + key_list(names) + ")" +
                       (close.empty() ? "" : "; did you mean \"" + close + "\"?"));
  }
}

// Whether a value comes from another script than its v_real form: a
// number that the user's data gives as it is, such as a basis formula of
// one constant.
bool given_elsewhere(const Cell* value, const Cell* form) {
  return value->character != 0 && value->file != nullptr && form->file != nullptr &&
         strcmp(value->file, form->file) != 0;
}

// A formula as the engine writes it, once a policy: a formula of the
// basis that loses nothing is not written again for the script's other
// policies.
void note_formula(RecordCheck& r, const Cell* formula, const Cell* where, const RealOwner& owner) {
  ModelView& model = r.model;
  if (model.whole_formulas.count(formula) != 0 || !model.formulas_written.insert(formula).second) return;
  set_context(r.at.where, &r.context, "writing into the calculation program", formula);
  const Cell* text = ctermToCtext(formula, model.cdefs, model.defs, r.env, model.cdef_names)->pair.head;
  if (note_text(model.decimals, text, where, owner) == 0 && model.basis_formulas.count(formula) != 0) {
    model.whole_formulas.insert(formula);
  }
}

// The value of a v_real as the program gets it: a number as it is, a
// formula as the engine writes it once it has the value.
void note_value(RecordCheck& r, const Cell* form, const Cell* value) {
  RealOwner owner{r.context, r.at.number};
  if (is_integer(value)) return;
  if (is_real(value)) {
    bool given = given_elsewhere(value, form);
    note_real(r.model.decimals, value, given ? RealSource::formula : RealSource::value, given ? value : form, owner);
    return;
  }
  note_formula(r, value, form, owner);
}

// The reals the record's C text gets besides the values: the model's
// constants, and the free-policy fraction of its basis.
void note_reals(RecordCheck& r, const Reads& reads) {
  RealOwner owner{r.context, r.at.number};
  for (const Cell* constant : reads.constants) note_real(r.model.decimals, constant, RealSource::model, constant, owner);
  const Cell* basis = aget_named(r.env, "basis");
  const Cell* fraction = entry_of(basis, "free_policy_fraction");
  if (fraction != nullptr && !is_nil(fraction->pair.tail)) note_formula(r, fraction->pair.tail, fraction->pair.head, owner);
}

void check_values(RecordCheck& r, const Reads& reads) {
  for (const Cell* form : reads.values) {
    if (!is_cons(form->pair.tail)) continue;
    const Cell* expression = form->pair.tail->pair.head;
    set_context(r.at.where, &r.context, "evaluating", form);
    const Cell* value = eval(expression, r.model.defs, r.env);
    Kind kind = is_symbol_named(form->pair.head, "v_date")   ? Kind::date
                : is_symbol_named(form->pair.head, "v_span") ? Kind::span
                                                             : Kind::real_term;
    bool good = fits(value, kind);
    if (good && kind == Kind::real_term && !is_integer(value) && !is_real(value)) {
      good = is_symbol_named(verifyCExpr(nil(), r.model.cdefs, nil(), value), "t_real");
    }
    if (good && kind == Kind::real_term) note_value(r, form, value);
    if (good) continue;
    r.error(r.at.where, cell_text(form) + model_place(form) + values_read(r, expression) + " gives " +
                            cell_text(value) + ", not " + kind_name(kind));
  }
}

const Reads& reads_of(ModelView& model, const Cell* key, bool coefficient) {
  auto known = model.reads.find(key);
  if (known != model.reads.end()) return known->second;
  Reads reads = coefficient ? term_reads(key, model.cdefs, model.defs) : product_reads(key, model.cdefs, model.defs);
  return model.reads.emplace(key, reads).first->second;
}

// A record: the product itself, or a term of its linear combination with
// its coefficient.
void check_record(ModelView& model, const ProductAt& at, const Cell* env, const std::string& name,
                  const std::string& label, const Cell* record, const Cell* coefficient) {
  RecordCheck r{model, at, env, name, label, ""};
  r.context = at.owner + " " + label;
  const Reads& reads = reads_of(model, record, false);
  static const Reads NO_COEFFICIENT;
  const Reads& weight = coefficient != nullptr ? reads_of(model, coefficient, true) : NO_COEFFICIENT;
  check_needs(r, reads);
  check_needs(r, weight);
  if (r.errors > 0) return;
  check_initial_states(r, aget_named(record, "splitAssoc"));
  if (r.errors > 0) return;
  check_values(r, reads);
  check_values(r, weight);
  if (r.errors > 0) return;
  note_reals(r, reads);
  for (const Cell* constant : weight.constants) {
    note_real(model.decimals, constant, RealSource::model, constant, RealOwner{r.context, at.number});
  }
}

bool flag(const Cell* env, const char* name) {
  const Cell* entry = aget_named(env, name);
  return !is_nil(entry);
}

int account(RecordCheck& r, const char* key) {
  const Cell* entry = find_entry(r.at, key);
  if (entry == nullptr) {
    r.error(r.at.where, std::string("no \"") + key + "\" account");
    return -1;
  }
  const Cell* value = entry->pair.tail;
  if (!is_integer(value)) {
    r.error(entry->pair.head, std::string("the \"") + key + "\" account is " + cell_text(value) + ", not an integer");
    return -1;
  }
  if (value->whole < 0 || value->whole >= ACCOUNTS) {
    r.error(entry->pair.head, std::string("the \"") + key + "\" account is " + std::to_string(value->whole) +
                                  ", outside the accounts 0 to 19");
    return -1;
  }
  return value->whole;
}

std::vector<std::string> product_names(const Cell* products) {
  std::vector<std::string> names;
  for (const Cell* p = products; is_cons(p); p = p->pair.tail) names.push_back(p->pair.head->pair.head->text);
  return names;
}

}  // namespace

void check_product(ModelView& model, const ProductAt& at) {
  const Cell* env = append(symbolize_keys(at.product), append(symbolize_keys(at.policy), symbolize_keys(at.portfolio)));
  RecordCheck r{model, at, env, "", "", ""};
  const Cell* entry = entry_of(at.product, "product_definition");
  if (entry == nullptr || !is_string(entry->pair.tail)) {
    report(Severity::error, entry != nullptr ? entry->pair.head : at.where,
           at.owner + ": " + (entry == nullptr ? std::string("no \"product_definition\"")
                                               : "\"product_definition\" is " + cell_text(entry->pair.tail) + ", not a string"));
    return;
  }
  const Cell* name = entry->pair.tail;
  r.name = name->text;
  r.label = "\"" + r.name + "\"";
  const Cell* definition = aget_named(model.products, name->text);
  if (!is_cons(definition)) {
    std::string close = closest_name(name->text, product_names(model.products));
    r.error(entry->pair.head, "the model defines no product \"" + r.name + "\"" +
                                  (close.empty() ? "" : "; did you mean \"" + close + "\"?"));
    return;
  }
  bool surrender = strcmp(name->text, "product_surrender") == 0;
  if (surrender && flag(env, "seven_state")) return;  // the valuation leaves it out
  int from = account(r, "from");
  int to = account(r, "to");
  if (from >= 0 && to >= 0) model.used_pairs.insert({from, to});
  if (surrender && !model.surrender_checked) {
    model.surrender_checked = true;
    check_surrender_roles(definition);
  }
  const Cell* amount = aget_named(definition, "paySize");
  if (!(is_cons(amount) && is_symbol_named(amount->pair.head, "linear_combination"))) {
    check_record(model, at, env, r.name, r.label, definition, nullptr);
    return;
  }
  for (const Cell* t = amount->pair.tail; is_cons(t); t = t->pair.tail) {
    const Cell* term = second(t->pair.head);
    const Cell* term_name = is_cons(term) ? term->pair.head : term;
    const Cell* term_record = is_symbol(term_name) ? aget(model.products, term_name) : nil();
    if (!is_cons(term_record)) {
      r.error(at.where, "its term " + cell_text(term) + model_place(term) + " names no product of the model");
      continue;
    }
    check_record(model, at, env, term_name->text, r.label + " (its term " + term_name->text + ")", term_record,
                 first(t->pair.head));
  }
}
