#include "tools/run/talvon_child.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "driver/diagnostics.h"
#include "platform/compat_include.h"

std::string talvon_path() { return executable_dir() + "/talvon"; }

// Only async-signal-safe calls between fork and exec.
[[noreturn]] static void exec_child(char* const* args, const char* cwd, int out, int err) {
  setpgid(0, 0);
  signal(SIGPIPE, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  int null = open("/dev/null", O_RDONLY);
  if (null < 0 || dup2(null, 0) < 0 || dup2(out, 1) < 0 || dup2(err, 2) < 0) _exit(126);
  if (chdir(cwd) != 0) {
    const char text[] = "talvon-run: cannot enter the run directory\n";
    ssize_t ignored = write(2, text, sizeof text - 1);
    (void)ignored;
    _exit(126);
  }
  execv(args[0], args);
  const char* reason = strerror(errno);
  const char* parts[] = {"talvon-run: cannot start ", args[0], ": ", reason, "\n"};
  for (const char* part : parts) {
    ssize_t ignored = write(2, part, strlen(part));
    (void)ignored;
  }
  _exit(127);
}

TalvonChild start_talvon(const std::vector<std::string>& argv, const std::string& cwd) {
  int out[2], err[2];
  if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) pdie("talvon-run: pipe");
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  fflush(stdout);
  fflush(stderr);
  pid_t pid = fork();
  if (pid < 0) pdie("talvon-run: fork");
  if (pid == 0) exec_child(args.data(), cwd.c_str(), out[1], err[1]);
  // Both sides set the group, so it exists whichever runs first.
  setpgid(pid, pid);
  close(out[1]);
  close(err[1]);
  fcntl(out[0], F_SETFL, O_NONBLOCK);
  fcntl(err[0], F_SETFL, O_NONBLOCK);
  return TalvonChild{pid, out[0], err[0]};
}

void become_subreaper() { prctl(PR_SET_CHILD_SUBREAPER, 1); }

void end_process_group(pid_t group, bool talvon_reaped) {
  if (group <= 0) return;
  int status;
  // Once talvon is reaped the group is killed only while a child of ours is
  // left in it, so a group id given out again is never hit.
  if (talvon_reaped && waitpid(-group, &status, WNOHANG) < 0) return;
  kill(-group, SIGKILL);
  for (;;) {
    pid_t done = waitpid(-group, &status, 0);
    if (done < 0 && errno == EINTR) continue;
    if (done < 0) break;
  }
}
