// What the checks of the scripts find: errors, warnings and notes, each at
// a place in the user's own text, and the closest known name to a
// misspelt one.
#pragma once

#include <string>
#include <vector>

enum class Severity { note, warning, error };

struct Finding {
  Severity severity;
  std::string file;  // empty: no place
  long line;
  long character;
  std::string message;
};

// "FILE:LINE:CHARACTER: error: message", as compilers write it.
std::string finding_text(const Finding& finding);

// The name of `names` that `word` most likely meant: the same but for
// case, or within a few typed letters (one per four letters, at least
// one), or one that shares most of its stem. Empty when none is close.
std::string closest_name(const std::string& word, const std::vector<std::string>& names);

// Edits (insertion, deletion, substitution, swap of neighbours) from a to
// b, ignoring case.
size_t edit_distance(const std::string& a, const std::string& b);
