#include "support/fifo_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

FifoReader::FifoReader(std::string fifo_path, bool create_later) : path(std::move(fifo_path)) {
  if (!create_later) create();
}

FifoReader::~FifoReader() {
  if (reader.joinable()) reader.join();
  unlink(path.c_str());
}

void FifoReader::create() {
  mkfifo(path.c_str(), 0600);
  reader = std::thread([this] {
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) return;
    char buffer[4096];
    ssize_t n;
    while ((n = read(fd, buffer, sizeof buffer)) > 0) bytes.append(buffer, static_cast<size_t>(n));
    close(fd);
  });
}

std::string FifoReader::finish() {
  if (reader.joinable()) reader.join();
  return bytes;
}

void FifoReader::open_and_quit() {
  mkfifo(path.c_str(), 0600);
  reader = std::thread([this] {
    int fd = open(path.c_str(), O_RDONLY);
    if (fd >= 0) close(fd);
  });
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
