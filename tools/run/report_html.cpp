#include "tools/run/report_html.h"

#include <cmath>
#include <cstdio>

#include "tools/run/cashflow_chart.h"
#include "tools/run/chart_style.h"
#include "tools/run/reserve_chart.h"

namespace {

const char* const STYLE =
    "body{font-family:sans-serif;margin:2em auto;max-width:980px;color:#222}"
    "table{border-collapse:collapse;margin:0.5em 0 1.5em}"
    "th,td{border-bottom:1px solid #ddd;padding:4px 10px;text-align:left;vertical-align:top}"
    "td.amount{text-align:right;font-variant-numeric:tabular-nums}"
    "code{font-size:90%}"
    ".swatch{display:inline-block;width:12px;height:12px;margin-right:6px}"
    "svg{max-width:100%;height:auto}";

std::string row(const std::string& name, const std::string& value) {
  return "<tr><th>" + xml_text(name) + "</th><td>" + value + "</td></tr>\n";
}

std::string facts_table(const RunFacts& facts) {
  std::string html = "<table id=\"facts\">\n";
  std::string date = calendar_month(facts.valuation_month);
  html += row("Valuation date", date.empty() ? "unknown" : date);
  html += row("Policies", facts.policies < 0 ? "unknown" : std::to_string(facts.policies));
  html += row("Valued in", std::to_string(facts.chunks) + (facts.chunks == 1 ? " talvon process" : " talvon processes"));
  for (const InputFile& input : facts.inputs) {
    html += row("Input: " + input.role, "<code>" + xml_text(input.path) + "</code><br>SHA-256 <code>" +
                                            input.sha256 + "</code>");
  }
  html += row("Discounting", xml_text(DISCOUNTING_RULE));
  double total = 0;
  std::string phases;
  for (const PhaseTime& phase : facts.phases) {
    char text[120];
    snprintf(text, sizeof text, "%s %.2f s", phase.name.c_str(), phase.seconds);
    phases += (phases.empty() ? "" : "; ") + xml_text(text);
    total += phase.seconds;
  }
  char sum[64];
  snprintf(sum, sizeof sum, " (%.2f s in all)", total);
  html += row("Phases", phases + sum);
  html += row("talvon", xml_text(facts.talvon_version) + ", started " + xml_text(facts.started) +
                            ", exit status " + std::to_string(facts.exit_status));
  return html + "</table>\n";
}

std::string reserve_table(const RunFacts& facts, const std::vector<PairSeries>& pairs) {
  std::string html = "<table id=\"reserves\">\n<tr><th>From</th><th>To</th><th>Flow</th><th>Reserve</th></tr>\n";
  for (const PairSeries& pair : pairs) {
    html += "<tr data-flow=\"" + std::to_string(pair.from) + "-" + std::to_string(pair.to) + "\"><td>" +
            std::to_string(pair.from) + "</td><td>" + std::to_string(pair.to) +
            "</td><td><span class=\"swatch\" style=\"background:" + flow_colour(pair.from, pair.to) + "\"></span>" +
            xml_text(label_of(facts.labels, pair.from, pair.to)) + "</td><td class=\"amount\">" +
            amount_with_separators(pair.reserve) + "</td></tr>\n";
  }
  return html + "</table>\n";
}

}  // namespace

std::string report_html(const RunFacts& facts, const std::vector<PairSeries>& pairs) {
  std::string portfolio = "portfolio";
  for (const InputFile& input : facts.inputs) {
    if (input.role == "portfolio") portfolio = input.path;
  }
  std::string html = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>Valuation of " +
                     xml_text(portfolio) + "</title>\n<style>" + STYLE + "</style>\n</head>\n<body>\n";
  html += "<h1>Valuation of <code>" + xml_text(portfolio) + "</code></h1>\n";
  html += "<h2>The run</h2>\n" + facts_table(facts);
  html += "<h2>Reserves</h2>\n<p>The present value at the valuation date of each flow's expected cashflows, "
          "in the currency units of the portfolio's amounts.</p>\n" +
          reserve_table(facts, pairs);
  html += "<figure id=\"reserve-chart\">\n" + reserve_chart_svg(pairs, facts.labels) + "</figure>\n";
  html += "<h2>Monthly cashflows</h2>\n<p>The expected, undiscounted cashflow of each flow month by month. "
          "Flows marked * are small beside the others: the second panel draws them on a scale of their "
          "own.</p>\n";
  html += "<figure id=\"cashflow-chart\">\n" +
          cashflow_chart_svg(pairs, facts.labels, calendar_month(facts.valuation_month)) + "</figure>\n";
  html += "<h2>Files</h2>\n<ul>\n<li><a href=\"cashflows.csv\">cashflows.csv</a>: every month of every flow</li>\n"
          "<li><a href=\"reserves.csv\">reserves.csv</a>: the reserve of every flow</li>\n"
          "<li><a href=\"run.json\">run.json</a>: this run's facts for programs</li>\n</ul>\n";
  return html + "</body>\n</html>\n";
}
