#include "bench/proc_stats.h"

#include <dirent.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

long status_kib(pid_t pid, const char* field, std::string* name) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  size_t length = strlen(field);
  // Name is the first line, the memory figures come after it.
  while (std::getline(in, line)) {
    if (name != nullptr && line.rfind("Name:", 0) == 0) {
      *name = line.substr(line.find_first_not_of(" \t", 5));
    } else if (line.compare(0, length, field) == 0) {
      return atol(line.c_str() + length);
    }
  }
  return 0;
}

double cpu_seconds(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  size_t end = text.rfind(')');  // the name may hold blanks
  if (end == std::string::npos) return 0;
  std::istringstream fields(text.substr(end + 2));
  std::string field;
  double ticks = 0;
  for (int i = 3; i <= 15 && fields >> field; i++) {
    if (i == 14 || i == 15) ticks += atof(field.c_str());
  }
  return ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
}

std::vector<pid_t> children(pid_t pid) {
  std::vector<pid_t> found;
  std::string tasks = "/proc/" + std::to_string(pid) + "/task";
  DIR* dir = opendir(tasks.c_str());
  if (dir == nullptr) return found;
  while (dirent* entry = readdir(dir)) {
    if (entry->d_name[0] == '.') continue;
    std::ifstream in(tasks + "/" + entry->d_name + "/children");
    for (pid_t child; in >> child;) found.push_back(child);
  }
  closedir(dir);
  return found;
}
