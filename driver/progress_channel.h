// The progress channel to the front end: a named pipe (a FIFO here) that
// the front end creates and the back end joins as its only writer.
#pragma once

// Sends the 4-byte end record if the channel is open, then closes it.
// Does nothing while no channel is open.
void send_end();
