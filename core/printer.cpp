#include "core/printer.h"

#include "driver/diagnostics.h"

// Dates and spans share one form: year and month from the month count v,
// with C's truncating division, so December is month 12 of its own year.
static void write_months(FILE* stream, const char* prefix, int32_t v) {
  int64_t before = static_cast<int64_t>(v) - 1;
  fprintf(stream, "%s-%d-%02d", prefix, static_cast<int>(before / 12),
          static_cast<int>(before % 12 + 1));
}

void write_cell(FILE* stream, const Cell* c) {
  switch (c->tag) {
    case CellTag::nil:
      fputs("()", stream);
      return;
    case CellTag::cons:
      fputc('(', stream);
      for (;;) {
        write_cell(stream, c->pair.head);
        c = c->pair.tail;
        if (is_nil(c)) break;
        if (!is_cons(c)) {
          fputs(" . ", stream);
          write_cell(stream, c);
          break;
        }
        fputc(' ', stream);
      }
      fputc(')', stream);
      return;
    case CellTag::symbol:
      fputs(c->text, stream);
      return;
    case CellTag::string:
      fprintf(stream, "\"%s\"", c->text);
      return;
    case CellTag::integer:
      fprintf(stream, "%d", c->whole);
      return;
    case CellTag::real:
      fprintf(stream, "%f", c->real);
      return;
    case CellTag::date:
      write_months(stream, "date", c->whole);
      return;
    case CellTag::span:
      write_months(stream, "span", c->whole);
      return;
  }
  die("Unknown type");
}

void write_cell_line(FILE* stream, const Cell* c) {
  write_cell(stream, c);
  fputc('\n', stream);
}

void print_cell(const Cell* c) {
  write_cell(stdout, c);
}

void print_cell_line(const Cell* c) {
  write_cell_line(stdout, c);
}
