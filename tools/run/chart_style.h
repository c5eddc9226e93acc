// What the charts share: a flow's colour (fixed by its account pair, so a
// flow looks the same in every run), its name, round axis steps, readable
// tick texts and SVG text escaping.
#pragma once

#include <string>
#include <vector>

#include "tools/run/result_records.h"
#include "tools/run/view_labels.h"

std::string flow_colour(int from, int to);

// "Premiums (1 → 2)", or "1 → 2" when the view has no label for the pair.
std::string flow_name(const PairSeries& pair, const std::vector<FlowLabel>& labels);

// A round step (1, 2 or 5 times a power of ten) for about `count` axis
// marks over a range of `span`.
double tick_step(double span, int count);

// A tick value as a person reads it: 0, 250, 7.5 k, 50 M; the unit is the
// same along an axis whose largest tick is `largest`.
std::string tick_label(double value, double step, double largest);

// An amount with two decimals and thousands separated: -1,234,567.89.
std::string amount_with_separators(double value);

// Text with &, < and > (and quotes) written as XML entities.
std::string xml_text(const std::string& text);

// printf into a std::string, for the coordinates of SVG elements.
std::string svg_format(const char* pattern, double a, double b = 0, double c = 0, double d = 0);

// The largest absolute finite value of a series; 0 when it has none.
double peak_of(const std::vector<double>& values);
