// The receiver of talvon's progress channel and the display made from it.
#include <gtest/gtest.h>

#include <cstring>

#include "support/process.h"
#include "tools/run/progress_records.h"

namespace {

std::string progress(double value) {
  int32_t tag = 1;
  char bytes[12];
  memcpy(bytes, &tag, 4);
  memcpy(bytes + 4, &value, 8);
  return std::string(bytes, 12);
}

std::string end_record() {
  int32_t tag = 3;
  return std::string(reinterpret_cast<const char*>(&tag), 4);
}

TEST(ProgressRecordsTest, LastValueAndEndHoweverTheBytesAreCut) {
  const std::string bytes = progress(0.0) + progress(0.16) + progress(0.66) + progress(1.0) + end_record();
  for (size_t piece : {1, 3, 4, 5, 12, 100}) {
    SCOPED_TRACE(piece);
    ProgressStream stream;
    start_progress_stream(stream);
    EXPECT_EQ(stream.value, -1.0);
    for (size_t at = 0; at < bytes.size(); at += piece) {
      take_progress_bytes(stream, bytes.data() + at, std::min(piece, bytes.size() - at));
      if (at + piece < 12) {
        EXPECT_EQ(stream.value, -1.0);
      }
    }
    EXPECT_EQ(stream.value, 1.0);
    EXPECT_TRUE(stream.ended);
    EXPECT_TRUE(stream.pending.empty());
  }
  // A normal end sends no end record.
  ProgressStream stream;
  start_progress_stream(stream);
  take_progress_bytes(stream, bytes.data(), bytes.size() - 4);
  EXPECT_EQ(stream.value, 1.0);
  EXPECT_FALSE(stream.ended);
}

TEST(ProgressRecordsDeathTest, UnknownTagEndsTheRun) {
  Outcome o = run_fatal([] {
    ProgressStream stream;
    start_progress_stream(stream);
    std::string bytes = progress(0.1) + std::string("\x02\0\0\0", 4);
    take_progress_bytes(stream, bytes.data(), bytes.size());
  });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, "talvon-run: unknown progress record tag 2\n");
}

TEST(ProgressRecordsTest, StagesAndFractionOfTheWholeRun) {
  struct Case {
    double value;
    int months;
    Stage stage;
    double fraction;
  } cases[] = {
      {-1.0, 0, Stage::starting, 0.0},  {0.0, 0, Stage::writing, 0.0},
      {0.33, 0, Stage::writing, 0.25},  {0.66, 0, Stage::writing, 0.5},
      {1.0, 0, Stage::compiling, 0.5},
      {2.0, 0, Stage::running, 0.6},    {2.0, 720, Stage::running, 0.8},
      {2.0, 1440, Stage::running, 1.0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value);
    EXPECT_EQ(progress_stage(c.value), c.stage);
    EXPECT_DOUBLE_EQ(run_fraction(c.value, c.months), c.fraction);
  }
}

TEST(ProgressRecordsTest, ProgressLine) {
  EXPECT_EQ(progress_line(-1.0, 0, 10), "[..........]   0% starting talvon");
  EXPECT_EQ(progress_line(2.0, 720, 10), "[########..]  80% running: month 720 of 1440");
  EXPECT_EQ(progress_line(2.0, 1440, 4), "[####] 100% running: month 1440 of 1440");
}

}  // namespace
