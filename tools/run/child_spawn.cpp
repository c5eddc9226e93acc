#include "tools/run/child_spawn.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "driver/diagnostics.h"

static void write_parts(const char* const* parts, int count) {
  for (int i = 0; i < count; i++) {
    ssize_t ignored = write(2, parts[i], strlen(parts[i]));
    (void)ignored;
  }
}

// Only async-signal-safe calls between fork and exec.
[[noreturn]] static void exec_child(char* const* args, const SpawnOptions& options, int out,
                                    int err) {
  if (options.own_group) setpgid(0, 0);
  signal(SIGPIPE, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  int null = open("/dev/null", O_RDONLY);
  if (null < 0 || dup2(null, 0) < 0 || dup2(out, 1) < 0 || dup2(err, 2) < 0) _exit(126);
  if (options.cwd != nullptr && chdir(options.cwd) != 0) {
    const char* parts[] = {options.prefix, "cannot enter the run directory\n"};
    write_parts(parts, 2);
    _exit(126);
  }
  execvp(args[0], args);
  const char* parts[] = {options.prefix, "cannot start ", args[0], ": ", strerror(errno), "\n"};
  write_parts(parts, 6);
  _exit(127);
}

SpawnedChild spawn_child(const std::vector<std::string>& argv, const SpawnOptions& options) {
  int out[2], err[2];
  if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) pdie("talvon-run: pipe");
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  fflush(stdout);
  fflush(stderr);
  pid_t pid = fork();
  if (pid < 0) pdie("talvon-run: fork");
  if (pid == 0) exec_child(args.data(), options, out[1], err[1]);
  // Both sides set the group, so it exists whichever runs first.
  if (options.own_group) setpgid(pid, pid);
  close(out[1]);
  close(err[1]);
  return SpawnedChild{pid, out[0], err[0]};
}
