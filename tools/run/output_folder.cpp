#include "tools/run/output_folder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "driver/diagnostics.h"

const char* const RESULT_FILES[] = {"cashflows.csv", "reserves.csv", "cashflows.svg", "reserves.svg",
                                     "run.json",      "report.html",  nullptr};

namespace {

std::vector<std::string> pending;
std::string made;  // the folder, when this run made it

// A folder this run made and left empty goes again: a failed run leaves
// no trace in the output folder.
void remove_made() {
  if (!made.empty()) rmdir(made.c_str());
}

void remove_pending() {
  for (const std::string& path : pending) unlink(path.c_str());
  pending.clear();
}

[[noreturn]] void fail(const std::string& folder, const std::string& reason) {
  die(("talvon-run: cannot write results into " + folder + ": " + reason).c_str());
}

}  // namespace

void prepare_output_folder(const std::string& folder) {
  std::error_code error;
  struct stat before;
  if (stat(folder.c_str(), &before) != 0 && std::filesystem::create_directories(folder, error)) {
    made = folder;
    atexit(remove_made);
  }
  struct stat info;
  if (stat(folder.c_str(), &info) != 0) fail(folder, error ? error.message() : strerror(errno));
  if (!S_ISDIR(info.st_mode)) fail(folder, "it is not a folder");
  // access() says yes to root everywhere; a file made and removed says it.
  std::string probe = folder + "/.talvon-run-XXXXXX";
  int fd = mkstemp(probe.data());
  if (fd < 0) fail(folder, std::string("no file can be made in it: ") + strerror(errno));
  close(fd);
  unlink(probe.c_str());
  for (int i = 0; RESULT_FILES[i] != nullptr; i++) {
    std::string path = folder + "/" + RESULT_FILES[i];
    if (unlink(path.c_str()) != 0 && errno != ENOENT) fail(folder, path + ": " + strerror(errno));
  }
}

std::string partial_name(const std::string& path) {
  return path + ".partial";
}

void note_partial(const std::string& path) {
  static bool registered = false;
  if (!registered) atexit(remove_pending);
  registered = true;
  pending.push_back(partial_name(path));
}

void publish_partials(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    if (rename(partial_name(path).c_str(), path.c_str()) != 0) pdie(("talvon-run: " + path).c_str());
  }
  pending.clear();
}
