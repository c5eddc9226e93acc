// report.html: the one page a person opens after a run: the run's facts,
// the reserve of every flow as a table and a bar chart, and the monthly
// cashflows as a chart, all in one file with the charts inline.
#pragma once

#include <string>
#include <vector>

#include "tools/run/result_records.h"
#include "tools/run/run_facts.h"

std::string report_html(const RunFacts& facts, const std::vector<PairSeries>& pairs);
