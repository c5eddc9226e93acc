// talvon's own messages stay as it wrote them. When one points into
// talvon's own source (character 0) rather than the user's scripts, which
// talvon-run's check has already read, talvon-run adds what it knows.
#pragma once

#include <string>

// A note for the user, or empty when the message names the user's text.
// `progress` is the last progress value talvon reported (-1: none).
std::string own_source_note(const std::string& output, double progress);
