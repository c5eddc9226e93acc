#include "platform/compat_include.h"

#include <unistd.h>

#include <cstdio>
#include <string>

#include "driver/diagnostics.h"

namespace {

bool holds_header(const std::string& dir) {
  return access((dir + "/windows.h").c_str(), R_OK) == 0;
}

}  // namespace

std::string executable_dir() {
  std::string path(4096, '\0');
  ssize_t n = readlink("/proc/self/exe", path.data(), path.size());
  if (n < 0) pdie("readlink(/proc/self/exe)");
  if (static_cast<size_t>(n) >= path.size()) die("executable path too long");
  path.resize(static_cast<size_t>(n));
  return path.substr(0, path.rfind('/'));
}

std::string compat_include_dir_near(const std::string& exe_dir) {
  std::string build_tree = exe_dir + "/include";
  if (holds_header(build_tree)) return build_tree;
  std::string install_tree = exe_dir + "/../share/talvon/include";
  if (holds_header(install_tree)) return install_tree;
  printf("Trying to open %s\n", (install_tree + "/windows.h").c_str());
  die("windows.h for tcc not found");
}

std::string compat_include_dir() { return compat_include_dir_near(executable_dir()); }

std::vector<std::string> tcc_command(const std::string& include_dir, const std::string& output,
                                     const std::string& source) {
  return {"tcc", "-I" + include_dir, "-o", output, source, "-lm"};
}
