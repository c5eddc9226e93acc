#include "tools/run/cashflow_chart.h"

#include <algorithm>
#include <cmath>

#include "tools/run/chart_style.h"

namespace {

constexpr double WIDTH = 960, PANEL_HEIGHT = 330, TOP = 50;
constexpr double LEFT = 100, RIGHT = 690, PLOT_HEIGHT = 250;

struct Panel {
  double top;      // of the plot area
  double low, high, step;
  int months;      // shown
};

double x_of(const Panel& panel, double month) { return LEFT + (RIGHT - LEFT) * month / panel.months; }

double y_of(const Panel& panel, double value) {
  return panel.top + PLOT_HEIGHT - PLOT_HEIGHT * (value - panel.low) / (panel.high - panel.low);
}

Panel panel_for(const std::vector<const PairSeries*>& series, double top, int months) {
  double low = 0, high = 0;
  for (const PairSeries* pair : series) {
    for (size_t t = 0; t < pair->months.size() && t < static_cast<size_t>(months); t++) {
      double v = pair->months[t];
      if (!std::isfinite(v)) continue;
      low = std::min(low, v);
      high = std::max(high, v);
    }
  }
  if (high - low <= 0) high = low + 1;
  double step = tick_step(high - low, 5);
  return Panel{top, std::floor(low / step) * step, std::ceil(high / step) * step, step, months};
}

std::string line(double x1, double y1, double x2, double y2, const char* stroke) {
  return svg_format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"", x1, y1, x2, y2) + stroke +
         "\"/>\n";
}

std::string axes(const Panel& panel, const std::string& title, const std::string& start) {
  double bottom = panel.top + PLOT_HEIGHT;
  std::string svg = svg_format("<text x=\"%.1f\" y=\"%.1f\" font-size=\"14\" font-weight=\"bold\">", LEFT,
                               panel.top - 10) +
                    xml_text(title) + "</text>\n";
  int years = panel.months / 12;
  int year_step = static_cast<int>(std::max(1.0, tick_step(years, 8)));
  svg += "<g class=\"x-axis\">\n";
  for (int year = 0; year <= years; year += year_step) {
    double x = x_of(panel, year * 12);
    svg += line(x, panel.top, x, bottom, "#e0e0e0");
    svg += svg_format("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">", x, bottom + 18) +
           std::to_string(year) + "</text>\n";
  }
  std::string x_title = "years after the valuation date";
  if (!start.empty()) x_title += " (month 0 is " + start + ")";
  svg += svg_format("<text class=\"axis-title\" x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">", (LEFT + RIGHT) / 2,
                    bottom + 38) +
         xml_text(x_title) + "</text>\n</g>\n<g class=\"y-axis\">\n";
  for (double v = panel.low; v <= panel.high + panel.step / 2; v += panel.step) {
    double y = y_of(panel, v);
    svg += line(LEFT, y, RIGHT, y, "#e0e0e0");
    svg += svg_format("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"end\">", LEFT - 8, y + 4) +
           tick_label(v, panel.step, std::max(std::fabs(panel.low), std::fabs(panel.high))) + "</text>\n";
  }
  double middle = panel.top + PLOT_HEIGHT / 2;
  svg += svg_format("<text class=\"axis-title\" x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\" "
                    "transform=\"rotate(-90 %.1f %.1f)\">",
                    LEFT - 70, middle, LEFT - 70, middle) +
         "expected cashflow per month (currency units)</text>\n</g>\n";
  svg += line(LEFT, y_of(panel, 0), RIGHT, y_of(panel, 0), "black");
  svg += line(LEFT, panel.top, LEFT, bottom, "black");
  return svg;
}

std::string series_line(const PairSeries& pair, const Panel& panel, const std::vector<FlowLabel>& labels) {
  std::string svg = "<polyline class=\"flow\" data-flow=\"" + std::to_string(pair.from) + "-" +
                    std::to_string(pair.to) + "\" fill=\"none\" stroke-width=\"1.5\" stroke=\"" +
                    flow_colour(pair.from, pair.to) + "\" points=\"";
  size_t end = std::min(pair.months.size(), static_cast<size_t>(panel.months) + 1);
  for (size_t t = 0; t < end; t++) {
    double v = pair.months[t];
    if (!std::isfinite(v)) v = 0;
    svg += svg_format("%.1f,%.1f ", x_of(panel, static_cast<double>(t)), y_of(panel, v));
  }
  if (end > 0) svg.pop_back();
  return svg + "\"><title>" + xml_text(flow_name(pair, labels)) + "</title></polyline>\n";
}

std::string legend(const std::vector<PairSeries>& pairs, const std::vector<FlowLabel>& labels,
                   const std::vector<bool>& small) {
  std::string svg = "<g class=\"legend\">\n";
  for (size_t i = 0; i < pairs.size(); i++) {
    double y = TOP + 10 + 22 * static_cast<double>(i);
    std::string colour = flow_colour(pairs[i].from, pairs[i].to);
    svg += svg_format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke-width=\"3\" stroke=\"", RIGHT + 20,
                      y, RIGHT + 44, y) +
           colour + "\"/>\n";
    std::string name = flow_name(pairs[i], labels);
    if (small[i]) name += " *";
    svg += svg_format("<text x=\"%.1f\" y=\"%.1f\">", RIGHT + 52, y + 4) + xml_text(name) + "</text>\n";
  }
  return svg + "</g>\n";
}

}  // namespace

