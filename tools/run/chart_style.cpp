#include "tools/run/chart_style.h"

#include <cmath>
#include <cstdio>

// Ten colours that stay apart on white and for most colour-blind readers.
static const char* const PALETTE[] = {"#1f77b4", "#d62728", "#2ca02c", "#7f7f7f", "#bcbd22",
                                      "#9467bd", "#8c564b", "#17becf", "#e377c2", "#ff7f0e"};

// The usual pairs 1→2, 2→1 and 2→3 ... 2→6 all get colours of their own.
std::string flow_colour(int from, int to) {
  int index = ((to + 3 * from) % 10 + 10) % 10;
  return PALETTE[index];
}

std::string flow_name(const PairSeries& pair, const std::vector<FlowLabel>& labels) {
  std::string accounts = std::to_string(pair.from) + " \xe2\x86\x92 " + std::to_string(pair.to);
  std::string label = label_of(labels, pair.from, pair.to);
  return label.empty() ? accounts : label + " (" + accounts + ")";
}

double tick_step(double span, int count) {
  double raw = span / count;
  double power = std::pow(10.0, std::floor(std::log10(raw)));
  for (double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= raw) return factor * power;
  }
  return 10 * power;
}

std::string tick_label(double value, double step, double largest) {
  if (std::fabs(value) < step / 1e6) return "0";
  // One unit for the whole axis, chosen by its largest tick.
  struct Unit {
    double size;
    const char* suffix;
  } units[] = {{1e9, " G"}, {1e6, " M"}, {1e4, " k"}, {1, ""}};
  double size = 1;
  const char* suffix = "";
  for (const Unit& unit : units) {
    if (std::fabs(largest) < unit.size) continue;
    size = unit.size == 1e4 ? 1e3 : unit.size;
    suffix = unit.suffix;
    break;
  }
  double scaled_step = step / size;
  int decimals = 0;
  while (decimals < 6 && std::fabs(scaled_step * std::pow(10, decimals) -
                                   std::round(scaled_step * std::pow(10, decimals))) > 1e-6) {
    decimals++;
  }
  char text[64];
  snprintf(text, sizeof text, "%.*f%s", decimals, value / size, suffix);
  return text;
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

std::string svg_format(const char* pattern, double a, double b, double c, double d) {
  char text[256];
  snprintf(text, sizeof text, pattern, a, b, c, d);
  return text;
}

double peak_of(const std::vector<double>& values) {
  double peak = 0;
  for (double v : values) {
    if (std::isfinite(v)) peak = std::fmax(peak, std::fabs(v));
  }
  return peak;
}

std::string amount_with_separators(double value) {
  if (!std::isfinite(value)) return "not a number";
  char text[64];
  snprintf(text, sizeof text, "%.2f", std::fabs(value));
  std::string digits = text;
  size_t point = digits.find('.');
  std::string whole;
  for (size_t i = 0; i < point; i++) {
    if (i > 0 && (point - i) % 3 == 0) whole += ',';
    whole += digits[i];
  }
  bool negative = value < 0 && std::round(value * 100) != 0;
  return (negative ? "-" : "") + whole + digits.substr(point);
}
