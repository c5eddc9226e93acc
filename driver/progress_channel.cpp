#include "driver/progress_channel.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdlib>

#include "core/cell.h"
#include "driver/diagnostics.h"
#include "driver/file_wrappers.h"

static int channel = -1;
static int32_t last_percentage = -1;
static int end_attempted = 0;

static constexpr int32_t PROGRESS_RECORD = 1;
static constexpr int32_t END_RECORD = 3;

// How often the wait for the front end's pipe looks again.
static constexpr useconds_t PIPE_POLL_MICROSECONDS = 10000;

static void wait_for_pipe(const char* pipe_name) {
  struct stat info;
  while (stat(pipe_name, &info) != 0) {
    if (errno != ENOENT) system_error_exit("talvon: WaitNamedPipeA failed for pipe_talvon");
    usleep(PIPE_POLL_MICROSECONDS);
  }
}

void open_progress_channel(const char* pipe_name) {
  if (atoi(pipe_name) < 0) return;
  // A reader that goes away must end in our own message, not in SIGPIPE.
  signal(SIGPIPE, SIG_IGN);
  wait_for_pipe(pipe_name);
  int descriptor;
  do {
    descriptor = open(pipe_name, O_WRONLY);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor < 0) system_error_exit("talvon: Could not open pipe_talvon");
  channel = descriptor;
  // A new channel starts its own sequence of records.
  last_percentage = -1;
  end_attempted = 0;
}

void close_progress_channel() {
  if (channel < 0) return;
  int descriptor = channel;
  channel = -1;
  close_descriptor(nullptr, descriptor);
}

const char* const END_RECORD_LOST = "talvon: WriteFile failed";

// FALSE when a write failed; the channel is then given up.
static int write_bytes(const void* bytes, size_t size) {
  const char* next = static_cast<const char*>(bytes);
  while (size > 0) {
    ssize_t written = write(channel, next, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      close(channel);
      channel = -1;
      return FALSE;
    }
    next += written;
    size -= static_cast<size_t>(written);
  }
  return TRUE;
}

static void send_bytes(const void* bytes, size_t size) {
  if (channel < 0) return;
  if (!write_bytes(bytes, size)) die(END_RECORD_LOST);
}

void send_int(int32_t value) {
  send_bytes(&value, sizeof value);
}

void send_double(double value) {
  send_bytes(&value, sizeof value);
}

void send_progress(double x) {
  // Without a channel nothing is sent, and nothing is remembered either.
  if (channel < 0) return;
  int32_t percentage = static_cast<int32_t>(round(100.0 * x));
  if (percentage == last_percentage) return;
  last_percentage = percentage;
  send_int(PROGRESS_RECORD);
  send_double(x);
}

int send_end() {
  if (channel < 0 || end_attempted) return TRUE;
  end_attempted = 1;
  int32_t record = END_RECORD;
  if (!write_bytes(&record, sizeof record)) return FALSE;
  close_progress_channel();
  return TRUE;
}
