// The CSV files, the reserve table and the chart made from received pairs.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>

#include "core/reader.h"
#include "tools/run/cashflow_chart.h"
#include "tools/run/result_files.h"
#include "tools/run/summary_table.h"

namespace {

PairSeries pair(int from, int to, std::vector<double> months, double reserve) {
  return PairSeries{from, to, std::move(months), true, reserve};
}

std::string written(void (*writer)(FILE*, const std::vector<PairSeries>&),
                    const std::vector<PairSeries>& pairs) {
  FILE* file = tmpfile();
  writer(file, pairs);
  std::string text(static_cast<size_t>(ftell(file)), '\0');
  rewind(file);
  size_t got = fread(text.data(), 1, text.size(), file);
  fclose(file);
  text.resize(got);
  return text;
}

TEST(ResultFilesTest, NumbersReadBackExactly) {
  struct Case {
    double value;
    const char* text;
  } cases[] = {
      {5.0, "5"},         {-2.5, "-2.5"},       {0.1, "0.1"},
      {1e300, "1e+300"},  {826230.5220148799, "826230.5220148799"},
      {std::numeric_limits<double>::infinity(), "inf"},
  };
  for (const Case& c : cases) EXPECT_EQ(number_text(c.value), c.text);
}

TEST(ResultFilesTest, CashflowsMonthByMonthAndReservesPerPair) {
  std::vector<PairSeries> pairs = {pair(1, 2, {10, 11, 12}, 100.25), pair(2, 3, {-1, 0.5, 0}, -7)};
  EXPECT_EQ(written(write_cashflows_csv, pairs),
            "month,from,to,value\n"
            "0,1,2,10\n0,2,3,-1\n"
            "1,1,2,11\n1,2,3,0.5\n"
            "2,1,2,12\n2,2,3,0\n");
  EXPECT_EQ(written(write_reserves_csv, pairs), "from,to,value\n1,2,100.25\n2,3,-7\n");
  EXPECT_EQ(written(write_reserves_csv, {}), "from,to,value\n");
}

TEST(ResultFilesTest, PairsOrderedByAccounts) {
  std::vector<PairSeries> ordered =
      ordered_pairs({pair(2, 6, {}, 0), pair(1, 2, {}, 0), pair(2, 1, {}, 0), pair(2, 3, {}, 0)});
  std::string order;
  for (const PairSeries& p : ordered) order += std::to_string(p.from) + std::to_string(p.to) + " ";
  EXPECT_EQ(order, "12 21 23 26 ");
}

TEST(SummaryTableTest, LabelsFromTheViewWhereItHasThem) {
  std::vector<FlowLabel> labels = {{1, 2, "Premiums"}, {2, 3, "Benefits & more"}};
  std::vector<PairSeries> pairs = {pair(1, 2, {}, 826230.5220148799), pair(2, 1, {}, 61679.37),
                                   pair(2, 3, {}, -5)};
  EXPECT_EQ(summary_table(pairs, labels),
            "from  to  flow               reserve\n"
            "   1   2  Premiums         826230.52\n"
            "   2   1                    61679.37\n"
            "   2   3  Benefits & more      -5.00\n");
  EXPECT_EQ(summary_table({pair(12, 13, {}, 1)}, {}),
            "from  to  flow  reserve\n"
            "  12  13           1.00\n");
  EXPECT_EQ(summary_table({}, labels), "No account pair has a cashflow.\n");
}

size_t count(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) n++;
  return n;
}

TEST(CashflowChartTest, OneLinePerPairWithLegendAndYearMarks) {
  std::vector<double> rising(MONTH_LIMIT), falling(MONTH_LIMIT);
  for (int t = 0; t < MONTH_LIMIT; t++) {
    rising[t] = t;
    falling[t] = -t;
  }
  std::string svg = cashflow_chart_svg({pair(1, 2, rising, 0), pair(2, 3, falling, 0)},
                                       {{2, 3, "Benefits <A&B>"}});
  EXPECT_EQ(count(svg, "<polyline"), 2u);
  // 1440 points each: 1439 blanks between them.
  size_t start = svg.find("points=\"");
  std::string points = svg.substr(start, svg.find('"', start + 8) - start);
  EXPECT_EQ(count(points, " "), 1439u);
  EXPECT_NE(svg.find("Benefits &lt;A&amp;B&gt;"), std::string::npos);
  EXPECT_NE(svg.find(">1 \xe2\x86\x92 2</text>"), std::string::npos);
  for (const char* year : {">0</text>", ">10</text>", ">60</text>", ">120</text>"}) {
    EXPECT_NE(svg.find(year), std::string::npos) << year;
  }
  EXPECT_EQ(svg.find(">130</text>"), std::string::npos);
}

// Flat lines and values that are not numbers still give a drawable chart.
TEST(CashflowChartTest, DegenerateValues) {
  std::vector<double> odd(MONTH_LIMIT, 0.0);
  odd[3] = std::numeric_limits<double>::quiet_NaN();
  odd[4] = std::numeric_limits<double>::infinity();
  std::string svg = cashflow_chart_svg({pair(1, 2, odd, 0)}, {});
  EXPECT_EQ(svg.find("nan"), std::string::npos);
  EXPECT_EQ(svg.find("inf"), std::string::npos);
}

TEST(CashflowChartTest, TickSteps) {
  struct Case {
    double span;
    double step;
  } cases[] = {{1, 0.2}, {7, 2}, {1e6, 200000}, {31, 10}, {0.03, 0.005}};
  for (const Case& c : cases) EXPECT_DOUBLE_EQ(tick_step(c.span, 6), c.step) << c.span;
}

}  // namespace
