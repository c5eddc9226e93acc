// The reals that the calculation program gets as text: talvon writes each
// real it knows with six decimals ("%f"), so a value or constant that
// loses more than a relative 1e-7 of itself there is warned of, once per
// place in the user's scripts, naming the first policy that meets it and
// counting the others.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "core/cell.h"
#include "tools/run/check_findings.h"

// Where a real comes from, which decides what the user can do about it.
enum class RealSource {
  value,    // the value of a (v_real X) form, worked out for the policy
  formula,  // a constant of a formula that a script gives as a value, (parse "...")
  model,    // a constant written in a C-level expression of the model
};

struct DecimalLoss {
  Finding place;
  RealSource source;
  double value;
  std::string advice;
  std::string first;  // the first policy and product that meets it, or the basis entry
  bool first_from_policy = false;
  long policies = 0;  // that meet it
  long last_policy = 0;
};

struct DecimalLosses {
  std::vector<DecimalLoss> found;  // in the order first met
  std::map<std::string, size_t> at;  // a place as FILE:LINE:CHARACTER to its index in `found`
};

// The user's owner of a real: "policy 3 (line 57), product 2 "a01_009"" and
// the policy's number, or the basis entry and 0.
struct RealOwner {
  std::string text;
  long policy;
};

// Whether the program's six decimals of `value` are more than a relative
// 1e-7 off; never for zero or a value that is not finite.
bool loses_decimals(double value);

// A real the program gets: `real` a number cell, found at `where`; for a
// value, `where` is its (v_real X) form. Whether it loses digits.
bool note_real(DecimalLosses& losses, const Cell* real, RealSource source, const Cell* where,
               const RealOwner& owner);

// Every real of a C text as the engine builds it: each at its own place
// in the user's text, else at `where`. Gives the number of those that
// lose digits.
int note_text(DecimalLosses& losses, const Cell* text, const Cell* where, const RealOwner& owner);

// The texts of the basis that the program gets apart from any product:
// the yield curve and the functions of age of each sex. `names` binds
// every C-level definition to itself, so that only the basis's own text is
// built.
void note_basis_texts(DecimalLosses& losses, const Cell* portfolio, const Cell* cdefs, const Cell* defs,
                      const Cell* names);

// The accumulator of a C text in which every C-level definition of `cdefs`
// is already a variable: a text built with it is an expression's own.
const Cell* cdef_names(const Cell* cdefs);

// The values of the basis of a portfolio and of its association lists:
// the formulas that products read, made once for all its policies.
std::set<const Cell*> basis_formulas(const Cell* portfolio);

// One warning per place.
void report_decimal_losses(const DecimalLosses& losses);
