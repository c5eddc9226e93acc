#include "support/run_checks.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "support/process.h"

std::vector<std::string> command(const std::string& tmpdir, const std::vector<std::string>& args,
                                 const std::string& exe) {
  std::vector<std::string> argv = {"/usr/bin/env", "TMPDIR=" + tmpdir, exe};
  argv.insert(argv.end(), args.begin(), args.end());
  return argv;
}

std::vector<std::string> entries(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

std::vector<std::string> processes_under(const std::string& path) {
  std::vector<std::string> found;
  DIR* proc = opendir("/proc");
  while (dirent* entry = readdir(proc)) {
    std::string pid = entry->d_name;
    if (pid.find_first_not_of("0123456789") != std::string::npos) continue;
    std::string cwd(4096, '\0');
    ssize_t n = readlink(("/proc/" + pid + "/cwd").c_str(), cwd.data(), cwd.size());
    cwd.resize(n > 0 ? static_cast<size_t>(n) : 0);
    std::string cmdline = read_file("/proc/" + pid + "/cmdline");
    if (cwd.rfind(path, 0) == 0 || cmdline.find(path) != std::string::npos) {
      found.push_back(pid + " " + cwd);
    }
  }
  closedir(proc);
  return found;
}

void expect_clean(const std::string& tmpdir) {
  EXPECT_EQ(entries(tmpdir), std::vector<std::string>{});
  EXPECT_EQ(processes_under(tmpdir), std::vector<std::string>{});
}
