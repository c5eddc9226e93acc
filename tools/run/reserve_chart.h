// The reserve of every account pair as an SVG bar chart: one bar per pair
// in the pair's own colour, with its name and its value.
#pragma once

#include <string>
#include <vector>

#include "tools/run/result_records.h"
#include "tools/run/view_labels.h"

std::string reserve_chart_svg(const std::vector<PairSeries>& pairs, const std::vector<FlowLabel>& labels);
