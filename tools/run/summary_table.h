// The reserves per account pair as a text table for the terminal, with the
// view's label of each pair where the portfolio has one.
#pragma once

#include <string>
#include <vector>

#include "tools/run/result_records.h"
#include "tools/run/view_labels.h"

std::string summary_table(const std::vector<PairSeries>& pairs,
                          const std::vector<FlowLabel>& labels);
