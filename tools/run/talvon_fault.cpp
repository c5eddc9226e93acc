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

bool talvon_place(const std::string& line, TalvonPlace& place) {
  char file[4096];
  long at_line = 0, at_character = -1;
  if (sscanf(line.c_str(), "File %4095s line %ld character %ld", file, &at_line, &at_character) != 3) return false;
  place = TalvonPlace{file, at_line, at_character};
  return true;
}

std::vector<std::string> output_lines(const std::string& output) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < output.size()) {
    size_t end = output.find('\n', start);
    lines.push_back(output.substr(start, end == std::string::npos ? std::string::npos : end - start));
    start = end == std::string::npos ? output.size() : end + 1;
  }
  return lines;
}

std::string own_source_note(const std::string& output, double progress) {
  for (const std::string& line : output_lines(output)) {
    TalvonPlace place;
    if (!talvon_place(line, place)) continue;
    if (place.character != 0) return "";
    return "talvon-run: that place (" + place.file + " line " + std::to_string(place.line) +
           ") is in talvon's own source, not in your scripts; talvon stopped there " + stage_words(progress) +
           ". The scripts passed talvon-run's check, which reads them as talvon does: the fault lies in "
           "what they compute together.";
  }
  return "";
}
