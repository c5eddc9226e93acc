#include "tools/run/run_dir.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

#include "core/reader.h"
#include "driver/diagnostics.h"
#include "platform/crt_rand.h"
#include "tools/run/result_files.h"

std::string temp_parent() {
  const char* tmpdir = getenv("TMPDIR");
  if (tmpdir == nullptr || *tmpdir == '\0') return "/tmp";
  return tmpdir;
}

static void make(const std::string& path, int (*maker)(const char*, mode_t)) {
  if (maker(path.c_str(), 0700) != 0) pdie(("talvon-run: " + path).c_str());
}

RunDir make_run_dir(bool socket) {
  std::string pattern = temp_parent() + "/talvon-run-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) pdie(("talvon-run: mkdtemp " + pattern).c_str());
  RunDir dir;
  dir.root = pattern;
  dir.work = dir.root + "/work";
  dir.progress_fifo = dir.root + "/progress";
  dir.result_fifo = socket ? "" : dir.root + "/result";
  make(dir.work, mkdir);
  make(dir.root + "/bin", mkdir);
  make(dir.progress_fifo, mkfifo);
  if (!socket) make(dir.result_fifo, mkfifo);
  return dir;
}

static std::string base_name(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

ScriptNames script_names(const std::string& model, const std::string& portfolio,
                         const std::string& run) {
  // Standard input ("-") gets the name of its role.
  auto name_of = [](const std::string& path, const char* role) {
    return path == "-" || path.empty() ? std::string(role) : base_name(path);
  };
  ScriptNames names{name_of(model, "model.tal"), name_of(portfolio, "portfolio.tal"), name_of(run, "run.tal")};
  auto usable = [](const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name != "conf";
  };
  if (!usable(names.model)) names.model = "model.tal";
  if (!usable(names.portfolio) || names.portfolio == names.model) {
    names.portfolio = "portfolio-" + names.portfolio;
  }
  if (!usable(names.run) || names.run == names.model || names.run == names.portfolio) {
    names.run = "run-" + names.run;
  }
  return names;
}

[[noreturn]] static void unreadable(const std::string& path, const char* what) {
  std::string message = std::string("talvon-run: cannot read the ") + what + " " + path + ": " + strerror(errno);
  die(message.c_str());
}

void check_readable(const std::string& path, const char* what) {
  if (path == "-") return;
  struct stat info;
  if (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
    die((std::string("talvon-run: cannot read the ") + what + " " + path + ": it is a folder, not a script").c_str());
  }
  FILE* file = fopen(path.c_str(), "rb");
  if (file == nullptr) unreadable(path, what);
  fclose(file);
}

std::string read_script(const std::string& path, const char* what) {
  std::string prefix = std::string("talvon-run: cannot read the ") + what + " " + path + ": ";
  struct stat info;
  if (path != "-" && stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
    die((prefix + "it is a folder, not a script").c_str());
  }
  FILE* file = path == "-" ? stdin : fopen(path.c_str(), "rb");
  std::string text;
  if (file != nullptr) {
    char buffer[65536];
    for (size_t n; (n = fread(buffer, 1, sizeof buffer, file)) > 0;) text.append(buffer, n);
    bool failed = ferror(file) != 0;
    int reason = errno;
    if (file != stdin) fclose(file);
    if (!failed) return text;
    errno = reason;
  }
  die((prefix + strerror(errno)).c_str());
}

void copy_scrambled_script(const RunDir& dir, const std::string& name, const std::string& from,
                           const char* what) {
  FILE* in = fopen(from.c_str(), "rb");
  if (in == nullptr) unreadable(from, what);
  std::string to = dir.work + "/" + name;
  FILE* out = fopen(to.c_str(), "wb");
  if (out == nullptr) pdie(("talvon-run: " + to).c_str());
  crt_srand(scramble_seed(name.c_str()));
  std::vector<char> buffer(1 << 20);
  for (size_t n; (n = fread(buffer.data(), 1, buffer.size(), in)) > 0;) {
    for (size_t i = 0; i < n; i++) buffer[i] = static_cast<char>((crt_rand() ^ static_cast<unsigned char>(buffer[i])) & 255);
    fwrite(buffer.data(), 1, n, out);
  }
  bool failed = ferror(in) != 0;
  fclose(in);
  if (failed) {
    errno = EIO;
    unreadable(from, what);
  }
  if (ferror(out) != 0 || fclose(out) != 0) pdie(("talvon-run: " + to).c_str());
}

void link_conf(const RunDir& dir, const std::string& conf) {
  std::error_code error;
  std::string target = std::filesystem::absolute(conf, error).string();
  if (error || symlink(target.c_str(), (dir.work + "/conf").c_str()) != 0) {
    pdie(("talvon-run: conf link to " + conf).c_str());
  }
}

void remove_tree(const std::string& path) {
  if (path.empty()) return;
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}
