#include "tools/run/command.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "driver/diagnostics.h"

// Only async-signal-safe calls between fork and exec.
[[noreturn]] static void exec_command(char* const* args, int out, int err) {
  signal(SIGPIPE, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  int null = open("/dev/null", O_RDONLY);
  if (null < 0 || dup2(null, 0) < 0 || dup2(out, 1) < 0 || dup2(err, 2) < 0) _exit(126);
  execvp(args[0], args);
  const char* reason = strerror(errno);
  const char* parts[] = {"cannot start ", args[0], ": ", reason, "\n"};
  for (const char* part : parts) {
    ssize_t ignored = write(2, part, strlen(part));
    (void)ignored;
  }
  _exit(127);
}

CommandResult run_command(const std::vector<std::string>& argv) {
  int out[2], err[2];
  if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) pdie("talvon-run: pipe");
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  fflush(stdout);
  fflush(stderr);
  pid_t pid = fork();
  if (pid < 0) pdie("talvon-run: fork");
  if (pid == 0) exec_command(args.data(), out[1], err[1]);
  close(out[1]);
  close(err[1]);

  CommandResult result;
  pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
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
  while (waitpid(pid, &raw, 0) < 0) {
    if (errno != EINTR) pdie("talvon-run: waitpid");
  }
  result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
  return result;
}
