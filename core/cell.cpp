#include "core/cell.h"

#include <cmath>
#include <cstring>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

#include "core/printer.h"
#include "driver/diagnostics.h"
#include "driver/file_wrappers.h"

// The store: blocks of 65536 cells, each used from its last cell down. An
// exhausted block is left behind; each block links to the one before it so
// that all of them stay reachable (a leak checker would otherwise report
// every block but the current one). Blocks given back by release_cells wait
// on the spare list and are used again before any new one is allocated.
static constexpr int BLOCK_CELLS = 65536;

struct Block {
  Block* previous;
  Cell cells[BLOCK_CELLS];
};

static Block* block = nullptr;
static int free_cells = 0;
static Block* spare = nullptr;

static Block* next_block() {
  if (spare == nullptr) return static_cast<Block*>(allocate("malloc(cells)", sizeof(Block)));
  Block* reused = spare;
  spare = spare->previous;
  return reused;
}

// Under AddressSanitizer released cells are poisoned until they are made
// again, so a cell kept past its release is reported where it is used.
static void poison_cells(Cell* cells, int count) {
#if defined(__SANITIZE_ADDRESS__)
  ASAN_POISON_MEMORY_REGION(cells, count * sizeof(Cell));
#else
  (void)cells;
  (void)count;
#endif
}

static void unpoison_cell(Cell* cell) {
#if defined(__SANITIZE_ADDRESS__)
  ASAN_UNPOISON_MEMORY_REGION(cell, sizeof(Cell));
#else
  (void)cell;
#endif
}

static Cell* make_cell(CellTag tag, int32_t line, int32_t character, const char* file) {
  if (free_cells == 0) {
    Block* fresh = next_block();
    fresh->previous = block;
    block = fresh;
    free_cells = BLOCK_CELLS;
  }
  Cell* c = &block->cells[--free_cells];
  unpoison_cell(c);
  c->tag = tag;
  c->line = line;
  c->character = character;
  c->file = file;
  return c;
}

CellMark mark_cells() {
  return CellMark{block, free_cells};
}

void release_cells(CellMark mark) {
  int low = free_cells;  // the lowest cell in use in the mark's block
  while (block != mark.block) {
    Block* released = block;
    poison_cells(released->cells, BLOCK_CELLS);
    block = released->previous;
    released->previous = spare;
    spare = released;
    low = 0;  // a block was left only once it was full
  }
  if (block != nullptr) poison_cells(&block->cells[low], mark.free_cells - low);
  free_cells = mark.free_cells;
}

const char* own_file(const Here& here) {
  return here.file_name();
}

static int32_t own_line(const Here& here) {
  return static_cast<int32_t>(here.line());
}

// nil

const Cell* nil_source(int32_t line, int32_t character, const char* file) {
  Cell* c = make_cell(CellTag::nil, line, character, file);
  c->pair = {nullptr, nullptr};
  return c;
}

const Cell* nil(Here here) {
  return nil_source(own_line(here), 0, own_file(here));
}

// cons

const Cell* cons_source(const Cell* head, const Cell* tail, int32_t line, int32_t character,
                        const char* file) {
  Cell* c = make_cell(CellTag::cons, line, character, file);
  c->pair = {head, tail};
  return c;
}

const Cell* cons(const Cell* head, const Cell* tail) {
  return cons_source(head, tail, head->line, head->character, head->file);
}

// Atoms with a text payload

static const Cell* text_cell(CellTag tag, const char* text, int32_t line, int32_t character,
                             const char* file) {
  Cell* c = make_cell(tag, line, character, file);
  c->text = text;
  return c;
}

const Cell* symbol_source(const char* name, int32_t line, int32_t character, const char* file) {
  return text_cell(CellTag::symbol, name, line, character, file);
}

const Cell* symbol_at(const char* name, const Cell* where) {
  return symbol_source(name, where->line, where->character, where->file);
}

const Cell* symbol(const char* name, Here here) {
  return symbol_source(name, own_line(here), 0, own_file(here));
}

const Cell* string_source(const char* text, int32_t line, int32_t character, const char* file) {
  return text_cell(CellTag::string, text, line, character, file);
}

const Cell* string_at(const char* text, const Cell* where) {
  return string_source(text, where->line, where->character, where->file);
}

const Cell* string(const char* text, Here here) {
  return string_source(text, own_line(here), 0, own_file(here));
}

// Atoms with a whole-number payload

static const Cell* whole_cell(CellTag tag, int32_t value, int32_t line, int32_t character,
                              const char* file) {
  Cell* c = make_cell(tag, line, character, file);
  c->whole = value;
  return c;
}

const Cell* integer_source(int32_t value, int32_t line, int32_t character, const char* file) {
  return whole_cell(CellTag::integer, value, line, character, file);
}

const Cell* integer_at(int32_t value, const Cell* where) {
  return integer_source(value, where->line, where->character, where->file);
}

const Cell* integer(int32_t value, Here here) {
  return integer_source(value, own_line(here), 0, own_file(here));
}

