#include "tools/run/run_outputs.h"

#include <cmath>
#include <cstdio>
#include <filesystem>

#include "driver/diagnostics.h"
#include "tools/run/cashflow_chart.h"
#include "tools/run/output_folder.h"
#include "tools/run/report_html.h"
#include "tools/run/reserve_chart.h"
#include "tools/run/result_files.h"
#include "tools/run/run_json.h"
#include "tools/run/summary_table.h"
#include "tools/run/view_labels.h"

int keep_generated_files(const std::string& work, const std::string& output,
                         const std::vector<std::string>& own) {
  namespace fs = std::filesystem;
  int count = 0;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(work)) {
    if (entry.is_symlink() || !entry.is_regular_file()) continue;
    std::string relative = fs::relative(entry.path(), work).string();
    bool ours = false;
    for (const std::string& name : own) ours = ours || relative == name;
    if (ours) continue;
    fs::path target = fs::path(output) / relative;
    std::error_code error;
    fs::create_directories(target.parent_path(), error);
    fs::copy_file(entry.path(), target, fs::copy_options::overwrite_existing, error);
    if (error) die(("talvon-run: cannot write " + target.string() + ": " + error.message()).c_str());
    count++;
  }
  return count;
}

void write_results(const std::string& output, const RunFacts& facts, const std::vector<PairSeries>& summed) {
  std::vector<PairSeries> pairs = ordered_pairs(summed);
  for (const PairSeries& pair : pairs) {
    if (!std::isfinite(pair.reserve)) {
      fprintf(stderr, "talvon-run: warning: the reserve of accounts %d -> %d is not a number\n",
              pair.from, pair.to);
    }
  }
  std::error_code error;
  std::filesystem::create_directories(output, error);
  if (error) die(("talvon-run: cannot make " + output + ": " + error.message()).c_str());
  std::string report = output + "/report.html";
  std::vector<std::pair<std::string, std::string>> files = {
      {output + "/cashflows.csv", cashflows_csv(pairs, facts)},
      {output + "/reserves.csv", reserves_csv(pairs, facts)},
      {output + "/cashflows.svg",
       cashflow_chart_svg(pairs, facts.labels, calendar_month(facts.valuation_month))},
      {output + "/reserves.svg", reserve_chart_svg(pairs, facts.labels)},
      {output + "/run.json", run_json(facts, pairs)},
      {report, report_html(facts, pairs)}};
  // Under temporary names until all are written: a run that fails on the
  // way leaves no file that looks like a result.
  std::vector<std::string> paths;
  for (const auto& [path, text] : files) {
    note_partial(path);
    write_text_file(partial_name(path), text);
    paths.push_back(path);
  }
  publish_partials(paths);
  fputs(summary_table(pairs, facts.labels).c_str(), stdout);
  printf("\nReport:  %s\nFiles:   cashflows.csv reserves.csv cashflows.svg reserves.svg run.json in %s\n",
         report.c_str(), output.c_str());
  fflush(stdout);
}
