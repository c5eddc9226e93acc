#include "tools/run/run_outputs.h"

#include <cmath>
#include <cstdio>
#include <filesystem>

#include "core/reader.h"
#include "driver/diagnostics.h"
#include "tools/run/cashflow_chart.h"
#include "tools/run/output_folder.h"
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

void write_results(const RunOptions& options, const ResultStream& stream) {
  std::vector<PairSeries> pairs = ordered_pairs(stream.pairs);
  for (const PairSeries& pair : pairs) {
    if (!std::isfinite(pair.reserve)) {
      fprintf(stderr, "talvon-run: warning: the reserve of accounts %d -> %d is not a number\n",
              pair.from, pair.to);
    }
  }
  std::vector<FlowLabel> labels = find_view_labels(read_source(options.portfolio.c_str()));
  std::error_code error;
  std::filesystem::create_directories(options.output, error);
  if (error) die(("talvon-run: cannot make " + options.output + ": " + error.message()).c_str());
  std::string cashflows = options.output + "/cashflows.csv";
  std::string reserves = options.output + "/reserves.csv";
  std::string chart = options.output + "/cashflows.svg";
  // Under temporary names until all are written: a run that fails on the
  // way leaves no file that looks like a result.
  for (const std::string& path : {cashflows, reserves, chart}) note_partial(path);
  write_file_with(partial_name(cashflows), write_cashflows_csv, pairs);
  write_file_with(partial_name(reserves), write_reserves_csv, pairs);
  write_text_file(partial_name(chart), cashflow_chart_svg(pairs, labels));
  publish_partials({cashflows, reserves, chart});
  fputs(summary_table(pairs, labels).c_str(), stdout);
  printf("\nReserves:           %s\nMonthly cashflows:  %s\nChart:              %s\n", reserves.c_str(),
         cashflows.c_str(), chart.c_str());
  fflush(stdout);
}
