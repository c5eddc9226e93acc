#include "driver/diagnostics.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/cell.h"
#include "driver/progress_channel.h"

// When the end record is lost (the front end has gone), the fault's own
// message still comes first, and the lost record after it.
void die(const char* message) {
  int sent = send_end();
  fprintf(stderr, "%s\n", message);
  if (!sent) fprintf(stderr, "%s\n", END_RECORD_LOST);
  exit(1);
}

void pdie(const char* message) {
  int saved = errno;  // send_end may touch errno
  int sent = send_end();
  errno = saved;
  perror(message);
  if (!sent) fprintf(stderr, "%s\n", END_RECORD_LOST);
  exit(1);
}

void pdie_label(const char* label, const char* fallback) {
  pdie(label != nullptr ? label : fallback);
}

void system_error_exit(const char* message) {
  int code = errno;
  printf("%s: %s\n", message, strerror(code));
  fflush(stdout);
  exit(code);
}

void error_at(const Cell* where, const char* message) {
  fprintf(stderr, "File %s line %d character %d\n", where->file, where->line, where->character);
  die(message);
}
