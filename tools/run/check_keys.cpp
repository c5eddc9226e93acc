#include "tools/run/check_keys.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "core/list.h"
#include "tools/run/check_report.h"

namespace {

const char* const FLAGS[] = {"seven_state", "premium_paying_initially", "survives_free_policy"};
const char* const SEXES[] = {"male", "female"};
const char* const SEX_KEYS[] = {"alive->dead", "unmarried->married", "married->unmarried",
                                "age_distribution"};
const char* const DFSA = "dfsa (Finanstilsynet)";
const char* const TABLES[] = {"dfsa_yield", "dfsa_mortality_female", "dfsa_mortality_male",
                              "dfsa_mortality_improvement_female", "dfsa_mortality_improvement_male"};
const char* const CURVES[] = {"yield_curve", "free_policy_fraction"};

void add(std::vector<std::string>& names, const std::string& name) {
  if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
}

void add_symbols(std::vector<std::string>& names, const Cell* list) {
  for (; is_cons(list); list = list->pair.tail) {
    if (is_symbol(list->pair.head)) add(names, list->pair.head->text);
  }
}

// Parameters of products, splits and `function` forms; string keys of
// aget forms.
void collect(KeyCatalogue& catalogue, const Cell* e, int depth) {
  if (!is_cons(e) || depth > 200) return;
  const Cell* op = e->pair.head;
  const Cell* args = e->pair.tail;
  if (is_symbol_named(op, "function") && is_cons(args)) add_symbols(catalogue.model_reads, args->pair.head);
  if ((is_symbol_named(op, "aget") || is_symbol_named(op, "aget_default")) && is_cons(args)) {
    const Cell* last = args;
    while (is_cons(last->pair.tail)) last = last->pair.tail;
    if (is_string(last->pair.head)) add(catalogue.basis_keys, last->pair.head->text);
  }
  for (const Cell* c = e; is_cons(c); c = c->pair.tail) collect(catalogue, c->pair.head, depth + 1);
}

bool reads_as_false(const Cell* value) {
  if (is_string(value) || is_symbol(value)) {
    std::string text;
    for (const char* c = value->text; *c != 0; c++) text.push_back(static_cast<char>(tolower(static_cast<unsigned char>(*c))));
    for (const char* word : {"false", "no", "0", "off", "nil", "f", "n", "", "()"}) {
      if (text == word) return true;
    }
    return false;
  }
  return is_real(value) && value->real == 0.0;
}

}  // namespace

static std::vector<std::string> known_keys(const KeyCatalogue& catalogue, Level level);

KeyCatalogue key_catalogue(const Cell* statements) {
  KeyCatalogue catalogue;
  for (const Cell* s = statements; is_cons(s); s = s->pair.tail) {
    const Cell* statement = s->pair.head;
    if (!is_cons(statement) || !is_cons(statement->pair.tail)) continue;
    const Cell* lhs = statement->pair.tail->pair.head;
    if (is_symbol_named(statement->pair.head, "product_definition") && is_cons(lhs)) {
      add_symbols(catalogue.model_reads, lhs->pair.tail);
    }
    if (is_symbol_named(statement->pair.head, "split")) add_symbols(catalogue.model_reads, lhs);
    collect(catalogue, statement, 0);
  }
  for (const char* name : SEXES) add(catalogue.basis_keys, name);
  for (const char* name : SEX_KEYS) add(catalogue.basis_keys, name);
  for (const char* name : TABLES) add(catalogue.basis_keys, name);
  for (const char* name : CURVES) add(catalogue.basis_keys, name);
  add(catalogue.basis_keys, DFSA);
  add(catalogue.basis_keys, "surrender");
  for (Level level : {Level::portfolio, Level::policy, Level::product, Level::basis}) {
    int i = static_cast<int>(level);
    catalogue.known[i] = known_keys(catalogue, level);
    catalogue.known_set[i] = std::set<std::string>(catalogue.known[i].begin(), catalogue.known[i].end());
  }
  return catalogue;
}

