// The front end's side of a named pipe: creates a FIFO and reads all that
// is written to it, until the writer closes it. The reader is a process of
// its own, so the test stays single-threaded when it forks talvon's side.
#pragma once

#include <sys/types.h>

#include <string>

struct FifoReader {
  // Creates the FIFO at `path` after `delay_ms` milliseconds and reads it.
  explicit FifoReader(std::string path, int delay_ms = 0);
  ~FifoReader();
  FifoReader(const FifoReader&) = delete;
  FifoReader& operator=(const FifoReader&) = delete;

  // Called once the writer has gone: waits for the reader to see the end
  // of the stream and gives all bytes read (none when the writer never
  // opened the FIFO).
  std::string finish();

  std::string path;
  std::string bytes_path;
  pid_t reader = -1;
};

// Creates a FIFO whose reader opens it and goes away at once.
struct QuittingReader {
  explicit QuittingReader(std::string path);
  ~QuittingReader();
  std::string path;
  pid_t reader = -1;
};

// The records of the progress channel, decoded for comparison:
// "P<value>" for a progress record, "E" for the end record.
std::string decode_progress(const std::string& bytes);
