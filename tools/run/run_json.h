// run.json: what a run was, for a person and for a program: talvon's
// version, every input with its SHA-256, the valuation date, the size of
// the portfolio, the discounting rule, the time of each phase, the exit
// status and the reserves.
#pragma once

#include <string>
#include <vector>

#include "tools/run/result_records.h"
#include "tools/run/run_facts.h"

std::string run_json(const RunFacts& facts, const std::vector<PairSeries>& pairs);
