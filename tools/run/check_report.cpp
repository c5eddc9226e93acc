#include "tools/run/check_report.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/printer.h"

namespace {

std::string portfolio_file;
const LineMap* chunk_lines = nullptr;
size_t chunk_index = 0;
int errors = 0;

std::string clean(const std::string& text) {
  std::string result = text;
  for (char& c : result) {
    if (c == '\t' || c == '\n' || c == '\r') c = ' ';
  }
  return result;
}

void write_record(const char* mark, const Finding& f, int severity) {
  printf("%s\t%zu\t%d\t%s\t%ld\t%ld\t%s\n", mark, chunk_index, severity, clean(f.file).c_str(), f.line,
         f.character, clean(f.message).c_str());
  fflush(stdout);
}

}  // namespace

long LineMap::user_line(long line) const {
  long shift = 0;
  for (const auto& segment : segments) {
    if (segment.first <= line) shift = segment.second;
  }
  return line + shift;
}

void set_report_chunk(const std::string& file, const LineMap* lines, size_t chunk) {
  portfolio_file = file;
  chunk_lines = lines;
  chunk_index = chunk;
}

const std::string& portfolio_file_name() { return portfolio_file; }

Finding place_of(const Cell* where) {
  Finding place{Severity::note, "", 0, 0, ""};
  if (where == nullptr || where->character == 0 || where->file == nullptr) return place;
  place.file = where->file;
  place.line = where->line;
  place.character = where->character;
  if (chunk_lines != nullptr && place.file == portfolio_file) place.line = chunk_lines->user_line(place.line);
  return place;
}

void report(Severity severity, const Cell* where, const std::string& message) {
  report_at(place_of(where), severity, message);
}

void report_at(Finding place, Severity severity, const std::string& message) {
  if (severity == Severity::error) errors++;
  place.severity = severity;
  place.message = message;
  write_record(FINDING_MARK, place, static_cast<int>(severity));
}

namespace {

struct Context {
  const Cell* where = nullptr;
  std::string owner;  // a copy: the caller's string may be gone by a fatal end
  const char* doing = "";
  const Cell* expression = nullptr;
};
Context context;

}  // namespace

void set_context(const Cell* where, const std::string* owner, const char* doing, const Cell* expression) {
  context.where = where;
  context.owner.assign(owner != nullptr ? *owner : "");
  context.doing = doing;
  context.expression = expression;
}

void write_context() {
  Finding place = place_of(context.where);
  place.message = context.owner.empty() ? "" : context.owner + ": ";
  place.message += context.doing;
  if (context.expression != nullptr) {
    place.message += " " + cell_text(context.expression);
    Finding at = place_of(context.expression);
    if (!at.file.empty() && at.file != place.file) {
      place.message += " (" + at.file + ":" + std::to_string(at.line) + ":" + std::to_string(at.character) + ")";
    }
  }
  write_record(CONTEXT_MARK, place, 0);
}

int errors_reported() { return errors; }

static const char* const MONTHS[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                     "jul", "aug", "sep", "oct", "nov", "dec"};

std::string cell_text(const Cell* cell) {
  // Dates and spans as a portfolio writes them.
  if (is_date(cell)) {
    int months = cell->whole - 1;
    return std::string(MONTHS[((months % 12) + 12) % 12]) + "(" + std::to_string((months - ((months % 12) + 12) % 12) / 12) + ")";
  }
  if (is_span(cell) && cell->whole % 12 == 0) return "years2span(" + std::to_string(cell->whole / 12) + ")";
  if (is_span(cell)) return "a span of " + std::to_string(cell->whole) + " months";
  char* buffer = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&buffer, &size);
  if (stream == nullptr) return "?";
  write_cell(stream, cell);
  fclose(stream);
  std::string text(buffer, size);
  free(buffer);
  constexpr size_t LONGEST = 100;
  if (text.size() > LONGEST) text = text.substr(0, LONGEST - 4) + " ...";
  return text;
}

bool parse_record(const std::string& line, const char* mark, Finding& finding, size_t& chunk) {
  // mark, chunk, severity, file, line, character, message
  std::vector<std::string> fields;
  size_t start = 0;
  while (fields.size() < 6) {
    size_t tab = line.find('\t', start);
    if (tab == std::string::npos) return false;
    fields.push_back(line.substr(start, tab - start));
    start = tab + 1;
  }
  if (fields[0] != mark) return false;
  chunk = strtoul(fields[1].c_str(), nullptr, 10);
  finding.severity = static_cast<Severity>(atoi(fields[2].c_str()));
  finding.file = fields[3];
  finding.line = atol(fields[4].c_str());
  finding.character = atol(fields[5].c_str());
  finding.message = line.substr(start);
  return true;
}
