// The progress channel on real FIFOs, with the front end's reader in a
// process of its own and talvon's side in a forked child.
#include "driver/progress_channel.h"

#include <gtest/gtest.h>

#include "driver/diagnostics.h"
#include "support/fifo_reader.h"
#include "support/process.h"

namespace {

TEST(ProgressChannelTest, SendsWhenTheRoundedPercentageChanges) {
  struct Case {
    std::vector<double> values;
    std::string records;
    int delay_ms;  // before the front end makes the pipe
  };
  const Case cases[] = {
      {{0.0, 0.004, 0.006}, "P0 P0.006 ", 0},
      {{0.0, 0.005}, "P0 P0.005 ", 0},  // half a percent rounds away from zero
      {{0.5, 0.5, 0.501, 0.2, 0.5}, "P0.5 P0.2 P0.5 ", 0},
      {{1.0, 2.0}, "P1 P2 ", 0},
      {{0.0}, "P0 ", 200},  // talvon waits until the pipe exists
  };
  for (const Case& c : cases) {
    TempDir dir;
    FifoReader front_end(dir.file("progress"), c.delay_ms);
    Outcome o = run_fatal([&] {
      open_progress_channel(front_end.path.c_str());
      for (double x : c.values) send_progress(x);
      close_progress_channel();
    });
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(decode_progress(front_end.finish()), c.records);
  }
}

TEST(ProgressChannelTest, ProgressRecordIsTwelveRawBytes) {
  TempDir dir;
  FifoReader front_end(dir.file("progress"));
  run_fatal([&] {
    open_progress_channel(front_end.path.c_str());
    send_progress(0.25);
  });
  std::string bytes = front_end.finish();
  ASSERT_EQ(bytes.size(), 12u);
  EXPECT_EQ(bytes.substr(0, 4), std::string("\x01\x00\x00\x00", 4));
  double value = 0.25;
  EXPECT_EQ(bytes.substr(4), std::string(reinterpret_cast<const char*>(&value), 8));
}

TEST(ProgressChannelDeathTest, DieSendsTheEndRecordOnce) {
  TempDir dir;
  FifoReader front_end(dir.file("progress"));
  Outcome o = run_fatal([&] {
    open_progress_channel(front_end.path.c_str());
    send_progress(0.1);
    die("fatal fault");
  });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, "fatal fault\n");
  EXPECT_EQ(decode_progress(front_end.finish()), "P0.1 E ");
}

TEST(ProgressChannelDeathTest, NegativeNameOpensNothing) {
  Outcome o = run_fatal([&] {
    open_progress_channel("-1");
    send_progress(0.5);
    die("fatal fault");
  });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.err, "fatal fault\n");
}

TEST(ProgressChannelDeathTest, ReaderThatGoesAwayEndsWithWriteFailed) {
  TempDir dir;
  QuittingReader front_end(dir.file("progress"));
  Outcome o = run_fatal([&] {
    open_progress_channel(front_end.path.c_str());
    for (int i = 0;; i++) send_progress(i);
  });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, "talvon: WriteFile failed\n");
}

TEST(ProgressChannelDeathTest, FailedWaitAndOpenGiveTheSystemErrorAndCode) {
  TempDir dir;
  Outcome o = run_fatal([&] { open_progress_channel("/etc/passwd/progress"); });
  EXPECT_EQ(o.status, ENOTDIR);
  EXPECT_EQ(o.out, "talvon: WaitNamedPipeA failed for pipe_talvon: Not a directory\n");
  EXPECT_EQ(o.err, "");
  o = run_fatal([&] { open_progress_channel(dir.path.c_str()); });
  EXPECT_EQ(o.status, EISDIR);
  EXPECT_EQ(o.out, "talvon: Could not open pipe_talvon: Is a directory\n");
}

}  // namespace
