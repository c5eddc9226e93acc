#include "tools/run/check_findings.h"

#include <algorithm>
#include <cctype>

static const char* severity_word(Severity severity) {
  switch (severity) {
    case Severity::error: return "error";
    case Severity::warning: return "warning";
    case Severity::note: return "note";
  }
  return "";
}

std::string finding_text(const Finding& finding) {
  std::string text;
  if (!finding.file.empty()) {
    text = finding.file + ":" + std::to_string(finding.line) + ":" +
           std::to_string(finding.character) + ": ";
  }
  return text + severity_word(finding.severity) + ": " + finding.message;
}

static std::string lower(const std::string& text) {
  std::string result = text;
  for (char& c : result) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return result;
}

size_t edit_distance(const std::string& a_text, const std::string& b_text) {
  std::string a = lower(a_text), b = lower(b_text);
  // Three rows of the table: two back for the swap of neighbours.
  std::vector<size_t> before(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); j++) last[j] = j;
  for (size_t i = 1; i <= a.size(); i++) {
    row[0] = i;
    for (size_t j = 1; j <= b.size(); j++) {
      size_t cost = a[i - 1] == b[j - 1] ? 0 : 1;
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + cost});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], before[j - 2] + 1);
      }
    }
    before.swap(last);
    last.swap(row);
  }
  return last[b.size()];
}

// Words that share most of their stem: "policy" and "policies".
static bool same_stem(const std::string& a, const std::string& b) {
  size_t common = 0;
  while (common < a.size() && common < b.size() && tolower(a[common]) == tolower(b[common])) common++;
  size_t shorter = std::min(a.size(), b.size());
  return common >= 5 && 3 * common >= 2 * shorter && std::max(a.size(), b.size()) - common <= 3;
}

std::string closest_name(const std::string& word, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    if (name != word && same_stem(word, name) && edit_distance(word, name) <= 3) return name;
  }
  std::string best;
  size_t best_distance = std::max<size_t>(1, word.size() / 4) + 1;
  for (const std::string& name : names) {
    if (name == word) continue;
    size_t distance = edit_distance(word, name);
    if (distance < best_distance) {
      best = name;
      best_distance = distance;
    }
  }
  return best;
}
