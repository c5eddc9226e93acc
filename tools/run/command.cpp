#include "tools/run/command.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "driver/diagnostics.h"
#include "tools/run/child_spawn.h"

CommandResult run_command(const std::vector<std::string>& argv) {
  SpawnedChild child = spawn_child(argv, SpawnOptions{});
  CommandResult result;
  pollfd fds[2] = {{child.out, POLLIN, 0}, {child.err, POLLIN, 0}};
  std::string* texts[2] = {&result.out, &result.err};
  int open_count = 2;
  while (open_count > 0) {
    if (poll(fds, 2, -1) < 0) {
      if (errno == EINTR) continue;
      pdie("talvon-run: poll");
    }
    for (int i = 0; i < 2; i++) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buffer[4096];
      ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      if (n < 0 && errno == EINTR) continue;
      if (n > 0) {
        texts[i]->append(buffer, static_cast<size_t>(n));
        continue;
      }
      close(fds[i].fd);
      fds[i].fd = -1;
      open_count--;
    }
  }
  int raw = 0;
  while (waitpid(child.pid, &raw, 0) < 0) {
    if (errno != EINTR) pdie("talvon-run: waitpid");
  }
  result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
  return result;
}
