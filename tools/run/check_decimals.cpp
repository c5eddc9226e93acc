#include "tools/run/check_decimals.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/list.h"
#include "expr/ctext.h"
#include "tools/run/check_keys.h"
#include "tools/run/check_report.h"

namespace {

constexpr double MOST_OFF = 1e-7;
// The largest power of ten that talvon reads as a whole number.
constexpr int LARGEST_POWER = 9;

// As the engine writes a real into the program.
std::string six_decimals(double value) {
  char text[400];
  snprintf(text, sizeof text, "%f", value);
  return text;
}

double relative_off(double value) {
  return std::fabs(value - strtod(six_decimals(value).c_str(), nullptr)) / std::fabs(value);
}

// The significant digits of `value`, at most `most`, without trailing
// zeros, and the power of ten of the first.
std::string significant(double value, int most, int& exponent) {
  char text[64];
  snprintf(text, sizeof text, "%.*e", most - 1, std::fabs(value));
  const char* e = strchr(text, 'e');
  exponent = atoi(e + 1);
  std::string digits;
  for (const char* c = text; c < e; c++) {
    if (*c != '.') digits += *c;
  }
  while (digits.size() > 1 && digits.back() == '0') digits.pop_back();
  return digits;
}

// A value for a message: ten significant digits at most, no exponent.
std::string decimal_text(double value) {
  int exponent = 0;
  std::string digits = significant(value, 10, exponent);
  int decimals = static_cast<int>(digits.size()) - 1 - exponent;
  char text[400];
  snprintf(text, sizeof text, "%.*f", decimals > 0 ? decimals : 0, value);
  return text;
}

// The constant as whole numbers that the program divides: 123/10000000,
// or (/ 123 10000000) in a model's expression; powers of ten past what
// talvon reads as a whole number divide in turn. Fifteen digits recover
// what the user wrote. Empty when the digits are too many to be one.
std::string quotient(double value, bool infix) {
  int exponent = 0;
  std::string digits = significant(value, 15, exponent);
  int power = static_cast<int>(digits.size()) - 1 - exponent;
  if (digits.size() > 9 || power <= 0) return "";
  std::string text = (value < 0 ? "-" : "") + digits;
  for (; power > 0; power -= LARGEST_POWER) {
    std::string divisor = "1" + std::string(power < LARGEST_POWER ? power : LARGEST_POWER, '0');
    text = infix ? text + "/" + divisor : "(/ " + text + " " + divisor + ")";
  }
  return text;
}

// (v_real (/ A B)) becomes (/ (v_real A) B): the program divides.
std::string value_advice(const Cell* form) {
  std::string advice = "let the program compute it from values that six decimals hold";
  const Cell* argument = is_cons(form) && is_cons(form->pair.tail) ? form->pair.tail->pair.head : nullptr;
  if (argument != nullptr && is_cons(argument) && is_symbol_named(argument->pair.head, "/") &&
      length(argument) == 3) {
    const Cell* divisor = third(argument);
    std::string by = is_integer(divisor) ? cell_text(divisor) : "(v_real " + cell_text(divisor) + ")";
    return advice + ": (/ (v_real " + cell_text(second(argument)) + ") " + by + ")";
  }
  return advice + ", e.g. (/ (v_real annuity) 12) for (v_real (/ annuity 12))";
}

std::string advice(RealSource source, double value, const Cell* where) {
  if (source == RealSource::value) return value_advice(where);
  bool formula = source == RealSource::formula;
  std::string whole = quotient(value, formula);
  return std::string("write it as a quotient of whole numbers") + (formula ? " in a (parse \"...\") formula" : "") +
         ", which the program works out in full" + (whole.empty() ? "" : ": " + whole);
}

bool has_place(const Cell* cell) { return cell->character != 0 && cell->file != nullptr; }

}  // namespace

bool loses_decimals(double value) {
  if (value == 0 || !std::isfinite(value)) return false;
  // A whole number of millionths is written as it is: most reals are.
  double millionths = value * 1e6;
  if (std::fabs(value) < 1e9 && millionths == std::nearbyint(millionths)) return false;
  return relative_off(value) > MOST_OFF;
}

bool note_real(DecimalLosses& losses, const Cell* real, RealSource source, const Cell* where,
               const RealOwner& owner) {
  if (!is_real(real) || !loses_decimals(real->real)) return false;
  Finding place = place_of(where);
  std::string key = place.file.empty() ? "?" + six_decimals(real->real)
                                       : place.file + ":" + std::to_string(place.line) + ":" +
                                             std::to_string(place.character);
  auto [at, fresh] = losses.at.emplace(key, losses.found.size());
  if (fresh) {
    losses.found.push_back(
        DecimalLoss{place, source, real->real, advice(source, real->real, where), owner.text, owner.policy > 0});
  }
  DecimalLoss& loss = losses.found[at->second];
  if (owner.policy > 0 && owner.policy != loss.last_policy) {
    loss.policies++;
    loss.last_policy = owner.policy;
  }
  return true;
}

