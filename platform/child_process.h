// Running another program and waiting for it: how talvon starts the C
// compiler and then the calculation program it built.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// The stack that the calculation program is given: its collective
// mortality keeps two 1440 x 1440 arrays of doubles as locals.
constexpr size_t CALCULATION_STACK_BYTES = 100000000;

struct ChildExit {
  bool started;  // false: the program could not be started at all
  int error;     // why it could not be started (an errno value), else 0
  int status;    // exit status, or 128 + signal number; 0 when not started
};

// Runs argv[0] (found on PATH when it has no slash) with the arguments
// argv[1..] as a child that inherits only the standard streams, and waits
// for it without a time limit. A stack_bytes above 0 raises the child's
// stack limit to at least that many bytes before the program starts. When
// the program cannot be started, errno is left at the reason, so the
// caller can end with system_error_exit.
ChildExit run_child(const std::vector<std::string>& argv, size_t stack_bytes = 0);

// Runs the program at `path` as run_child does, under the process name
// `name` (what ps and top show; at most 15 characters) in place of the
// file's own: it is started through a link `name` beside it, removed when
// the program has ended. Without the link it runs under its own name.
ChildExit run_child_named(const std::string& path, const std::string& name, size_t stack_bytes);
