// The results as files a person or a spreadsheet reads:
//   cashflows.csv  month,date,from,to,flow,value: every month of every pair,
//                  month by month; date is the calendar month (YYYY-MM)
//   reserves.csv   from,to,flow,value
// flow is the view's label of the pair. Values are written in the shortest
// form that reads back to the same double.
#pragma once

#include <string>
#include <vector>

#include "tools/run/result_records.h"
#include "tools/run/run_facts.h"

// The pairs ordered by from-account, then to-account.
std::vector<PairSeries> ordered_pairs(const std::vector<PairSeries>& pairs);

std::string number_text(double value);

// A CSV field, quoted when it holds a comma, a quote or a line end.
std::string csv_field(const std::string& text);

std::string cashflows_csv(const std::vector<PairSeries>& pairs, const RunFacts& facts);
std::string reserves_csv(const std::vector<PairSeries>& pairs, const RunFacts& facts);

// Writes `text` to the path; a failure ends the run.
void write_text_file(const std::string& path, const std::string& text);
