// The facts of a portfolio that the result files show: its valuation date,
// its number of policies and its view, read from the model's and the
// portfolio's plain text as talvon reads them.
#pragma once

#include <string>

#include "tools/run/run_facts.h"

// Fills valuation_month, policies and labels. The texts are written under
// `scratch` (a private folder) for the reader. Call only for scripts that
// talvon has valued: a fault in them ends the run as it would in talvon.
void read_portfolio_facts(const std::string& model, const std::string& portfolio,
                          const std::string& scratch, RunFacts& facts);