int shown_months(const std::vector<PairSeries>& pairs) {
  double largest = 0;
  for (const PairSeries& pair : pairs) largest = std::max(largest, peak_of(pair.months));
  int last = 0;
  for (const PairSeries& pair : pairs) {
    for (size_t t = 0; t < pair.months.size(); t++) {
      double v = pair.months[t];
      // A flow a billion times below the largest is not drawn apart from 0.
      if (std::isfinite(v) && std::fabs(v) > largest * 1e-9) last = std::max(last, static_cast<int>(t));
    }
  }
  int years = last / 12 + 1;
  years = (years + 4) / 5 * 5;
  return std::min(MONTH_LIMIT, years * 12);
}

std::string cashflow_chart_svg(const std::vector<PairSeries>& pairs, const std::vector<FlowLabel>& labels,
                               const std::string& start) {
  double largest = 0;
  for (const PairSeries& pair : pairs) largest = std::max(largest, peak_of(pair.months));
  std::vector<const PairSeries*> large_series, small_series;
  std::vector<bool> small;
  for (const PairSeries& pair : pairs) {
    double peak = peak_of(pair.months);
    small.push_back(peak > 0 && peak < largest * SMALL_FLOW_SHARE);
    (small.back() ? small_series : large_series).push_back(&pair);
  }
  int months = shown_months(pairs);
  double height = TOP + PANEL_HEIGHT * (small_series.empty() ? 1 : 2);
  std::string svg = svg_format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" viewBox=\"0 0 %.0f %.0f\" "
      "font-family=\"sans-serif\" font-size=\"12\">\n",
      WIDTH, height, WIDTH, height);
  svg += "<title>Expected monthly cashflows per flow</title>\n";
  svg += "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  svg += svg_format("<text x=\"%.1f\" y=\"26\" font-size=\"16\" text-anchor=\"middle\">", WIDTH / 2) +
         "Expected monthly cashflows per flow</text>\n";
  Panel panel = panel_for(large_series, TOP + 20, months);
  svg += "<g class=\"panel\" data-panel=\"all\">\n" + axes(panel, "Flows", start);
  for (const PairSeries* pair : large_series) svg += series_line(*pair, panel, labels);
  svg += "</g>\n";
  if (!small_series.empty()) {
    Panel lower = panel_for(small_series, TOP + 20 + PANEL_HEIGHT, months);
    svg += "<g class=\"panel\" data-panel=\"small\">\n" +
           axes(lower, "* Small flows, on a scale of their own", start);
    for (const PairSeries* pair : small_series) svg += series_line(*pair, lower, labels);
    svg += "</g>\n";
  }
  return svg + legend(pairs, labels, small) + "</svg>\n";
}
