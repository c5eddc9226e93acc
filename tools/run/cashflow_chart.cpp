#include "tools/run/cashflow_chart.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr double WIDTH = 960, HEIGHT = 540;
constexpr double LEFT = 100, RIGHT = 730, TOP = 50, BOTTOM = 480;
constexpr int MONTHS_PER_TICK = 120;  // ten years

const char* const COLOURS[] = {"#1f77b4", "#d62728", "#2ca02c", "#ff7f0e", "#9467bd",
                               "#8c564b", "#e377c2", "#7f7f7f", "#bcbd22", "#17becf"};

struct Scale {
  double low, high;
};

double x_of(double month) { return LEFT + (RIGHT - LEFT) * month / MONTH_LIMIT; }

double y_of(const Scale& scale, double value) {
  return BOTTOM - (BOTTOM - TOP) * (value - scale.low) / (scale.high - scale.low);
}

// The values' range with 0 in it, widened to whole ticks.
Scale value_scale(const std::vector<PairSeries>& pairs, double& step) {
  double low = 0, high = 0;
  for (const PairSeries& pair : pairs) {
    for (double v : pair.months) {
      if (!std::isfinite(v)) continue;
      low = std::min(low, v);
      high = std::max(high, v);
    }
  }
  if (high - low <= 0) high = low + 1;
  step = tick_step(high - low, 6);
  return Scale{std::floor(low / step) * step, std::ceil(high / step) * step};
}

std::string format(const char* pattern, double a, double b = 0, double c = 0, double d = 0) {
  char text[200];
  snprintf(text, sizeof text, pattern, a, b, c, d);
  return text;
}

std::string tick_label(double value, double step) {
  if (std::fabs(value) < step / 1e6) value = 0;
  char text[64];
  if (step >= 1) {
    snprintf(text, sizeof text, "%.0f", value);
  } else {
    snprintf(text, sizeof text, "%g", value);
  }
  return text;
}

std::string axes(const Scale& scale, double step) {
  std::string svg;
  for (int month = 0; month <= MONTH_LIMIT; month += MONTHS_PER_TICK) {
    double x = x_of(month);
    svg += format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#e0e0e0\"/>\n", x, TOP, x, BOTTOM);
    svg += format("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">", x, BOTTOM + 20) +
           std::to_string(month / 12) + "</text>\n";
  }
  for (double v = scale.low; v <= scale.high + step / 2; v += step) {
    double y = y_of(scale, v);
    svg += format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#e0e0e0\"/>\n", LEFT, y, RIGHT, y);
    svg += format("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"end\">", LEFT - 8, y + 4) +
           tick_label(v, step) + "</text>\n";
  }
  double zero = y_of(scale, 0);
  svg += format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"black\"/>\n", LEFT, zero, RIGHT, zero);
  svg += format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"black\"/>\n", LEFT, TOP, LEFT, BOTTOM);
  svg += format("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">years from the valuation date</text>\n",
                (LEFT + RIGHT) / 2, BOTTOM + 42);
  return svg;
}

std::string line_of(const PairSeries& pair, const Scale& scale, const char* colour) {
  std::string svg = std::string("<polyline fill=\"none\" stroke-width=\"1.5\" stroke=\"") + colour +
                    "\" points=\"";
  for (size_t t = 0; t < pair.months.size(); t++) {
    double v = pair.months[t];
    if (!std::isfinite(v)) v = 0;
    svg += format("%.1f,%.1f ", x_of(static_cast<double>(t)), y_of(scale, v));
  }
  if (!pair.months.empty()) svg.pop_back();
  return svg + "\"/>\n";
}

std::string legend_entry(const PairSeries& pair, const std::vector<FlowLabel>& labels, size_t i,
                         const char* colour) {
  double y = TOP + 10 + 22 * static_cast<double>(i);
  std::string name = std::to_string(pair.from) + " \xe2\x86\x92 " + std::to_string(pair.to);
  std::string label = label_of(labels, pair.from, pair.to);
  if (!label.empty()) name += "  " + label;
  return format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke-width=\"3\" stroke=\"", RIGHT + 20, y,
                RIGHT + 44, y) +
         colour + "\"/>\n" + format("<text x=\"%.1f\" y=\"%.1f\">", RIGHT + 52, y + 4) + xml_text(name) +
         "</text>\n";
}

}  // namespace

double tick_step(double span, int count) {
  double raw = span / count;
  double power = std::pow(10.0, std::floor(std::log10(raw)));
  for (double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= raw) return factor * power;
  }
  return 10 * power;
}

std::string xml_text(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string cashflow_chart_svg(const std::vector<PairSeries>& pairs,
                               const std::vector<FlowLabel>& labels) {
  double step = 1;
  Scale scale = value_scale(pairs, step);
  std::string svg = format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" viewBox=\"0 0 %.0f %.0f\" "
      "font-family=\"sans-serif\" font-size=\"12\">\n",
      WIDTH, HEIGHT, WIDTH, HEIGHT);
  svg += "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  svg += format("<text x=\"%.1f\" y=\"28\" font-size=\"16\" text-anchor=\"middle\">", (LEFT + RIGHT) / 2) +
         "Expected monthly cashflows per account pair</text>\n";
  svg += axes(scale, step);
  size_t colours = sizeof COLOURS / sizeof COLOURS[0];
  for (size_t i = 0; i < pairs.size(); i++) {
    svg += line_of(pairs[i], scale, COLOURS[i % colours]);
    svg += legend_entry(pairs[i], labels, i, COLOURS[i % colours]);
  }
  return svg + "</svg>\n";
}
