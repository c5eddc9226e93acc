// The actuarial basis of a portfolio as C code of the calculation program:
// the yearly tables as functions of time in months, the intensities of each
// sex as functions of the age in months, a Gauss density, and the two-life
// collective mortality, computed on first use and cached. Written after the
// prologue and before main, in a fixed order.
#pragma once

#include "core/cell.h"

// The five tables of "basis" / "dfsa (Finanstilsynet)": dfsa_yield,
// dfsa_mortality_female, dfsa_mortality_improvement_female,
// dfsa_mortality_improvement_male, dfsa_mortality_male.
void emitBasisTables(const Cell* portfolio);

// NAME_array with the table's yearly values and the function NAME(t) that
// interpolates them linearly by month. `name` is a string cell.
void emitTable(const Cell* portfolio, const Cell* name);

// The collective-mortality caches, gauss, the eight functions of age of
// male then female, both compute functions and both cached accessors.
void emitBasisFunctions(const Cell* portfolio);

void emitGauss();

// double NAME(double age) returning the C text of `expression`; `name` is
// a symbol. The spouse form also takes age_spouse.
void emitAgeFunction(const Cell* name, const Cell* expression);
void emitAgeSpouseFunction(const Cell* name, const Cell* expression);

// The body of the compute function for an insured of sex `insured` and a
// spouse of sex `spouse` (the symbols male and female).
void emitCollectiveMortalityBody(const Cell* insured, const Cell* spouse);
