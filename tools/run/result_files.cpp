#include "tools/run/result_files.h"

#include <algorithm>
#include <charconv>

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

void write_cashflows_csv(FILE* file, const std::vector<PairSeries>& pairs) {
  fputs("month,from,to,value\n", file);
  size_t months = 0;
  for (const PairSeries& pair : pairs) months = std::max(months, pair.months.size());
  for (size_t t = 0; t < months; t++) {
    for (const PairSeries& pair : pairs) {
      if (t >= pair.months.size()) continue;
      fprintf(file, "%zu,%d,%d,%s\n", t, pair.from, pair.to, number_text(pair.months[t]).c_str());
    }
  }
}

void write_reserves_csv(FILE* file, const std::vector<PairSeries>& pairs) {
  fputs("from,to,value\n", file);
  for (const PairSeries& pair : pairs) {
    fprintf(file, "%d,%d,%s\n", pair.from, pair.to, number_text(pair.reserve).c_str());
  }
}

static FILE* create(const std::string& path) {
  FILE* file = fopen(path.c_str(), "w");
  if (file == nullptr) pdie(("talvon-run: " + path).c_str());
  return file;
}

static void finish(const std::string& path, FILE* file) {
  if (ferror(file) != 0 || fclose(file) != 0) pdie(("talvon-run: " + path).c_str());
}

void write_text_file(const std::string& path, const std::string& text) {
  FILE* file = create(path);
  fwrite(text.data(), 1, text.size(), file);
  finish(path, file);
}

void write_file_with(const std::string& path, void (*writer)(FILE*, const std::vector<PairSeries>&),
                     const std::vector<PairSeries>& pairs) {
  FILE* file = create(path);
  writer(file, pairs);
  finish(path, file);
}
