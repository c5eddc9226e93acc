// The checks of a portfolio script, one script at a time: the whole
// portfolio, or one chunk of its policies with the rest of the script
// kept. What concerns the portfolio as a whole (its own keys, the basis,
// the view, the model's definitions) is checked with the first script;
// what needs every policy (the view's flows, at least one policy) when
// all have been seen.
#pragma once

#include <string>
#include <vector>

#include "core/cell.h"
#include "tools/run/check_findings.h"
#include "tools/run/check_keys.h"
#include "tools/run/check_products.h"

struct ViewFlow {
  int from;
  int to;
  std::string label;
  Finding place;
};

struct PortfolioCheck {
  KeyCatalogue catalogue;
  ModelView model;
  long first_policy = 1;  // the number of the script's first policy
  long policies = 0;      // seen so far
  bool first = true;
  bool valued = true;     // the task values the portfolio
  std::vector<ViewFlow> view;
  Finding policies_place;
};

// `portfolio` holds the statements of the portfolio script; the model's
// defs, cdefs and products, built from all three scripts, are in
// `check.model`.
void check_portfolio_script(PortfolioCheck& check, const Cell* portfolio);

// The checks that need every policy.
void finish_portfolio_checks(PortfolioCheck& check);

// Warns of a name defined twice in one script, at both places.
void check_definitions(const Cell* statements);
