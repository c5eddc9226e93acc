// The receiver of the calculation program's records: months counted per
// pair, records cut anywhere, and every way a stream can be wrong.
#include <gtest/gtest.h>

#include <cstring>

#include "support/process.h"
#include "tools/run/result_records.h"

namespace {

std::string record(int32_t tag, int32_t from, int32_t to, double value) {
  char bytes[20];
  memcpy(bytes, &tag, 4);
  memcpy(bytes + 4, &from, 4);
  memcpy(bytes + 8, &to, 4);
  memcpy(bytes + 12, &value, 8);
  return std::string(bytes, 20);
}

// A whole stream for the pairs, month by month; month t of pair i is
// 1000 * i + t, the reserve of pair i is -i - 0.5.
std::string stream_of(const std::vector<std::pair<int, int>>& pairs, int months = MONTH_LIMIT,
                      bool reserves = true) {
  std::string bytes;
  for (int t = 0; t < months; t++) {
    for (size_t i = 0; i < pairs.size(); i++) {
      bytes += record(1, pairs[i].first, pairs[i].second, 1000.0 * static_cast<double>(i) + t);
    }
  }
  if (!reserves) return bytes;
  for (size_t i = 0; i < pairs.size(); i++) {
    bytes += record(2, pairs[i].first, pairs[i].second, -static_cast<double>(i) - 0.5);
  }
  return bytes;
}

void feed(ResultStream& stream, const std::string& bytes, size_t piece) {
  for (size_t at = 0; at < bytes.size(); at += piece) {
    take_result_bytes(stream, bytes.data() + at, std::min(piece, bytes.size() - at));
  }
}

TEST(ResultRecordsTest, CountsMonthsPerPairHoweverTheBytesAreCut) {
  const std::string bytes = stream_of({{1, 2}, {2, 3}, {2, 6}});
  for (size_t piece : {1, 7, 19, 20, 21, 4096, 1000000}) {
    SCOPED_TRACE(piece);
    ResultStream stream;
    start_result_stream(stream);
    feed(stream, bytes, piece);
    ASSERT_EQ(stream.pairs.size(), 3u);
    EXPECT_EQ(stream.records, 3u * (MONTH_LIMIT + 1));
    EXPECT_EQ(months_received(stream), MONTH_LIMIT);
    for (size_t i = 0; i < 3; i++) {
      const PairSeries& pair = stream.pairs[i];
      ASSERT_EQ(pair.months.size(), static_cast<size_t>(MONTH_LIMIT));
      EXPECT_EQ(pair.months[0], 1000.0 * i);
      EXPECT_EQ(pair.months[1439], 1000.0 * i + 1439);
      EXPECT_TRUE(pair.has_reserve);
      EXPECT_EQ(pair.reserve, -static_cast<double>(i) - 0.5);
    }
    EXPECT_EQ(stream.pairs[2].from, 2);
    EXPECT_EQ(stream.pairs[2].to, 6);
    require_complete_results(stream);
  }
  // Months received is the least of the pairs; an empty stream from a
  // program that connected is a portfolio without cashflows: complete.
  ResultStream stream;
  start_result_stream(stream);
  require_complete_results(stream);
  EXPECT_EQ(months_received(stream), 0);
  feed(stream, stream_of({{1, 2}, {2, 3}}, 5, false) + record(1, 1, 2, 0.0), 20);
  EXPECT_EQ(months_received(stream), 5);
}

struct BadStream {
  const char* name;
  std::string bytes;
  const char* message;
};

TEST(ResultRecordsDeathTest, RecordsThatCannotBelongToAStream) {
  const std::string twelve = stream_of({{1, 2}}, 2, false);
  const BadStream cases[] = {
      {"unknown tag", record(3, 1, 2, 0.0), "talvon-run: result record 1: unknown tag"},
      {"tag 0", twelve + record(0, 1, 2, 0.0), "talvon-run: result record 3: unknown tag"},
      {"from 20", record(1, 20, 2, 0.0), "talvon-run: result record 1: account out of range"},
      {"reserve first", record(2, 1, 2, 0.0),
       "talvon-run: result record 1: reserve of a pair without cashflows"},
      {"cashflow after reserve", twelve + record(2, 1, 2, 0.0) + record(1, 1, 2, 0.0),
       "talvon-run: result record 4: cashflow after the reserves"},
      {"second reserve", twelve + record(2, 1, 2, 0.0) + record(2, 1, 2, 0.0),
       "talvon-run: result record 4: second reserve of a pair"},
      {"month 1441", stream_of({{1, 2}}, MONTH_LIMIT + 1, false),
       "talvon-run: result record 1441: more than 1440 months"},
  };
  for (const BadStream& c : cases) {
    SCOPED_TRACE(c.name);
    Outcome o = run_fatal([&] {
      ResultStream stream;
      start_result_stream(stream);
      feed(stream, c.bytes, 7);
    });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, std::string(c.message) + "\n");
  }
}

// A short stream is a failed run, never a result.
TEST(ResultRecordsDeathTest, ShortStreamsAreFailedRuns) {
  const std::string whole = stream_of({{1, 2}, {2, 3}});
  const BadStream cases[] = {
      {"cut inside a record", whole.substr(0, whole.size() - 3),
       "talvon-run: the result stream ends inside record 2882: the run failed"},
      {"cut inside a month", stream_of({{1, 2}, {2, 3}}, 100, false) + record(1, 1, 2, 0.0),
       "talvon-run: the result stream ends after 101 of 1440 months of accounts 1 -> 2: the run failed"},
      {"no reserves", stream_of({{1, 2}, {2, 3}}, MONTH_LIMIT, false),
       "talvon-run: the result stream ends without the reserve of accounts 1 -> 2: the run failed"},
      {"one reserve", whole.substr(0, whole.size() - 20),
       "talvon-run: the result stream ends without the reserve of accounts 2 -> 3: the run failed"},
  };
  for (const BadStream& c : cases) {
    SCOPED_TRACE(c.name);
    Outcome o = run_fatal([&] {
      ResultStream stream;
      start_result_stream(stream);
      feed(stream, c.bytes, 4096);
      require_complete_results(stream);
    });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, std::string(c.message) + "\n");
  }
}

}  // namespace
