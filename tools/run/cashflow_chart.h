// The monthly cashflows of every account pair as an SVG line chart: one
// line per pair in the pair's own colour, the months marked in years up to
// the last year with a flow, the value axis labelled with its unit. Flows
// too small to see beside the largest get a second panel with a scale of
// their own. Plain text, so it needs no library.
#pragma once

#include <string>
#include <vector>

#include "tools/run/result_records.h"
#include "tools/run/view_labels.h"

// `start` names month 0 (e.g. "2019-10"); empty when unknown.
std::string cashflow_chart_svg(const std::vector<PairSeries>& pairs,
                               const std::vector<FlowLabel>& labels, const std::string& start = "");

// A flow is small when its peak is below this share of the largest peak.
constexpr double SMALL_FLOW_SHARE = 0.1;

// The months shown: up to the end of the last year in which some pair has
// a flow, rounded up to whole five years; at least one year.
int shown_months(const std::vector<PairSeries>& pairs);
