#include "support/process.h"


#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

std::string temp_file() {
  char name[] = "/tmp/talvon-test-XXXXXX";
  int fd = mkstemp(name);
  if (fd < 0) abort();
  close(fd);
  return name;
}

int decode_status(int status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

Outcome collect(pid_t pid, const std::string& out_path, const std::string& err_path) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
  }
  Outcome outcome{decode_status(status), read_file(out_path), read_file(err_path)};
  unlink(out_path.c_str());
  unlink(err_path.c_str());
  return outcome;
}

void redirect(int fd, const std::string& path, int flags) {
  int file = open(path.c_str(), flags, 0600);
  if (file < 0 || dup2(file, fd) < 0) _exit(125);
  close(file);
}

}  // namespace

Outcome run_fatal(const std::function<void()>& body) {
  std::string out_path = temp_file();
  std::string err_path = temp_file();
  fflush(stdout);
  fflush(stderr);
  pid_t pid = fork();
  if (pid == 0) {
    redirect(1, out_path, O_WRONLY | O_TRUNC);
    redirect(2, err_path, O_WRONLY | O_TRUNC);
    body();
    exit(0);
  }
  return collect(pid, out_path, err_path);
}

Outcome run_program(const std::vector<std::string>& argv, const std::string& input,
                    const std::string& cwd) {
  std::string in_path = temp_file();
  std::string out_path = temp_file();
  std::string err_path = temp_file();
  write_file(in_path, input);
  fflush(stdout);
  fflush(stderr);
  pid_t pid = fork();
  if (pid == 0) {
    redirect(0, in_path, O_RDONLY);
    redirect(1, out_path, O_WRONLY | O_TRUNC);
    redirect(2, err_path, O_WRONLY | O_TRUNC);
    if (!cwd.empty() && chdir(cwd.c_str()) != 0) _exit(126);
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
  }
  Outcome outcome = collect(pid, out_path, err_path);
  unlink(in_path.c_str());
  return outcome;
}

TempDir::TempDir() {
  char name[] = "/tmp/talvon-dir-XXXXXX";
  if (mkdtemp(name) == nullptr) abort();
  path = name;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

void write_file(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
}

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream content;
  content << file.rdbuf();
  return content.str();
}
