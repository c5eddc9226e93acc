// What a finished run leaves the user: the result files, the chart and the
// reserve table of a valuation, or the files that a generate task wrote.
#pragma once

#include <string>
#include <vector>

#include "tools/run/result_records.h"
#include "tools/run/run_facts.h"

// Writes cashflows.csv, reserves.csv, cashflows.svg, reserves.svg,
// report.html and run.json into the output folder and prints the reserve
// table, labelled with the portfolio's view. `pairs` are the summed results
// of the whole portfolio, `facts` what the caller knows of the run.
void write_results(const std::string& output, const RunFacts& facts, const std::vector<PairSeries>& pairs);

// Copies the files that a generate task wrote into the working directory,
// all but the run's own scripts (`own`), into the output folder. Gives
// their number.
int keep_generated_files(const std::string& work, const std::string& output,
                         const std::vector<std::string>& own);
