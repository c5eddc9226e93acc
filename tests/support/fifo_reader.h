// The front end's side of a named pipe: creates a FIFO and reads all that
// is written to it on a thread of its own, until the writer closes it.
#pragma once

#include <string>
#include <thread>

struct FifoReader {
  // Creates the FIFO at `path` now unless `create_later` is set, in which
  // case `create()` makes it.
  explicit FifoReader(std::string path, bool create_later = false);
  ~FifoReader();
  void create();
  // Waits for the writer to close and gives all bytes read.
  std::string finish();
  // Opens the FIFO and closes it again at once, like a reader that quits.
  void open_and_quit();

  std::string path;
  std::string bytes;
  std::thread reader;
};

// The records of the progress channel, decoded for comparison:
// "P<value>" for a progress record, "E" for the end record.
std::string decode_progress(const std::string& bytes);
