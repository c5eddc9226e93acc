// The results as files a person or a spreadsheet reads: cashflows.csv
// (month,from,to,value: every month of every pair, month by month) and
// reserves.csv (from,to,value). Values are written in the shortest form
// that reads back to the same double.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "tools/run/result_records.h"

// The pairs ordered by from-account, then to-account.
std::vector<PairSeries> ordered_pairs(const std::vector<PairSeries>& pairs);

std::string number_text(double value);

void write_cashflows_csv(FILE* file, const std::vector<PairSeries>& pairs);
void write_reserves_csv(FILE* file, const std::vector<PairSeries>& pairs);

// Writes `text` to the path; a failure ends the run.
void write_text_file(const std::string& path, const std::string& text);

// The same through a writer that fills a stream.
void write_file_with(const std::string& path, void (*writer)(FILE*, const std::vector<PairSeries>&),
                     const std::vector<PairSeries>& pairs);
