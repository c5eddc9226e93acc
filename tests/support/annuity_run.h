// A small valuation for tests that run talvon for real: one annuity of 1 a
// month while alive on accounts 1 -> 2, in a run directory as the front end
// lays it out (scrambled scripts in work/, bin/ beside it).
#pragma once

#include <string>
#include <vector>

#include "support/process.h"

extern const std::string ANNUITY_MODEL;
extern const std::string ANNUITY_PORTFOLIO;

struct AnnuityRun {
  AnnuityRun(const std::string& model = ANNUITY_MODEL,
             const std::string& portfolio = ANNUITY_PORTFOLIO,
             const std::string& run = "(define (task) (cashflow (portfolio)))\n");
  // talvon exec m.bin p.bin r.bin in work/.
  Outcome exec() const;
  // talvon server with the given progress pipe and result connection.
  Outcome server(const std::string& pipe, const std::string& connection) const;
  // The names in `folder` of the run directory, without dot files.
  std::vector<std::string> files(const std::string& folder) const;
  TempDir dir;
};
