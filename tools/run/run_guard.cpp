#include "tools/run/run_guard.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "driver/diagnostics.h"
#include "tools/run/run_dir.h"
#include "tools/run/talvon_child.h"

namespace {

struct Guarded {
  std::vector<std::string> roots;
  std::vector<pid_t> groups;
  std::string failing_chunk;
  std::string status_file;
  bool bar_shown = false;
};
Guarded guarded;
int signal_pipe[2] = {-1, -1};

void write_status(const std::string& text) {
  if (guarded.status_file.empty()) return;
  FILE* file = fopen(guarded.status_file.c_str(), "w");
  if (file == nullptr) return;
  fputs(text.c_str(), file);
  fclose(file);
}

void clean_up() {
  clear_bar();
  if (!guarded.failing_chunk.empty()) {
    fprintf(stderr, "talvon-run: in %s\n", guarded.failing_chunk.c_str());
    guarded.failing_chunk.clear();
  }
  for (pid_t group : guarded.groups) kill(-group, SIGKILL);
  for (pid_t group : guarded.groups) end_process_group(group, false);
  guarded.groups.clear();
  for (const std::string& root : guarded.roots) remove_tree(root);
  guarded.roots.clear();
  // A chunk that ends any other way than through its own success failed.
  write_status("failed\ntalvon-run ended early: see its error output\n");
  guarded.status_file.clear();
}

void on_signal(int number) {
  int saved = errno;
  unsigned char byte = static_cast<unsigned char>(number);
  ssize_t ignored = write(signal_pipe[1], &byte, 1);
  (void)ignored;
  errno = saved;
}

}  // namespace

void guard_run() {
  if (pipe2(signal_pipe, O_CLOEXEC | O_NONBLOCK) != 0) pdie("talvon-run: pipe");
  struct sigaction action = {};
  action.sa_handler = on_signal;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  for (int number : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) sigaction(number, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);
  become_subreaper();
  atexit(clean_up);
}

int signal_fd() { return signal_pipe[0]; }

void take_signals() {
  unsigned char signals[16];
  ssize_t n = read(signal_pipe[0], signals, sizeof signals);
  for (ssize_t i = 0; i < n; i++) {
    if (signals[i] == SIGCHLD) continue;
    guarded.failing_chunk.clear();
    clear_bar();
    fprintf(stderr, "talvon-run: interrupted\n");
    write_status("failed\ntalvon-run: interrupted\n");
    guarded.status_file.clear();
    exit(128 + signals[i]);
  }
}

void guard_root(const std::string& root) { guarded.roots.push_back(root); }

void release_root(const std::string& root) {
  remove_tree(root);
  auto& roots = guarded.roots;
  roots.erase(std::remove(roots.begin(), roots.end(), root), roots.end());
}

void guard_group(pid_t group) { guarded.groups.push_back(group); }

void release_group(pid_t group, bool talvon_reaped) {
  auto& groups = guarded.groups;
  groups.erase(std::remove(groups.begin(), groups.end(), group), groups.end());
  end_process_group(group, talvon_reaped);
}

void set_failing_chunk(const std::string& description) { guarded.failing_chunk = description; }

void set_status_file(const std::string& path) { guarded.status_file = path; }

void fail_run(const std::string& message, const std::string& earlier) {
  clear_bar();
  fprintf(stderr, "%s\n", message.c_str());
  std::string chunk = guarded.failing_chunk.empty() ? "" : "talvon-run: in " + guarded.failing_chunk + "\n";
  write_status("failed\n" + earlier + message + "\n" + chunk);
  guarded.status_file.clear();
  exit(1);
}

void set_bar_shown(bool shown) { guarded.bar_shown = shown; }

void clear_bar() {
  if (!guarded.bar_shown) return;
  fputs("\r\033[K", stderr);
  fflush(stderr);
  guarded.bar_shown = false;
}
