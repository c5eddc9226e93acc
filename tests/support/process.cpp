#include "support/process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

std::string take_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream content;
  content << file.rdbuf();
  unlink(path.c_str());
  return content.str();
}

}  // namespace

Outcome run_fatal(const std::function<void()>& body) {
  char out[] = "/tmp/talvon-test-XXXXXX";
  char err[] = "/tmp/talvon-test-XXXXXX";
  int out_fd = mkstemp(out);
  int err_fd = mkstemp(err);
  if (out_fd < 0 || err_fd < 0) abort();
  fflush(stdout);
  fflush(stderr);
  pid_t pid = fork();
  if (pid == 0) {
    if (dup2(out_fd, 1) < 0 || dup2(err_fd, 2) < 0) _exit(125);
    body();
    exit(0);
  }
  close(out_fd);
  close(err_fd);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
  }
  int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return {code, take_file(out), take_file(err)};
}
