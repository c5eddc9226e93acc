#include "bench/bench_support.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

void fail(const std::string& message) {
  // The program's own name, so that each benchmark speaks for itself.
  fprintf(stderr, "%s: %s\n", program_invocation_short_name, message.c_str());
  exit(1);
}

void fail_errno(const std::string& what) {
  fail(what + ": " + strerror(errno));
}

double now() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

std::string read_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void write_text(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
  if (!out) fail("cannot write " + path);
}

// The tools run in the run folders, so every path they get is absolute.
std::string absolute(const char* path) {
  char resolved[PATH_MAX];
  if (realpath(path, resolved) == nullptr) fail_errno(std::string("realpath ") + path);
  return resolved;
}

std::string build_folder() {
  std::string exe = absolute("/proc/self/exe");
  std::string bench = exe.substr(0, exe.rfind('/'));
  return bench.substr(0, bench.rfind('/'));
}

std::string make_temp_folder(const char* name) {
  std::string path = std::string("/tmp/") + name + "-XXXXXX";
  if (mkdtemp(path.data()) == nullptr) fail_errno("mkdtemp");
  return path;
}

void remove_or_keep(const std::string& folder, bool keep) {
  if (keep) {
    printf("kept %s\n", folder.c_str());
    return;
  }
  std::string command = "rm -rf '" + folder + "'";
  if (system(command.c_str()) != 0) fail("cannot remove " + folder);
}

const char* option_value(int argc, char** argv, int& i, const char* usage) {
  if (i + 1 >= argc) fail(usage);
  return argv[++i];
}

std::vector<long> parse_list(const char* text, long least, const char* what) {
  std::vector<long> list;
  std::stringstream in(text);
  std::string item;
  while (std::getline(in, item, ',')) {
    char* end = nullptr;
    long n = strtol(item.c_str(), &end, 10);
    if (item.empty() || *end != '\0' || n < least) fail(std::string("bad ") + what + ": " + item);
    list.push_back(n);
  }
  return list;
}

std::string generate_script(long policies) {
  return "(define (task) (generate " + std::to_string(policies) + " \"a.pf\" \"b.pf\"))\n";
}

pid_t start_quiet(const std::vector<std::string>& argv, const std::string& cwd) {
  pid_t pid = fork();
  if (pid < 0) fail_errno("fork");
  if (pid == 0) {
    if (chdir(cwd.c_str()) != 0) _exit(126);
    int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
  }
  return pid;
}

void require_success(int status, const std::vector<std::string>& argv, const std::string& cwd) {
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) fail(argv[0] + " failed in " + cwd);
}
