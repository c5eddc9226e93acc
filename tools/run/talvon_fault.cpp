#include "tools/run/talvon_fault.h"

#include <cstdio>

#include "tools/run/progress_records.h"

static const char* stage_words(double progress) {
  switch (progress_stage(progress)) {
    case Stage::starting: return "while it read the scripts and checked the model";
    case Stage::writing: return "while it wrote the calculation program from the policies";
    case Stage::compiling: return "while tcc compiled the calculation program";
    case Stage::running: return "while the calculation program ran";
  }
  return "";
}

std::string own_source_note(const std::string& output, double progress) {
  size_t start = 0;
  while (start < output.size()) {
    size_t end = output.find('\n', start);
    std::string line = output.substr(start, end == std::string::npos ? std::string::npos : end - start);
    start = end == std::string::npos ? output.size() : end + 1;
    char file[4096];
    long at_line = 0, at_character = -1;
    if (sscanf(line.c_str(), "File %4095s line %ld character %ld", file, &at_line, &at_character) != 3) continue;
    if (at_character != 0) return "";
    return std::string("talvon-run: that place (") + file + " line " + std::to_string(at_line) +
           ") is in talvon's own source, not in your scripts; talvon stopped there " + stage_words(progress) +
           ". The scripts passed talvon-run's check, which reads them as talvon does: the fault lies in "
           "what they compute together.";
  }
  return "";
}
