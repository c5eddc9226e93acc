// The runner of the case files (see README.md beside it): one test per
// case, run through the real executables in a directory of its own.
#include <gtest/gtest.h>
#include <poll.h>
#include <regex.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tools/run/scramble.h"

namespace fs = std::filesystem;

namespace {

const std::string CASES = TALVON_SOURCE_DIR "/tests/cases";

struct Section {
  std::string path, text;
  bool scrambled = false, executable = false, expand = false;
};

struct Case {
  std::string file, name;
  std::vector<std::string> command, env, shows, values;
  std::string cwd = "work";
  std::vector<Section> sections;
};

std::string read_all(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void write_all(const std::string& path, const std::string& text) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

std::vector<std::string> words(const std::string& line) {
  std::istringstream in(line);
  std::vector<std::string> result;
  for (std::string w; in >> w;) result.push_back(w);
  return result;
}

bool starts(const std::string& s, const std::string& prefix) {
  return s.compare(0, prefix.size(), prefix) == 0;
}

std::string replace_all(std::string s, const std::string& from, const std::string& to) {
  for (size_t at = s.find(from); at != std::string::npos; at = s.find(from, at + to.size())) {
    s.replace(at, from.size(), to);
  }
  return s;
}

// A directive line of the header or of a case; false for any other line.
bool directive(Case& c, const std::string& line) {
  if (starts(line, "#")) return true;
  if (starts(line, "$ ")) c.command = words(line.substr(2));
  else if (starts(line, "cwd: ")) c.cwd = line.substr(5);
  else if (starts(line, "env: ")) c.env.push_back(line.substr(5));
  else if (starts(line, "show: ")) c.shows.push_back(line.substr(6));
  else if (starts(line, "value: ")) c.values.push_back(line.substr(7));
  else return false;
  return true;
}

Section section_of(const std::string& line) {
  std::vector<std::string> w = words(line.substr(4));
  Section s;
  s.path = w.empty() ? "" : w[0];
  for (size_t i = 1; i < w.size(); i++) {
    s.scrambled |= w[i] == "scrambled";
    s.executable |= w[i] == "executable";
    s.expand |= w[i] == "expand";
  }
  return s;
}

// The text of a case that stands before any section of its own: it
// replaces the header's first section.
Section* start_text(Case& c, const Case& header, const std::string& line) {
  if (header.sections.empty()) return nullptr;
  c.sections.push_back(header.sections.front());
  c.sections.back().text = line + "\n";
  return &c.sections.back();
}

// The cases of one file: the header's settings and sections, then each
// case's own.
std::vector<Case> read_cases(const std::string& path) {
  std::istringstream in(read_all(path));
  Case header;
  std::vector<Case> cases;
  Case* current = &header;
  Section* text = nullptr;
  for (std::string line; std::getline(in, line);) {
    if (starts(line, "=== ")) {
      cases.push_back(header);
      current = &cases.back();
      size_t space = line.find(' ', 4);
      current->name = line.substr(4, space == std::string::npos ? space : space - 4);
      // A one-line case: its text follows the name.
      text = nullptr;
      if (space != std::string::npos) text = start_text(*current, header, line.substr(space + 1));
    } else if (starts(line, "--- ")) {
      current->sections.push_back(section_of(line));
      text = &current->sections.back();
    } else if (text == nullptr && directive(*current, line)) {
    } else if (text == nullptr && current != &header) {
      text = start_text(*current, header, line);
    } else if (text != nullptr) {
      text->text += line + "\n";
    }
  }
  for (Case& c : cases) c.file = path;
  return cases;
}

// \xHH, \\, \repeat{N}{TEXT}; a final backslash drops the last newline.
std::string expand(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); i++) {
    if (text[i] != '\\' || i + 1 >= text.size()) {
      out += text[i];
    } else if (text[i + 1] == 'x') {
      out += static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16));
      i += 3;
    } else if (text[i + 1] == '\\') {
      out += '\\';
      i++;
    } else if (text.compare(i, 8, "\\repeat{") == 0) {
      size_t close = text.find('}', i);
      size_t end = text.find('}', close + 2);
      std::string part = text.substr(close + 2, end - close - 2);
      for (long n = std::stol(text.substr(i + 8, close - i - 8)); n > 0; n--) out += part;
      i = end;
    } else if (text[i + 1] == '\n' && i + 2 == text.size()) {
      return out;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::string program(const std::string& name) {
  if (name == "talvon") return TALVON_EXE;
  if (name == "talvon-run") return TALVON_RUN_EXE;
  if (name == "talvon-scramble") return TALVON_SCRAMBLE_EXE;
  return name;
}

struct Outcome {
  int status;
  std::string out, err;
};

// Runs the command in its own process group; one that hangs is killed.
Outcome run(const Case& c, const std::string& root, const std::string& stdin_path) {
  std::vector<std::string> argv;
  auto paths = [&](const std::string& s) {
    std::string build = fs::path(TALVON_EXE).parent_path().string();
    return replace_all(replace_all(replace_all(s, "$ROOT", root), "$SOURCE", TALVON_SOURCE_DIR),
                       "$BUILD", build);
  };
  for (const std::string& w : c.command) argv.push_back(paths(w));
  argv[0] = program(argv[0]);
  const std::string out = root + "/.out", err = root + "/.err";
  pid_t pid = fork();
  if (pid == 0) {
    setpgid(0, 0);
    if (!freopen(stdin_path.c_str(), "rb", stdin) || !freopen(out.c_str(), "wb", stdout) ||
        !freopen(err.c_str(), "wb", stderr) || chdir((root + "/" + c.cwd).c_str()) != 0) {
      _exit(125);
    }
    setenv("TMPDIR", (root + "/tmp").c_str(), 1);
    std::string path = fs::path(TALVON_EXE).parent_path().string() + ":" + getenv("PATH");
    setenv("PATH", path.c_str(), 1);
    for (const std::string& e : c.env) {
      std::string value = paths(e);
      size_t eq = value.find('=');
      setenv(value.substr(0, eq).c_str(), value.substr(eq + 1).c_str(), 1);
    }
    std::vector<char*> args;
    for (std::string& a : argv) args.push_back(a.data());
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  int status = 0;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(3);
  while (waitpid(pid, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(-pid, SIGKILL);
      ADD_FAILURE() << "killed after three minutes";
    }
    poll(nullptr, 0, 5);
  }
  int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return {code, read_all(out), read_all(err)};
}

void render(std::string& to, const std::string& title, const std::string& text) {
  if (text.empty()) return;
  to += "--- " + title + "\n" + text;
  if (text.back() != '\n') to += "\n[no newline at end]\n";
}

// `show: FILE`, `show: FILE ~ REGEX` or `show: DIR/`.
std::string shown(const std::string& show, const std::string& cwd) {
  std::vector<std::string> w = words(show);
  std::string path = cwd + "/" + w[0];
  if (w[0].back() == '/') {
    std::vector<std::string> names;
    if (fs::is_directory(path)) {
      for (const auto& e : fs::directory_iterator(path)) names.push_back(e.path().filename());
    }
    std::sort(names.begin(), names.end());
    std::string list;
    for (const std::string& n : names) list += n + "\n";
    return list.empty() ? "[empty]\n" : list;
  }
  if (!fs::exists(path)) return "[missing]\n";
  std::string text = read_all(path);
  size_t tilde = show.find(" ~ ");
  if (tilde == std::string::npos) return text.empty() ? "[empty]\n" : text;
  regex_t pattern;
  if (regcomp(&pattern, show.substr(tilde + 3).c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
    return "[bad pattern]\n";
  }
  std::istringstream in(text);
  std::string kept;
  for (std::string line; std::getline(in, line);) {
    if (regexec(&pattern, line.c_str(), 0, nullptr, 0) == 0) kept += line + "\n";
  }
  regfree(&pattern);
  return kept.empty() ? "[no line matches]\n" : kept;
}

// Each match of `pattern` (POSIX extended) becomes its first group and then
// `with`; a NUL byte ends a piece of text the pattern looks at.
std::string normalised(const std::string& text, const char* pattern, const char* with) {
  size_t nul = text.find('\0');
  if (nul != std::string::npos) {
    return normalised(text.substr(0, nul), pattern, with) + '\0' +
           normalised(text.substr(nul + 1), pattern, with);
  }
  regex_t re;
  if (regcomp(&re, pattern, REG_EXTENDED) != 0) abort();
  std::string out;
  regmatch_t match[2];
  const char* rest = text.c_str();
  while (regexec(&re, rest, 2, match, 0) == 0) {
    out.append(rest, static_cast<size_t>(match[1].rm_eo));
    out += with;
    rest += match[0].rm_eo;
  }
  regfree(&re);
  return out + rest;
}

// `value: FILE KEY NUMBER TOLERANCE`: the last number of the line KEY,...
void check_value(const std::string& value, const std::string& cwd) {
  std::vector<std::string> w = words(value);
  ASSERT_EQ(w.size(), 4u) << value;
  std::istringstream in(read_all(cwd + "/" + w[0]));
  for (std::string line; std::getline(in, line);) {
    if (!starts(line, w[1] + ",")) continue;
    double got = std::stod(line.substr(line.rfind(',') + 1));
    EXPECT_NEAR(got, std::stod(w[2]), std::stod(w[3])) << value;
    return;
  }
  ADD_FAILURE() << "no line " << w[1] << " in " << w[0];
}

class CaseTest : public testing::Test {
 public:
  explicit CaseTest(Case c) : c_(std::move(c)) {}
  void TestBody() override;

 private:
  Case c_;
};

void CaseTest::TestBody() {
  ASSERT_FALSE(c_.command.empty()) << c_.file << ": no command";
  char name[] = "/tmp/talvon-case-XXXXXX";
  ASSERT_NE(mkdtemp(name), nullptr);
  const std::string root = name;
  for (const char* sub : {"work", "bin", "tmp"}) fs::create_directories(root + "/" + sub);
  const std::string cwd = root + "/" + c_.cwd;
  fs::create_directories(cwd);
  std::string stdin_path = "/dev/null";
  for (const Section& s : c_.sections) {
    std::string text = s.expand ? expand(s.text) : s.text;
    std::string path = s.path == "stdin" ? root + "/.in" : cwd + "/" + s.path;
    if (s.path == "stdin") stdin_path = path;
    write_all(path, s.scrambled ? scrambled(text, path.c_str()) : text);
    if (s.executable) chmod(path.c_str(), 0755);
  }
  Outcome o = run(c_, root, stdin_path);
  std::string actual = "status " + std::to_string(o.status) + "\n";
  render(actual, "stdout", o.out);
  render(actual, "stderr", o.err);
  for (const std::string& show : c_.shows) render(actual, "show: " + show, shown(show, cwd));
  for (const std::string& value : c_.values) check_value(value, cwd);
  fs::remove_all(root);
  actual = replace_all(replace_all(actual, root, "$ROOT"), TALVON_SOURCE_DIR, "$SOURCE");
  // A place in talvon's own source keeps its file, not its line.
  actual = normalised(actual,
                      "(File (core|driver|expr|model|codegen|generate|platform)/[a-z_]+\\.cpp "
                      "line )[0-9]+",
                      "N");
  actual = normalised(actual, "(talvon-[a-z-]+-)[A-Za-z0-9]{6}", "XXXXXX");
  // Under AddressSanitizer, leaving talvon's large stack by exit() warns;
  // the warning is the sanitized build's, not talvon's.
  actual = normalised(actual,
                      "()==[0-9]+==WARNING: ASan is ignoring requested __asan_handle_no_return[^\n]*\n"
                      "False positive error reports may follow\nFor details see [^\n]*\n",
                      "");

  fs::path file(c_.file);
  std::string expected_path =
      (file.parent_path() / "expected" / file.stem() / (c_.name + ".txt")).string();
  if (getenv("TALVON_UPDATE_EXPECTED") != nullptr) {
    write_all(expected_path, actual);
  } else if (!fs::exists(expected_path)) {
    ADD_FAILURE() << "no " << expected_path << "; write it with scripts/update-expected\n"
                  << actual;
  } else {
    EXPECT_EQ(read_all(expected_path), actual) << expected_path;
  }
}

// Suite <folder>_<file>, one test per case, registered before main runs.
bool register_cases() {
  std::vector<std::string> files;
  for (const auto& e : fs::recursive_directory_iterator(CASES)) {
    if (e.path().extension() == ".case") files.push_back(e.path().string());
  }
  std::sort(files.begin(), files.end());
  for (const std::string& file : files) {
    fs::path rel = fs::relative(file, CASES);
    std::string suite = "Case_" + replace_all((rel.parent_path() / rel.stem()).string(), "/", "_");
    for (const Case& c : read_cases(file)) {
      testing::RegisterTest(suite.c_str(), c.name.c_str(), nullptr, nullptr, file.c_str(), 1,
                            [c]() -> testing::Test* { return new CaseTest(c); });
    }
  }
  return true;
}

const bool registered = register_cases();

}  // namespace
