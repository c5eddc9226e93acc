#include "tools/run/chunk_merge.h"

#include <charconv>
#include <cstdio>
#include <cstring>

#include "tools/run/result_files.h"
#include "tools/run/run_dir.h"
#include "tools/run/run_guard.h"

void add_results(ResultStream& total, const ResultStream& part) {
  for (const PairSeries& pair : part.pairs) {
    int& at = total.index[pair.from][pair.to];
    if (at < 0) {
      at = static_cast<int>(total.pairs.size());
      total.pairs.push_back(PairSeries{pair.from, pair.to, std::vector<double>(MONTH_LIMIT, 0.0), true, 0.0});
    }
    PairSeries& sum = total.pairs[static_cast<size_t>(at)];
    for (size_t t = 0; t < pair.months.size() && t < sum.months.size(); t++) sum.months[t] += pair.months[t];
    sum.reserve += pair.reserve;
  }
}

// A chunk's own files hold only numbers (month,from,to,value and
// from,to,value): the labels and dates come with the merged results.
void write_chunk_results(const std::string& folder, const ResultStream& results) {
  std::vector<PairSeries> pairs = ordered_pairs(results.pairs);
  std::string cashflows = "month,from,to,value\n";
  std::string reserves = "from,to,value\n";
  for (const PairSeries& pair : pairs) {
    std::string accounts = std::to_string(pair.from) + "," + std::to_string(pair.to) + ",";
    for (size_t t = 0; t < pair.months.size(); t++) {
      cashflows += std::to_string(t) + "," + accounts + number_text(pair.months[t]) + "\n";
    }
    reserves += accounts + number_text(pair.reserve) + "\n";
  }
  write_text_file(folder + "/cashflows.csv", cashflows);
  write_text_file(folder + "/reserves.csv", reserves);
}

namespace {

// The fields of one CSV line: integers, then a double last.
bool parse_line(const char* begin, const char* end, int* ints, int count, double& value) {
  for (int i = 0; i < count; i++) {
    std::from_chars_result r = std::from_chars(begin, end, ints[i]);
    if (r.ec != std::errc() || r.ptr == end || *r.ptr != ',') return false;
    begin = r.ptr + 1;
  }
  std::from_chars_result r = std::from_chars(begin, end, value);
  return r.ec == std::errc() && r.ptr == end;
}

bool valid_pair(int from, int to) { return from >= 0 && from < ACCOUNT_LIMIT && to >= 0 && to < ACCOUNT_LIMIT; }

// Takes the lines after the header; false at the first bad one.
template <typename Take>
bool each_line(const std::string& text, const char* header, Take take) {
  size_t at = strlen(header);
  if (text.compare(0, at, header) != 0) return false;
  while (at < text.size()) {
    size_t end = text.find('\n', at);
    if (end == std::string::npos) return false;
    if (!take(text.data() + at, text.data() + end)) return false;
    at = end + 1;
  }
  return true;
}

}  // namespace

ResultStream read_chunk_results(const std::string& folder, const std::string& chunk) {
  ResultStream results;
  start_result_stream(results);
  std::string cashflows = read_script(folder + "/cashflows.csv", "results of chunk");
  bool good = each_line(cashflows, "month,from,to,value\n", [&](const char* b, const char* e) {
    int fields[3];
    double value;
    if (!parse_line(b, e, fields, 3, value) || !valid_pair(fields[1], fields[2])) return false;
    int& at = results.index[fields[1]][fields[2]];
    if (at < 0) {
      at = static_cast<int>(results.pairs.size());
      results.pairs.push_back(PairSeries{fields[1], fields[2], {}, false, 0.0});
    }
    PairSeries& pair = results.pairs[static_cast<size_t>(at)];
    if (fields[0] != static_cast<int>(pair.months.size())) return false;
    pair.months.push_back(value);
    return true;
  });
  std::string reserves = read_script(folder + "/reserves.csv", "results of chunk");
  good = good && each_line(reserves, "from,to,value\n", [&](const char* b, const char* e) {
    int fields[2];
    double value;
    if (!parse_line(b, e, fields, 2, value) || !valid_pair(fields[0], fields[1])) return false;
    int at = results.index[fields[0]][fields[1]];
    if (at < 0 || results.pairs[static_cast<size_t>(at)].has_reserve) return false;
    results.pairs[static_cast<size_t>(at)].has_reserve = true;
    results.pairs[static_cast<size_t>(at)].reserve = value;
    return true;
  });
  for (const PairSeries& pair : results.pairs) {
    good = good && pair.has_reserve && pair.months.size() == MONTH_LIMIT;
  }
  if (!good) fail_run("talvon-run: the results of " + chunk + " in " + folder + " are damaged");
  return results;
}
