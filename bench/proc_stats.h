// What /proc tells about a running process, read from the outside while
// it runs. A process that has gone reads as zero and no children.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// A kB figure of /proc/PID/status, `field` with its colon ("VmRSS:",
// "VmHWM:"); with `name`, the process's name as well.
long status_kib(pid_t pid, const char* field, std::string* name = nullptr);

// User and system time of a process, its children not counted.
double cpu_seconds(pid_t pid);

// The children of every thread of a process: talvon forks from a thread
// of its own, so the process's own list would miss them.
std::vector<pid_t> children(pid_t pid);