static std::vector<std::string> known_keys(const KeyCatalogue& catalogue, Level level) {
  if (level == Level::basis) return catalogue.basis_keys;
  std::vector<std::string> keys = catalogue.model_reads;
  for (const char* flag : FLAGS) add(keys, flag);
  if (level == Level::portfolio) {
    for (const char* key : {"policies", "basis", "view"}) add(keys, key);
  } else if (level == Level::policy) {
    add(keys, "products");
  } else {
    for (const char* key : {"product_definition", "from", "to"}) add(keys, key);
  }
  return keys;
}

std::vector<std::string> check_keys(const Cell* alist, Level level, const KeyCatalogue& catalogue,
                                    const std::string& owner) {
  const std::vector<std::string>& known = catalogue.known[static_cast<int>(level)];
  const std::set<std::string>& known_set = catalogue.known_set[static_cast<int>(level)];
  std::vector<std::string> suggested;
  for (const Cell* e = alist; is_cons(e); e = e->pair.tail) {
    const Cell* key = is_cons(e->pair.head) ? e->pair.head->pair.head : nullptr;
    if (key == nullptr || !is_string(key)) {
      report(Severity::error, key != nullptr ? key : e->pair.head,
             owner + ": an entry whose key is not a string: " + cell_text(key != nullptr ? key : e->pair.head));
      continue;
    }
    if (known_set.count(key->text) != 0) continue;
    std::string close = closest_name(key->text, known);
    if (!close.empty()) {
      report(Severity::error, key,
             owner + ": unknown key \"" + key->text + "\"; did you mean \"" + close + "\"?");
      suggested.push_back(close);
    } else {
      report(Severity::warning, key,
             owner + ": unknown key \"" + key->text + "\": neither the model nor the valuation reads it");
    }
  }
  return suggested;
}

void check_flags(const Cell* alist, const std::string& owner) {
  for (const char* flag : FLAGS) {
    const Cell* entry = entry_of(alist, flag);
    if (entry == nullptr || !reads_as_false(entry->pair.tail)) continue;
    report(Severity::warning, entry->pair.head,
           owner + ": \"" + flag + "\" is " + cell_text(entry->pair.tail) +
               ", which counts as true (only () is false); write (parseBool ()) for false, (parseBool 0) for true");
  }
}

const Cell* entry_of(const Cell* alist, const char* key) {
  for (const Cell* e = alist; is_cons(e); e = e->pair.tail) {
    const Cell* entry = e->pair.head;
    if (is_cons(entry) && is_string(entry->pair.head) && strcmp(entry->pair.head->text, key) == 0) {
      return entry;
    }
  }
  return nullptr;
}

static void require(const Cell* alist, const char* key, const Cell* where, const std::string& owner) {
  const Cell* entry = entry_of(alist, key);
  if (entry != nullptr && !is_nil(entry->pair.tail)) return;
  report(Severity::error, where, owner + " has no \"" + key + "\", which the valuation reads");
}

void check_basis(const Cell* basis, const Cell* where) {
  for (const char* sex : SEXES) {
    std::string owner = std::string("the basis's \"") + sex + "\"";
    const Cell* entry = entry_of(basis, sex);
    if (entry == nullptr) {
      require(basis, sex, where, "the basis");
      continue;
    }
    for (const char* key : SEX_KEYS) require(entry->pair.tail, key, entry->pair.head, owner);
  }
  const Cell* dfsa = entry_of(basis, DFSA);
  if (dfsa == nullptr) {
    require(basis, DFSA, where, "the basis");
  } else {
    for (const char* key : TABLES) require(dfsa->pair.tail, key, dfsa->pair.head, "the basis's \"dfsa (Finanstilsynet)\"");
  }
  for (const char* key : CURVES) require(basis, key, where, "the basis");
}
