// talvon as a child of talvon-run: in a process group of its own, so that
// it and everything it starts (tcc, the calculation program) can be ended
// together, with its output streams captured through pipes.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

struct TalvonChild {
  pid_t pid = -1;   // also the process group
  int out = -1;     // read ends of its standard output and error
  int err = -1;
};

// talvon beside the running executable.
std::string talvon_path();

// Starts argv[0] with the arguments in the working directory `cwd`, its
// standard input from /dev/null. Exec failures show as exit status 127
// with the reason on the captured error stream.
TalvonChild start_talvon(const std::vector<std::string>& argv, const std::string& cwd);

// Makes talvon-run the reaper of the processes its child leaves behind, so
// that ending the group can wait for every one of them.
void become_subreaper();

// Kills the whole process group and waits for every child of talvon-run
// left in it; other groups go on. Once talvon itself has been reaped its
// group is killed only while such a child is left.
void end_process_group(pid_t group, bool talvon_reaped);
