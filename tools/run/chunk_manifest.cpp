#include "tools/run/chunk_manifest.h"

#include <cstdio>
#include <sstream>

#include "tools/run/result_files.h"
#include "tools/run/run_guard.h"

void write_manifest(const std::string& dir, const ChunkManifest& m) {
  std::string text = "portfolio " + m.portfolio + "\nmodel " + m.model + "\nrun " + m.run + "\nscripts " + m.names.model + " " + m.names.portfolio +
                     " " + m.names.run + "\nsplit " + (m.plan.split ? "1" : "0") + "\npolicies " +
                     std::to_string(m.plan.policies) + "\n" +
                     (m.plan.sha256.empty() ? "" : "sha256 " + m.plan.sha256 + "\n");
  for (size_t i = 0; i < m.plan.chunks.size(); i++) {
    const ChunkRange& c = m.plan.chunks[i];
    char line[160];
    snprintf(line, sizeof line, "chunk %04zu %ld %ld %ld %ld %ld\n", i + 1, c.first_policy, c.last_policy,
             c.first_line, c.last_line, c.line_shift);
    text += line;
  }
  write_text_file(dir + "/chunks.txt", text);
}

ChunkManifest read_manifest(const std::string& dir) {
  std::string path = dir + "/chunks.txt";
  FILE* file = fopen(path.c_str(), "rb");
  if (file == nullptr) fail_run("talvon-run: no chunk list " + path + ": not made by talvon-run --write-chunks");
  fclose(file);
  std::istringstream in(read_script(path, "chunk list"));
  ChunkManifest m;
  std::string line;
  bool good = true;
  while (good && std::getline(in, line)) {
    std::istringstream fields(line);
    std::string key;
    fields >> key;
    if (key == "portfolio") {
      m.portfolio = line.substr(10);
    } else if (key == "model") {
      m.model = line.size() > 6 ? line.substr(6) : "";
    } else if (key == "run") {
      m.run = line.size() > 4 ? line.substr(4) : "";
    } else if (key == "scripts") {
      good = static_cast<bool>(fields >> m.names.model >> m.names.portfolio >> m.names.run);
    } else if (key == "split") {
      good = static_cast<bool>(fields >> m.plan.split);
    } else if (key == "policies") {
      good = static_cast<bool>(fields >> m.plan.policies);
    } else if (key == "sha256") {
      good = static_cast<bool>(fields >> m.plan.sha256);
    } else if (key == "chunk") {
      size_t number;
      ChunkRange c;
      good = fields >> number >> c.first_policy >> c.last_policy >> c.first_line >> c.last_line >> c.line_shift &&
             number == m.plan.chunks.size() + 1;
      m.plan.chunks.push_back(c);
    } else {
      good = false;
    }
  }
  if (!good || m.plan.chunks.empty() || m.names.run.empty()) fail_run("talvon-run: the chunk list " + path + " is damaged");
  return m;
}

static std::string base_name(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string chunk_name(const ChunkManifest& m, size_t index) {
  if (!m.plan.split || m.plan.chunks.size() < 2) return "";
  const ChunkRange& c = m.plan.chunks[index];
  char text[400];
  if (c.first_policy == c.last_policy) {
    snprintf(text, sizeof text, "chunk %zu of %zu (policy %ld, lines %ld to %ld of %s", index + 1,
             m.plan.chunks.size(), c.first_policy, c.first_line, c.last_line, base_name(m.portfolio).c_str());
  } else {
    snprintf(text, sizeof text, "chunk %zu of %zu (policies %ld to %ld, lines %ld to %ld of %s", index + 1,
             m.plan.chunks.size(), c.first_policy, c.last_policy, c.first_line, c.last_line,
             base_name(m.portfolio).c_str());
  }
  std::string name = text;
  if (c.line_shift != 0) name += "; talvon's line numbers in its policies are " + std::to_string(c.line_shift) + " lower";
  name += ")";
  return name;
}
