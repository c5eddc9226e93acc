// The checking side's report: findings and the current context go to the
// checker's parent as lines on standard output, with every place mapped
// to the user's own file and line. A portfolio may be checked in chunk
// scripts; a chunk's lines map to the user's through its line map.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "core/cell.h"
#include "tools/run/check_findings.h"

// Lines from `first` on (segments in rising order) move by `shift`.
struct LineMap {
  std::vector<std::pair<long, long>> segments;
  long user_line(long line) const;
};

// Records of the checker's output: a finding or the context of what it
// does next, tab-separated after the marker.
constexpr const char* FINDING_MARK = "@@finding";
constexpr const char* CONTEXT_MARK = "@@context";

// The portfolio file as the user named it and the map of the chunk being
// checked: cells read from it get their lines mapped.
void set_report_chunk(const std::string& portfolio_file, const LineMap* lines, size_t chunk);

const std::string& portfolio_file_name();

// The user's place of a cell; no file for cells that talvon made itself.
Finding place_of(const Cell* where);

void report(Severity severity, const Cell* where, const std::string& message);
void report_at(Finding place, Severity severity, const std::string& message);

// What the checker is about to do, for a fault that ends it there: at
// `where`, for `owner` (may be null), `doing` and the expression it is
// doing it to. Only a fatal end writes it out.
void set_context(const Cell* where, const std::string* owner, const char* doing, const Cell* expression);

// Writes the context record; for the exit hook of a fatal end.
void write_context();

int errors_reported();

// A cell as the printer writes it; a long one cut short.
std::string cell_text(const Cell* cell);

// A line record back into a finding; false for other lines.
bool parse_record(const std::string& line, const char* mark, Finding& finding, size_t& chunk);
