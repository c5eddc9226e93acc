#include "tools/run/run_outputs.h"

#include <cmath>
#include <cstdio>
#include <filesystem>

#include "core/reader.h"
#include "driver/diagnostics.h"
#include "tools/run/cashflow_chart.h"
#include "tools/run/result_files.h"
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

void write_results(const std::string& output, const ResultStream& stream, const std::string& labels_from) {
  std::vector<PairSeries> pairs = ordered_pairs(stream.pairs);
  for (const PairSeries& pair : pairs) {
    if (!std::isfinite(pair.reserve)) {
      fprintf(stderr, "talvon-run: warning: the reserve of accounts %d -> %d is not a number\n",
              pair.from, pair.to);
    }
  }
  std::vector<FlowLabel> labels = find_view_labels(read_source(labels_from.c_str()));
  std::error_code error;
  std::filesystem::create_directories(output, error);
  if (error) die(("talvon-run: cannot make " + output + ": " + error.message()).c_str());
  std::string cashflows = output + "/cashflows.csv";
  std::string reserves = output + "/reserves.csv";
  std::string chart = output + "/cashflows.svg";
  write_file_with(cashflows, write_cashflows_csv, pairs);
  write_file_with(reserves, write_reserves_csv, pairs);
  write_text_file(chart, cashflow_chart_svg(pairs, labels));
  fputs(summary_table(pairs, labels).c_str(), stdout);
  printf("\nReserves:           %s\nMonthly cashflows:  %s\nChart:              %s\n", reserves.c_str(),
         cashflows.c_str(), chart.c_str());
  fflush(stdout);
}