const Cell* date_source(int32_t months, int32_t line, int32_t character, const char* file) {
  return whole_cell(CellTag::date, months, line, character, file);
}

const Cell* date_at(int32_t months, const Cell* where) {
  return date_source(months, where->line, where->character, where->file);
}

const Cell* date(int32_t months, Here here) {
  return date_source(months, own_line(here), 0, own_file(here));
}

const Cell* span_source(int32_t months, int32_t line, int32_t character, const char* file) {
  return whole_cell(CellTag::span, months, line, character, file);
}

const Cell* span_at(int32_t months, const Cell* where) {
  return span_source(months, where->line, where->character, where->file);
}

// Reals

const Cell* real_source(double value, int32_t line, int32_t character, const char* file) {
  Cell* c = make_cell(CellTag::real, line, character, file);
  c->real = value;
  return c;
}

const Cell* real_at(double value, const Cell* where) {
  return real_source(value, where->line, where->character, where->file);
}

const Cell* real(double value, Here here) {
  return real_source(value, own_line(here), 0, own_file(here));
}

// Further constructors

const Cell* zero_at(const Cell* where) {
  return integer_at(0, where);
}

// Outside the store, so that no release of cells can take it back.
const Cell* truth() {
  static const Cell shared = [] {
    Cell c{};
    c.tag = CellTag::integer;
    c.file = "";
    c.whole = 0;
    return c;
  }();
  return &shared;
}

const Cell* boolean(int flag, Here here) {
  return flag != 0 ? truth() : nil(here);
}

const Cell* stringToSymbol(const Cell* string) {
  return symbol_at(string_value(string), string);
}

const Cell* symbolToString(const Cell* symbol) {
  return string_at(symbol_name(symbol), symbol);
}

// Predicates

int is_nil(const Cell* c) { return c->tag == CellTag::nil; }
int is_false(const Cell* c) { return c->tag == CellTag::nil; }
int is_true(const Cell* c) { return c->tag != CellTag::nil; }
int is_cons(const Cell* c) { return c->tag == CellTag::cons; }
int is_atom(const Cell* c) { return c->tag != CellTag::cons; }
int is_symbol(const Cell* c) { return c->tag == CellTag::symbol; }
int is_string(const Cell* c) { return c->tag == CellTag::string; }
int is_real(const Cell* c) { return c->tag == CellTag::real; }
int is_integer(const Cell* c) { return c->tag == CellTag::integer; }
int is_date(const Cell* c) { return c->tag == CellTag::date; }
int is_span(const Cell* c) { return c->tag == CellTag::span; }

int is_symbol_named(const Cell* c, const char* text) {
  return is_symbol(c) && strcmp(c->text, text) == 0;
}

int is_string_equal(const Cell* c, const char* text) {
  return is_string(c) && strcmp(c->text, text) == 0;
}

// Checked accessors

const Cell* head(const Cell* c) {
  if (!is_cons(c)) {
    print_cell_line(c);
    error_at(c, "head of non-cons");
  }
  return c->pair.head;
}

const Cell* tail(const Cell* c) {
  if (!is_cons(c)) error_at(c, "tail of non-cons");
  return c->pair.tail;
}

const char* symbol_name(const Cell* c) {
  if (!is_symbol(c)) error_at(c, "name of non-symbol");
  return c->text;
}

const char* string_value(const Cell* c) {
  if (!is_string(c)) error_at(c, "value of non-string");
  return c->text;
}

double real_value(const Cell* c) {
  if (!is_real(c)) error_at(c, "value of non-real");
  return c->real;
}

int32_t integer_value(const Cell* c) {
  if (!is_integer(c)) {
    print_cell_line(c);
    error_at(c, "value of non-integer");
  }
  return c->whole;
}

int32_t date_value(const Cell* c) {
  if (!is_date(c)) error_at(c, "value of non-date");
  return c->whole;
}

int32_t span_value(const Cell* c) {
  if (!is_span(c)) error_at(c, "value of non-span");
  return c->whole;
}

double to_real(const Cell* c) {
  if (is_real(c)) return c->real;
  if (is_integer(c)) return static_cast<double>(c->whole);
  error_at(c, "cannot convert non-real to real");
}

// Equality recurses on heads and walks tails in a loop, so long lists cost
// no stack.
int equal(const Cell* a, const Cell* b) {
  for (;;) {
    if (a == b) return TRUE;
    if (a->tag != b->tag) return FALSE;
    switch (a->tag) {
      case CellTag::nil:
        return TRUE;
      case CellTag::cons:
        if (!equal(a->pair.head, b->pair.head)) return FALSE;
        a = a->pair.tail;
        b = b->pair.tail;
        continue;
      case CellTag::symbol:
      case CellTag::string:
        return strcmp(a->text, b->text) == 0;
      case CellTag::integer:
        return a->whole == b->whole;
      case CellTag::real:
        return !(a->real < b->real) && !(a->real > b->real) && !std::isnan(a->real) &&
               !std::isnan(b->real);
      default:
        die("Unexpected tag");
    }
  }
}
