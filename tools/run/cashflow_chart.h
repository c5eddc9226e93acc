// The monthly cashflows of every account pair as an SVG line chart: axes,
// the months marked in years, one coloured line per pair and a legend with
// the view's labels. Plain text, so it needs no library.
#pragma once

#include <string>
#include <vector>

#include "tools/run/result_records.h"
#include "tools/run/view_labels.h"

std::string cashflow_chart_svg(const std::vector<PairSeries>& pairs,
                               const std::vector<FlowLabel>& labels);

// A round step for about `count` axis marks over a range of `span`.
double tick_step(double span, int count);

// Text with &, < and > (and quotes) written as XML entities.
std::string xml_text(const std::string& text);
