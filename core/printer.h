// The printer: a cell as text for people (echo and diagnostics). Close to
// the reader's syntax, but strings are not escaped and dates and spans
// print as symbols, so it need not read back.
#pragma once

#include <cstdio>

#include "core/cell.h"

void write_cell(FILE* stream, const Cell* c);
void write_cell_line(FILE* stream, const Cell* c);
void print_cell(const Cell* c);
void print_cell_line(const Cell* c);
