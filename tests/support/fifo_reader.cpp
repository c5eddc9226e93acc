#include "support/fifo_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "support/process.h"

static void wait_for(pid_t& child) {
  if (child <= 0) return;
  int status;
  while (waitpid(child, &status, 0) < 0) {
  }
  child = -1;
}

FifoReader::FifoReader(std::string fifo_path, int delay_ms) : path(std::move(fifo_path)) {
  bytes_path = path + ".bytes";
  if (delay_ms == 0) mkfifo(path.c_str(), 0600);
  reader = fork();
  if (reader != 0) return;
  if (delay_ms > 0) {
    usleep(static_cast<useconds_t>(delay_ms) * 1000);
    mkfifo(path.c_str(), 0600);
  }
  int in = open(path.c_str(), O_RDONLY);
  int out = open(bytes_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (in < 0 || out < 0) _exit(1);
  char buffer[4096];
  ssize_t n;
  while ((n = read(in, buffer, sizeof buffer)) > 0) {
    if (write(out, buffer, static_cast<size_t>(n)) != n) _exit(1);
  }
  _exit(0);
}

FifoReader::~FifoReader() {
  if (reader > 0) kill(reader, SIGKILL);
  wait_for(reader);
  unlink(path.c_str());
  unlink(bytes_path.c_str());
}

std::string FifoReader::finish() {
  // The writer has gone. A reader still blocked in open() (the writer
  // failed before opening its end) is released by a writer of our own that
  // opens and closes at once: the reader then sees the end of the stream.
  while (reader > 0 && waitpid(reader, nullptr, WNOHANG) == 0) {
    int release = open(path.c_str(), O_WRONLY | O_NONBLOCK);
    if (release >= 0) close(release);
    usleep(10 * 1000);
  }
  reader = -1;
  return read_file(bytes_path);
}

QuittingReader::QuittingReader(std::string fifo_path) : path(std::move(fifo_path)) {
  mkfifo(path.c_str(), 0600);
  reader = fork();
  if (reader != 0) return;
  int in = open(path.c_str(), O_RDONLY);
  if (in >= 0) close(in);
  _exit(0);
}

QuittingReader::~QuittingReader() {
  wait_for(reader);
  unlink(path.c_str());
}

std::string decode_progress(const std::string& bytes) {
  std::string records;
  size_t at = 0;
  while (at + 4 <= bytes.size()) {
    int32_t tag;
    memcpy(&tag, bytes.data() + at, 4);
    at += 4;
    if (tag == 1 && at + 8 <= bytes.size()) {
      double value;
      memcpy(&value, bytes.data() + at, 8);
      at += 8;
      char text[64];
      snprintf(text, sizeof text, "P%g ", value);
      records += text;
    } else if (tag == 3) {
      records += "E ";
    } else {
      records += "? ";
    }
  }
  if (at != bytes.size()) records += "(trailing bytes)";
  return records;
}
