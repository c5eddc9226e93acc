// The checks of one product of one policy against the model: the product
// it names, its accounts, and every key that its definition reads, present
// and of the kind it needs, evaluated as the valuation will evaluate it.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>

#include "core/cell.h"
#include "tools/run/check_decimals.h"
#include "tools/run/check_reads.h"

// The model as the passes built it, and what the whole portfolio has
// shown so far.
struct ModelView {
  const Cell* defs;
  const Cell* cdefs;
  const Cell* products;
  std::set<std::pair<int, int>> used_pairs;  // accounts that some product books
  bool surrender_checked = false;
  std::set<const Cell*> reported;  // entries already found wrong, in this script
  std::map<const Cell*, Reads> reads;  // of each product record and coefficient, in this script
  const Cell* cdef_names = nullptr;    // in this script, see cdef_names()
  DecimalLosses decimals;
  std::set<const Cell*> formulas_written;  // for the policy being checked: its products share them
  std::set<const Cell*> basis_formulas;    // of this script's basis, see basis_formulas()
  std::set<const Cell*> whole_formulas;    // of those, the ones whose C text loses nothing
};

// One product entry in its place: the three association lists that make
// its environment, innermost first, and its place for messages.
struct ProductAt {
  const Cell* product;
  const Cell* policy;
  const Cell* portfolio;
  const Cell* where;
  std::string owner;  // "policy 3 (line 57), product 2"
  long number;        // of its policy in the user's file
};

void check_product(ModelView& model, const ProductAt& at);
