#include "platform/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>

#include "driver/diagnostics.h"

namespace {

// The child runs only async-signal-safe calls: the parent may have threads.

// Every descriptor above the standard streams is closed at exec. One call
// where the kernel has it, else a walk up to the descriptor limit; the
// report pipe is close-on-exec already.
void close_inherited(int keep, long open_max) {
#ifdef SYS_close_range
  if (syscall(SYS_close_range, 3u, ~0u, 4u /* CLOSE_RANGE_CLOEXEC */) == 0) return;
#endif
  for (long fd = 3; fd < open_max; fd++) {
    if (fd != keep) close(static_cast<int>(fd));
  }
}

// Raises only the soft limit, and no further than the hard one allows.
void raise_stack_limit(size_t bytes) {
  struct rlimit limit;
  if (getrlimit(RLIMIT_STACK, &limit) != 0) return;
  if (limit.rlim_cur == RLIM_INFINITY || limit.rlim_cur >= bytes) return;
  limit.rlim_cur = bytes;
  if (limit.rlim_max != RLIM_INFINITY && limit.rlim_max < bytes) limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_STACK, &limit);
}

[[noreturn]] void start_child(char* const* args, size_t stack_bytes, int report, long open_max) {
  // Ignored signals stay ignored across exec; the child starts as a fresh
  // process would.
  signal(SIGPIPE, SIG_DFL);
  close_inherited(report, open_max);
  if (stack_bytes > 0) raise_stack_limit(stack_bytes);
  execvp(args[0], args);
  int error = errno;
  ssize_t ignored = write(report, &error, sizeof error);
  (void)ignored;
  _exit(127);
}

int decode_status(int status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

// The exec error the child reported, or 0 when exec succeeded and closed
// the pipe.
int read_start_error(int fd) {
  int error = 0;
  size_t got = 0;
  while (got < sizeof error) {
    ssize_t n = read(fd, reinterpret_cast<char*>(&error) + got, sizeof error - got);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    got += static_cast<size_t>(n);
  }
  return got == sizeof error ? error : 0;
}

}  // namespace

ChildExit run_child(const std::vector<std::string>& argv, size_t stack_bytes) {
  if (argv.empty()) die("run_child: no program");
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);

  long open_max = sysconf(_SC_OPEN_MAX);
  if (open_max < 0 || open_max > INT_MAX) open_max = 65536;
  int report[2];
  if (pipe2(report, O_CLOEXEC) != 0) pdie("pipe()");
  // Output buffered in this process must not be written twice or late.
  fflush(nullptr);
  pid_t pid = fork();
  if (pid < 0) {
    int error = errno;
    close(report[0]);
    close(report[1]);
    errno = error;
    return {false, error, 0};
  }
  if (pid == 0) start_child(args.data(), stack_bytes, report[1], open_max);

  close(report[1]);
  int error = read_start_error(report[0]);
  close(report[0]);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) pdie("waitpid()");
  }
  if (error != 0) {
    errno = error;
    return {false, error, 0};
  }
  return {true, 0, decode_status(status)};
}

namespace {

// A link `link` to `target`; a link left by an earlier run that was killed
// is replaced, anything else there is left alone.
bool make_link(const std::string& target, const std::string& link) {
  if (symlink(target.c_str(), link.c_str()) == 0) return true;
  struct stat status;
  if (errno != EEXIST || lstat(link.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) return false;
  return unlink(link.c_str()) == 0 && symlink(target.c_str(), link.c_str()) == 0;
}

}  // namespace

ChildExit run_child_named(const std::string& path, const std::string& name, size_t stack_bytes) {
  size_t slash = path.rfind('/');
  std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  std::string file = path.substr(folder.size());
  std::string link = folder + name;
  // The kernel names a process after the file it was started from.
  if (!make_link(file, link)) return run_child({path}, stack_bytes);
  ChildExit exit = run_child({link}, stack_bytes);
  int error = errno;
  unlink(link.c_str());
  errno = error;
  return exit;
}
