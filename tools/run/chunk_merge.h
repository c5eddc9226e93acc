// Adding up the chunks: cashflows month by month and reserves, per account
// pair. A pair that a chunk does not have counts 0 there. Chunks are added
// in chunk order, so that a run gives the same bits every time.
#pragma once

#include <string>

#include "tools/run/result_records.h"

void add_results(ResultStream& total, const ResultStream& part);

// A valued chunk's results kept in its folder as cashflows.csv and
// reserves.csv, in the form that reads back to the same doubles.
void write_chunk_results(const std::string& folder, const ResultStream& results);

// Reads them back; `chunk` names the chunk in the message when they are
// damaged, which ends the run.
ResultStream read_chunk_results(const std::string& folder, const std::string& chunk);
