#include "tools/run/reserve_chart.h"

#include <algorithm>
#include <cmath>

#include "tools/run/chart_style.h"

namespace {

constexpr double WIDTH = 960, TOP = 50, BAR = 26, GAP = 10;
constexpr double LEFT = 260, RIGHT = 860;

double finite_or_zero(double v) { return std::isfinite(v) ? v : 0; }

}  // namespace

std::string reserve_chart_svg(const std::vector<PairSeries>& pairs, const std::vector<FlowLabel>& labels) {
  double low = 0, high = 0;
  for (const PairSeries& pair : pairs) {
    low = std::min(low, finite_or_zero(pair.reserve));
    high = std::max(high, finite_or_zero(pair.reserve));
  }
  if (high - low <= 0) high = low + 1;
  double step = tick_step(high - low, 6);
  low = std::floor(low / step) * step;
  high = std::ceil(high / step) * step;
  auto x_of = [&](double v) { return LEFT + (RIGHT - LEFT) * (v - low) / (high - low); };
  double bottom = TOP + 10 + (BAR + GAP) * static_cast<double>(pairs.size());
  double height = bottom + 60;
  std::string svg = svg_format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" viewBox=\"0 0 %.0f %.0f\" "
      "font-family=\"sans-serif\" font-size=\"12\">\n",
      WIDTH, height, WIDTH, height);
  svg += "<title>Reserve per flow</title>\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  svg += svg_format("<text x=\"%.1f\" y=\"26\" font-size=\"16\" text-anchor=\"middle\">", WIDTH / 2) +
         "Reserve per flow: present value at the valuation date</text>\n<g class=\"x-axis\">\n";
  for (double v = low; v <= high + step / 2; v += step) {
    double x = x_of(v);
    svg += svg_format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#e0e0e0\"/>\n", x, TOP, x, bottom);
    svg += svg_format("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">", x, bottom + 18) + tick_label(v, step, std::max(std::fabs(low), std::fabs(high))) +
           "</text>\n";
  }
  svg += svg_format("<text class=\"axis-title\" x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">", (LEFT + RIGHT) / 2,
                    bottom + 40) +
         "reserve (currency units)</text>\n</g>\n";
  for (size_t i = 0; i < pairs.size(); i++) {
    const PairSeries& pair = pairs[i];
    double y = TOP + 10 + (BAR + GAP) * static_cast<double>(i);
    double value = finite_or_zero(pair.reserve);
    double x0 = x_of(std::min(0.0, value)), x1 = x_of(std::max(0.0, value));
    svg += "<g class=\"bar\" data-flow=\"" + std::to_string(pair.from) + "-" + std::to_string(pair.to) + "\">\n";
    svg += svg_format("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"end\">", LEFT - 10, y + BAR / 2 + 4) +
           xml_text(flow_name(pair, labels)) + "</text>\n";
    svg += svg_format("<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" fill=\"", x0, y,
                      std::max(x1 - x0, 1.0), BAR) +
           flow_colour(pair.from, pair.to) + "\"/>\n";
    std::string amount = amount_with_separators(pair.reserve);
    bool inside = x1 > RIGHT - 100;
    svg += svg_format("<text x=\"%.1f\" y=\"%.1f\"", inside ? x1 - 6 : x1 + 6, y + BAR / 2 + 4) +
           (inside ? " text-anchor=\"end\" fill=\"white\">" : ">") + amount + "</text>\n</g>\n";
  }
  double zero = x_of(0);
  svg += svg_format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"black\"/>\n", zero, TOP, zero,
                    bottom);
  return svg + "</svg>\n";
}
