// What must be undone however talvon-run ends, by a normal exit, by die or
// on a signal: the progress bar, every talvon process group still at work
// and every run directory. Signals arrive as bytes on a pipe, so the poll
// loop sees them; an interrupt cleans up and exits with 128 + the signal.
#pragma once

#include <sys/types.h>

#include <string>

// Installs the handlers, makes talvon-run the reaper of what its children
// leave, and registers the clean-up for exit.
void guard_run();

// The read end of the signal pipe, for the poll loop.
int signal_fd();

// Reads the signals that came; an interrupt ends the run.
void take_signals();

void guard_root(const std::string& root);
void release_root(const std::string& root);  // removes the directory
void guard_group(pid_t group);
// Ends the group and whatever is left in it (see end_process_group).
void release_group(pid_t group, bool talvon_reaped);

// The chunk that is named when the run fails; empty for none.
void set_failing_chunk(const std::string& description);

// For --value-chunk: the file that says how the chunk ended. A failure
// writes "failed" and the message there.
void set_status_file(const std::string& path);

// Ends the run: the message on standard error, then the chunk that failed,
// clean-up and exit status 1. The status file gets `earlier` (what was
// already shown, such as talvon's output) and the message.
[[noreturn]] void fail_run(const std::string& message, const std::string& earlier = "");

// The progress bar was drawn, or cleared.
void set_bar_shown(bool shown);
void clear_bar();