int note_text(DecimalLosses& losses, const Cell* text, const Cell* where, const RealOwner& owner) {
  int losing = 0;
  for (; is_cons(text); text = text->pair.tail) losing += note_text(losses, text->pair.head, where, owner);
  bool lost = note_real(losses, text, RealSource::formula, is_real(text) && has_place(text) ? text : where, owner);
  return losing + (lost ? 1 : 0);
}

namespace {

const char* const SEXES[] = {"male", "female"};
const char* const FUNCTIONS_OF_AGE[] = {"alive->dead", "unmarried->married", "married->unmarried"};

// A basis formula as the engine writes a function of it.
void note_basis_text(DecimalLosses& losses, const Cell* entry, const std::string& name, const Cell* cdefs,
                     const Cell* defs, const Cell* environment, const Cell* accumulator) {
  if (entry == nullptr || is_nil(entry->pair.tail)) return;
  RealOwner owner{"the basis's " + name, 0};
  set_context(entry->pair.head, &owner.text, "writing into the calculation program", entry->pair.tail);
  const Cell* text = ctermToCtext(entry->pair.tail, cdefs, defs, environment, accumulator)->pair.head;
  note_text(losses, text, entry->pair.head, owner);
}

}  // namespace

void note_basis_texts(DecimalLosses& losses, const Cell* portfolio, const Cell* cdefs, const Cell* defs,
                      const Cell* names) {
  const Cell* basis = entry_of(portfolio, "basis");
  if (basis == nullptr) return;
  note_basis_text(losses, entry_of(basis->pair.tail, "yield_curve"), "\"yield_curve\"", cdefs, defs,
                  symbolize_keys(portfolio), names);
  const Cell* age = symbol("age");
  const Cell* by_age = acons(age, age, nil());
  const Cell* age_spouse = symbol("age_spouse");
  for (const char* sex : SEXES) {
    const Cell* entry = entry_of(basis->pair.tail, sex);
    if (entry == nullptr) continue;
    std::string name = std::string("\"") + sex + "\" \"";
    for (const char* key : FUNCTIONS_OF_AGE) {
      note_basis_text(losses, entry_of(entry->pair.tail, key), name + key + "\"", nil(), nil(), nil(), by_age);
    }
    note_basis_text(losses, entry_of(entry->pair.tail, "age_distribution"), name + "age_distribution\"", nil(),
                    nil(), nil(), acons(age_spouse, age_spouse, by_age));
  }
}

std::set<const Cell*> basis_formulas(const Cell* portfolio) {
  std::set<const Cell*> formulas;
  const Cell* basis = entry_of(portfolio, "basis");
  for (const Cell* e = basis != nullptr ? basis->pair.tail : nil(); is_cons(e); e = e->pair.tail) {
    if (!is_cons(e->pair.head)) continue;
    const Cell* value = e->pair.head->pair.tail;
    formulas.insert(value);
    for (const Cell* f = value; is_cons(f); f = f->pair.tail) {
      if (is_cons(f->pair.head) && is_string(f->pair.head->pair.head)) formulas.insert(f->pair.head->pair.tail);
    }
  }
  return formulas;
}

const Cell* cdef_names(const Cell* cdefs) {
  const Cell* names = nil();
  for (const Cell* c = cdefs; is_cons(c); c = c->pair.tail) {
    if (is_cons(c->pair.head)) names = acons(c->pair.head->pair.head, c->pair.head->pair.head, names);
  }
  return names;
}

void report_decimal_losses(const DecimalLosses& losses) {
  for (const DecimalLoss& loss : losses.found) {
    char off[32];
    snprintf(off, sizeof off, "%.1e", relative_off(loss.value));
    long more = loss.first_from_policy ? loss.policies - 1 : loss.policies;
    std::string others = more <= 0 ? "" : ", and " + std::to_string(more) + (loss.first_from_policy ? " more" : "") +
                                              (more == 1 ? " policy" : " policies");
    report_at(loss.place, Severity::warning,
              std::string("the calculation program gets this ") +
                  (loss.source == RealSource::value ? "value" : "constant") + " as " + six_decimals(loss.value) +
                  " (six decimals) for " + decimal_text(loss.value) + ", off by " + off + " of it (" + loss.first +
                  others + "); " + loss.advice);
  }
}
