// talvon's own messages stay as it wrote them. When one points into
// talvon's own source (character 0) rather than the user's scripts, which
// talvon-run's check has already read, talvon-run adds what it knows.
#pragma once

#include <string>
#include <vector>

// The place line of talvon's fatal messages: "File F line L character C".
struct TalvonPlace {
  std::string file;
  long line = 0;
  long character = -1;  // 0: a place in talvon's own source
};

// Whether `line` is such a line; `place` then holds it.
bool talvon_place(const std::string& line, TalvonPlace& place);

// The lines of what talvon wrote.
std::vector<std::string> output_lines(const std::string& output);

// A note for the user, or empty when the message names the user's text.
// `progress` is the last progress value talvon reported (-1: none).
std::string own_source_note(const std::string& output, double progress);
