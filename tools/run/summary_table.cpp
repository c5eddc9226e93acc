#include "tools/run/summary_table.h"

#include <cstdio>

static std::string padded(const std::string& text, size_t width, bool right) {
  if (text.size() >= width) return text;
  std::string blanks(width - text.size(), ' ');
  return right ? blanks + text : text + blanks;
}

static std::string amount_text(double value) {
  char text[64];
  snprintf(text, sizeof text, "%.2f", value);
  return text;
}

std::string summary_table(const std::vector<PairSeries>& pairs,
                          const std::vector<FlowLabel>& labels) {
  if (pairs.empty()) return "No account pair has a cashflow.\n";
  std::vector<std::string> flows, amounts;
  size_t flow_width = 4, amount_width = 7;  // "flow", "reserve"
  for (const PairSeries& pair : pairs) {
    flows.push_back(label_of(labels, pair.from, pair.to));
    amounts.push_back(amount_text(pair.reserve));
    flow_width = std::max(flow_width, flows.back().size());
    amount_width = std::max(amount_width, amounts.back().size());
  }
  std::string table = "from  to  " + padded("flow", flow_width, false) + "  " +
                      padded("reserve", amount_width, true) + "\n";
  for (size_t i = 0; i < pairs.size(); i++) {
    table += padded(std::to_string(pairs[i].from), 4, true) + padded(std::to_string(pairs[i].to), 4, true) +
             "  " + padded(flows[i], flow_width, false) + "  " + padded(amounts[i], amount_width, true) +
             "\n";
  }
  return table;
}
