// A child of talvon-run with its standard input from /dev/null and its
// output streams captured through pipes: talvon itself, and the programs of
// the workload manager.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

struct SpawnedChild {
  pid_t pid = -1;
  int out = -1;  // read ends of its standard output and error
  int err = -1;
};

struct SpawnOptions {
  const char* cwd = nullptr;   // working directory; null: talvon-run's own
  bool own_group = false;      // a process group of its own, id = pid
  const char* prefix = "";     // before "cannot start" when exec fails
};

// Starts argv[0] (looked up on PATH when it has no slash). Exec failures
// show as exit status 127 with the reason on the captured error stream.
SpawnedChild spawn_child(const std::vector<std::string>& argv, const SpawnOptions& options);
