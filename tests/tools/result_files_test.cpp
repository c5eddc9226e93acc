// The CSV files, the reserve table and the chart made from received pairs.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "core/reader.h"
#include "tools/run/cashflow_chart.h"
#include "tools/run/chart_style.h"
#include "tools/run/result_files.h"
#include "tools/run/summary_table.h"

namespace {

PairSeries pair(int from, int to, std::vector<double> months, double reserve) {
  return PairSeries{from, to, std::move(months), true, reserve};
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

// The calendar month runs on from the valuation date across the year's end;
// labels come from the view and are quoted where CSV needs it.
TEST(ResultFilesTest, CashflowsMonthByMonthAndReservesPerPair) {
  std::vector<PairSeries> pairs = {pair(1, 2, {10, 11, 12, 13}, 100.25), pair(2, 3, {-1, 0.5, 0, 1}, -7)};
  RunFacts facts;
  facts.valuation_month = 12 * 2019 + 11;
  facts.labels = {{2, 3, "Benefits, \"all\""}};
  EXPECT_EQ(cashflows_csv(pairs, facts),
            "month,date,from,to,flow,value\n"
            "0,2019-11,1,2,,10\n0,2019-11,2,3,\"Benefits, \"\"all\"\"\",-1\n"
            "1,2019-12,1,2,,11\n1,2019-12,2,3,\"Benefits, \"\"all\"\"\",0.5\n"
            "2,2020-01,1,2,,12\n2,2020-01,2,3,\"Benefits, \"\"all\"\"\",0\n"
            "3,2020-02,1,2,,13\n3,2020-02,2,3,\"Benefits, \"\"all\"\"\",1\n");
  EXPECT_EQ(reserves_csv(pairs, facts), "from,to,flow,value\n1,2,,100.25\n2,3,\"Benefits, \"\"all\"\"\",-7\n");
  EXPECT_EQ(reserves_csv({}, RunFacts{}), "from,to,flow,value\n");
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

TEST(ChartStyleTest, TickStepsAndReadableTicks) {
  struct Case {
    double span, step, value, largest;
    const char* label;
  } cases[] = {{1, 0.2, 0.4, 1, "0.4"},          {7, 2, -4, 8, "-4"},
               {1e6, 200000, 600000, 1e6, "0.6 M"}, {31, 10, 30, 40, "30"},
               {0.03, 0.005, 0.015, 0.03, "0.015"}, {6e7, 1e7, 5e7, 6e7, "50 M"},
               {3000, 500, 7500, 1e4, "7.5 k"},     {3e9, 5e8, 1.5e9, 3e9, "1.5 G"},
               {1000, 200, 800, 1000, "800"}};
  for (const Case& c : cases) {
    EXPECT_DOUBLE_EQ(tick_step(c.span, 6), c.step) << c.span;
    EXPECT_EQ(tick_label(c.value, c.step, c.largest), c.label) << c.value;
  }
  EXPECT_EQ(amount_with_separators(-1234567.891), "-1,234,567.89");
  EXPECT_EQ(amount_with_separators(999.5), "999.50");
}

// A pair's colour is its own, whatever else the run holds; the usual pairs
// differ.
TEST(ChartStyleTest, ColoursFixedByPair) {
  std::vector<std::string> usual;
  for (auto [from, to] : {std::pair{1, 2}, {2, 1}, {2, 3}, {2, 4}, {2, 5}, {2, 6}}) {
    std::string colour = flow_colour(from, to);
    EXPECT_EQ(std::count(usual.begin(), usual.end(), colour), 0) << from << to;
    usual.push_back(colour);
  }
}

// The x-axis ends with the last year that has a flow, in whole five years;
// values not a number do not reach the chart.
TEST(CashflowChartTest, AxisEndsWithTheFlows) {
  std::vector<double> flows(MONTH_LIMIT, 0.0);
  for (int t = 0; t < 12 * 61 + 3; t++) flows[t] = 1000;
  EXPECT_EQ(shown_months({pair(1, 2, flows, 0)}), 12 * 65);
  EXPECT_EQ(shown_months({pair(1, 2, std::vector<double>(MONTH_LIMIT, 0.0), 0)}), 12 * 5);
  flows[3] = std::numeric_limits<double>::quiet_NaN();
  flows[4] = std::numeric_limits<double>::infinity();
  std::string svg = cashflow_chart_svg({pair(1, 2, flows, 0)}, {});
  EXPECT_EQ(svg.find("nan"), std::string::npos);
  EXPECT_EQ(svg.find("inf"), std::string::npos);
}

}  // namespace
