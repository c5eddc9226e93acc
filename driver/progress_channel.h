// The progress channel to the front end: a named pipe (a FIFO here) that
// the front end creates and the back end joins as its only writer. Records
// are raw native-order bytes: progress is the int 1 and a double, the end
// of a failed run is the int 3.
#pragma once

#include <cstdint>

// Waits without limit until the pipe exists, then opens it for writing.
// A name whose atoi is negative ("-1") opens nothing.
void open_progress_channel(const char* pipe_name);
void close_progress_channel();

// Sends (1, x) when round(100 x) differs from the last percentage.
void send_progress(double x);

// Sends the 4-byte end record if the channel is open, then closes it.
// Attempted at most once per process. A failing write here does not end
// the process, since `die` sends it on its way out: FALSE tells the caller
// the record was lost, and the caller reports it after its own message.
int send_end();

// The message of a lost end record.
extern const char* const END_RECORD_LOST;

void send_int(int32_t value);
void send_double(double value);
