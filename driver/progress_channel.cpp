#include "driver/progress_channel.h"

// The channel itself is opened by `server`; until it is, nothing is sent.
static int channel = -1;

void send_end() {
  if (channel < 0) return;
  channel = -1;
}
