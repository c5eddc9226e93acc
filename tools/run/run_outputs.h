// What a finished run leaves the user: the result files, the chart and the
// reserve table of a valuation, or the files that a generate task wrote.
#pragma once

#include <string>
#include <vector>

#include "tools/run/result_records.h"

// Writes cashflows.csv, reserves.csv and cashflows.svg into the output
// folder and prints the reserve table, labelled with the view of the
// portfolio script `labels_from`.
void write_results(const std::string& output, const ResultStream& stream, const std::string& labels_from);

// Copies the files that a generate task wrote into the working directory,
// all but the run's own scripts (`own`), into the output folder. Gives
// their number.
int keep_generated_files(const std::string& work, const std::string& output,
                         const std::vector<std::string>& own);
