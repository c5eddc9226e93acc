// What a product definition reads from the policy it values: the
// variables that the script expressions under it look up in the record's
// environment (the product's keys, then its policy's, then the
// portfolio's), with the kind of value each needs, found by walking its
// expiry, its amount, the intensities and weights of the splits of its
// states, and the C-level definitions and value definitions that these
// use. The splits' inits are read only on the way to a policy's first
// state, as the valuation reads them.
#pragma once

#include <vector>

#include "core/cell.h"

enum class Kind {
  any,
  date,       // v_date, and the dates of date arithmetic
  span,       // v_span
  number,     // an operand of script arithmetic
  integer,    // date, span, years2span
  text,       // stringToSymbol
  real_term,  // v_real: a number or a C-level expression
  key_of,     // (aget BASE variable): a key that BASE has
};

struct Need {
  const Cell* variable;
  Kind kind;
  const Cell* base;    // for key_of: the expression of the association list
  const Cell* reader;  // the model's expression that reads it
  bool always;         // read whatever the conditions say
};

struct Reads {
  std::vector<Need> needs;
  std::vector<const Cell*> values;     // (v_date X), (v_span X), (v_real X) forms
  std::vector<const Cell*> constants;  // reals written in the C-level expressions the program gets
};

// `record` is a product record of the model; `cdefs` and `defs` as the
// model passes built them.
Reads product_reads(const Cell* record, const Cell* cdefs, const Cell* defs);

// The reads of one C-level expression: a coefficient of a linear
// combination.
Reads term_reads(const Cell* term, const Cell* cdefs, const Cell* defs);

// The needs of one script expression.
void script_reads(const Cell* expression, const Cell* defs, Reads& reads);
