// Running code that ends the process, with its exit status and both output
// streams captured for exact comparison.
#pragma once

#include <functional>
#include <string>

struct Outcome {
  int status;  // exit status, or 128 + signal number
  std::string out;
  std::string err;
};

// Runs `body` in a forked child. A body that returns exits 0.
Outcome run_fatal(const std::function<void()>& body);
