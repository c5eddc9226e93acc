#include "tools/run/result_files.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "driver/diagnostics.h"

std::vector<PairSeries> ordered_pairs(const std::vector<PairSeries>& pairs) {
  std::vector<PairSeries> ordered = pairs;
  std::stable_sort(ordered.begin(), ordered.end(), [](const PairSeries& a, const PairSeries& b) {
    return a.from != b.from ? a.from < b.from : a.to < b.to;
  });
  return ordered;
}

std::string number_text(double value) {
  char text[64];
  std::to_chars_result end = std::to_chars(text, text + sizeof text, value);
  return std::string(text, end.ptr);
}

std::string csv_field(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (char c : text) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + "\"";
}

static std::string pair_fields(const PairSeries& pair, const RunFacts& facts) {
  return std::to_string(pair.from) + "," + std::to_string(pair.to) + "," +
         csv_field(label_of(facts.labels, pair.from, pair.to)) + ",";
}

std::string cashflows_csv(const std::vector<PairSeries>& pairs, const RunFacts& facts) {
  std::string text = "month,date,from,to,flow,value\n";
  size_t months = 0;
  for (const PairSeries& pair : pairs) months = std::max(months, pair.months.size());
  std::vector<std::string> fields;
  for (const PairSeries& pair : pairs) fields.push_back(pair_fields(pair, facts));
  for (size_t t = 0; t < months; t++) {
    int month = static_cast<int>(t);
    std::string start = std::to_string(t) + "," +
                        calendar_month(facts.valuation_month < 0 ? -1 : facts.valuation_month + month) + ",";
    for (size_t i = 0; i < pairs.size(); i++) {
      if (t >= pairs[i].months.size()) continue;
      text += start + fields[i] + number_text(pairs[i].months[t]) + "\n";
    }
  }
  return text;
}

std::string reserves_csv(const std::vector<PairSeries>& pairs, const RunFacts& facts) {
  std::string text = "from,to,flow,value\n";
  for (const PairSeries& pair : pairs) text += pair_fields(pair, facts) + number_text(pair.reserve) + "\n";
  return text;
}

void write_text_file(const std::string& path, const std::string& text) {
  FILE* file = fopen(path.c_str(), "w");
  if (file == nullptr) pdie(("talvon-run: " + path).c_str());
  fwrite(text.data(), 1, text.size(), file);
  if (ferror(file) != 0 || fclose(file) != 0) pdie(("talvon-run: " + path).c_str());
}
