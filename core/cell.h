// The cell: the one value type of talvon. Script text as read, association
// lists, expressions, intermediate results and pieces of generated C text
// are all cells. Cells come from a store that only grows; they are never
// changed after they are made and never freed, so lists share freely.
#pragma once

#include <cstdint>
#include <source_location>

enum class CellTag : uint32_t {
  nil = 0,
  cons = 1,
  symbol = 2,
  integer = 3,
  real = 4,
  string = 5,
  date = 6,
  span = 7,
};

struct Cell;

struct Pair {
  const Cell* head;
  const Cell* tail;
};

struct Cell {
  CellTag tag;
  int32_t line;       // from 1
  int32_t character;  // from 1; 0 for cells the system made itself
  const char* file;   // not owned
  union {
    Pair pair;          // cons
    const char* text;   // symbol, string; not owned
    double real;        // real
    int32_t whole;      // integer, date, span (month counts)
  };
};

// A place in the store. Cells made after a mark are scratch when nothing
// made since is kept: release_cells gives them all back at once, so a
// generator that makes thousands of cells per policy for text it writes and
// forgets keeps its memory flat. Any cell made after the mark is invalid
// once released; marks are released innermost first.
struct Block;
struct CellMark {
  Block* block;
  int free_cells;
};
CellMark mark_cells();
void release_cells(CellMark mark);

// Flags of the system's own code.
constexpr int TRUE = 1;
constexpr int FALSE = 0;

#ifdef __cpp_lib_source_location
using Here = std::source_location;
#else
// Compilers without std::source_location (clang 14, which builds the fuzz
// targets) still have the builtins it rests on.
struct Here {
  static constexpr Here current(const char* file = __builtin_FILE(),
                                unsigned line = __builtin_LINE()) {
    return Here{file, line};
  }
  constexpr const char* file_name() const { return file; }
  constexpr unsigned line() const { return number; }
  const char* file;
  unsigned number;
};
#endif

// Constructors. `_source` takes an explicit position, `_at` copies the
// position of `where`, and the plain forms record the calling place in
// talvon's own source with character 0. Texts are stored, not copied.
const Cell* nil_source(int32_t line, int32_t character, const char* file);
const Cell* nil(Here here = Here::current());

// A pair takes the position of its head.
const Cell* cons_source(const Cell* head, const Cell* tail, int32_t line, int32_t character,
                        const char* file);
const Cell* cons(const Cell* head, const Cell* tail);

const Cell* symbol_source(const char* name, int32_t line, int32_t character, const char* file);
const Cell* symbol_at(const char* name, const Cell* where);
const Cell* symbol(const char* name, Here here = Here::current());

const Cell* string_source(const char* text, int32_t line, int32_t character, const char* file);
const Cell* string_at(const char* text, const Cell* where);
const Cell* string(const char* text, Here here = Here::current());

const Cell* integer_source(int32_t value, int32_t line, int32_t character, const char* file);
const Cell* integer_at(int32_t value, const Cell* where);
const Cell* integer(int32_t value, Here here = Here::current());

const Cell* real_source(double value, int32_t line, int32_t character, const char* file);
const Cell* real_at(double value, const Cell* where);
const Cell* real(double value, Here here = Here::current());

const Cell* date_source(int32_t months, int32_t line, int32_t character, const char* file);
const Cell* date_at(int32_t months, const Cell* where);
const Cell* date(int32_t months, Here here = Here::current());

const Cell* span_source(int32_t months, int32_t line, int32_t character, const char* file);
const Cell* span_at(int32_t months, const Cell* where);

// Integer 0 at the position of `where`: marks a place for messages.
const Cell* zero_at(const Cell* where);

// The shared true cell: integer 0, empty file name, line 0, character 0.
const Cell* truth();

// `truth` for a non-zero flag, else a fresh nil at the caller's place.
const Cell* boolean(int flag, Here here = Here::current());

// A symbol with the string's text and position, and the reverse.
const Cell* stringToSymbol(const Cell* string);
const Cell* symbolToString(const Cell* symbol);

// Predicates; they never fail.
int is_nil(const Cell* c);
int is_false(const Cell* c);
int is_true(const Cell* c);
int is_cons(const Cell* c);
int is_atom(const Cell* c);  // the end-of-list test
int is_symbol(const Cell* c);
int is_string(const Cell* c);
int is_real(const Cell* c);
int is_integer(const Cell* c);
int is_date(const Cell* c);
int is_span(const Cell* c);
int is_symbol_named(const Cell* c, const char* text);
int is_string_equal(const Cell* c, const char* text);

// Checked accessors: a wrong tag ends the run at the cell.
const Cell* head(const Cell* c);
const Cell* tail(const Cell* c);
const char* symbol_name(const Cell* c);
const char* string_value(const Cell* c);
double real_value(const Cell* c);
int32_t integer_value(const Cell* c);
int32_t date_value(const Cell* c);
int32_t span_value(const Cell* c);
double to_real(const Cell* c);  // a real, or an integer converted

// Deep equality, ignoring positions. Distinct date or span cells have no
// rule and end the run with "Unexpected tag".
int equal(const Cell* a, const Cell* b);

// File name of a place in talvon's own source, as cells carry it.
const char* own_file(const Here& here);
