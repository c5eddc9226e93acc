#include "core/reader.h"

#include <cstring>
#include <string>
#include <vector>

#include "core/list.h"
#include "driver/diagnostics.h"
#include "driver/file_wrappers.h"
#include "platform/crt_rand.h"

ReaderState reader;

void set_sexpr_syntax() {
  memset(reader.constituent, 1, sizeof reader.constituent);
  for (unsigned char c : std::string("\n (),.;")) reader.constituent[c] = 0;
}

void set_text_source(const char* text, int32_t line, int32_t character, const char* file) {
  reader.text = text;
  reader.stream = nullptr;
  reader.scrambled = FALSE;
  reader.line = line;
  reader.character = character;
  reader.file = file;
}

static void set_stream_source(FILE* stream, const char* file) {
  reader.text = nullptr;
  reader.stream = stream;
  reader.line = 1;
  reader.character = 0;
  reader.file = file;
}

const Cell* reader_position() {
  return integer_source(0, reader.line, reader.character, reader.file);
}

static int is_constituent(int32_t c) {
  return c >= 0 && c < 256 && reader.constituent[c];
}

// Bytes of a text count as unsigned, as they do in a stream, so that a
// string read from a file can be parsed again as an infix expression.
static int32_t take_byte() {
  if (reader.text != nullptr) {
    unsigned char byte = static_cast<unsigned char>(*reader.text);
    if (byte == 0) return -1;
    reader.text++;
    return byte;
  }
  int32_t byte = read_char("getc()", reader.stream);
  if (byte < 0 || !reader.scrambled) return byte;
  return (crt_rand() ^ byte) & 255;
}

void next_char() {
  int32_t c;
  do {
    c = take_byte();
  } while (c == '\r');
  reader.current = c;
  if (c == '\n') {
    reader.character = 0;
    reader.line++;
  } else if (c != -1) {
    reader.character++;
    if (c < 32 || c >= 256) {
      printf("Character code=%d\n", c);
      error_at(reader_position(), "Invalid character");
    }
  }
}

void skip_blanks() {
  for (;;) {
    if (reader.current == ' ' || reader.current == '\n') {
      next_char();
    } else if (reader.current == ';') {
      while (reader.current != '\n' && reader.current != -1) next_char();
    } else {
      return;
    }
  }
}

static char* copy_text(const std::string& text) {
  char* copy = static_cast<char*>(allocate("malloc()", text.size() + 1));
  memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

const Cell* read_string() {
  next_char();
  const Cell* where = reader_position();
  std::string text;
  for (;;) {
    if (reader.current == -1) error_at(where, "end of file in string");
    if (reader.current == '"') {
      next_char();
      if (reader.current != '"') break;
    }
    text.push_back(static_cast<char>(reader.current));
    next_char();
  }
  return string_at(copy_text(text), where);
}

static int is_digit(int32_t c) {
  return c >= '0' && c <= '9';
}

// The order of operations fixes the bits of every real: digits of the
// fraction are taken from the last to the first, so 0.3 reads as 3 * 0.1.
static const Cell* read_number(const std::string& token, const Cell* where) {
  size_t i = 0;
  int negative = FALSE;
  if (token[0] == '+') {
    i = 1;
  } else if (token[0] == '-') {
    i = 1;
    negative = TRUE;
  }
  uint32_t whole = 0;
  for (; i < token.size() && is_digit(token[i]); i++) whole = whole * 10u + (token[i] - '0');
  if (i == token.size()) {
    return integer_at(static_cast<int32_t>(negative ? 0u - whole : whole), where);
  }
  if (token[i] != '.') error_at(reader_position(), "malformed number");
  size_t fraction_start = i + 1;
  for (size_t j = fraction_start; j < token.size(); j++) {
    if (!is_digit(token[j])) error_at(reader_position(), "malformed fraction");
  }
  double fraction = 0.0;
  for (size_t j = token.size(); j-- > fraction_start;) fraction = fraction * 0.1 + (token[j] - '0');
  double value = fraction * 0.1 + static_cast<double>(static_cast<int32_t>(whole));
  return real_at(negative ? -value : value, where);
}

static int looks_like_number(const std::string& token) {
  if (is_digit(token[0])) return TRUE;
  return (token[0] == '+' || token[0] == '-') && token.size() > 1 && is_digit(token[1]);
}

const Cell* read_token() {
  const Cell* where = reader_position();
  std::string token;
  while (is_constituent(reader.current) || reader.current == '.') {
    token.push_back(static_cast<char>(reader.current));
    next_char();
  }
  if (looks_like_number(token)) return read_number(token, where);
  return symbol_at(copy_text(token), where);
}

static const Cell* read_list() {
  next_char();
  const Cell* where = reader_position();
  std::vector<const Cell*> items;
  for (;;) {
    skip_blanks();
    if (reader.current == -1) error_at(where, "end of file in list");
    if (reader.current == ')') break;
    items.push_back(read_item());
  }
  next_char();
  const Cell* list = nil();
  for (size_t i = items.size(); i-- > 0;) list = cons(items[i], list);
  return list;
}

const Cell* read_item() {
  if (reader.current == '(') return read_list();
  if (reader.current == '"') return read_string();
  if (!is_constituent(reader.current)) error_at(reader_position(), "unexpected character");
  return read_token();
}

static const Cell* read_top_level() {
  next_char();
  std::vector<const Cell*> items;
  for (;;) {
    skip_blanks();
    if (reader.current == -1) break;
    if (reader.current == ')') error_at(reader_position(), "unexpected left parenthesis");
    items.push_back(read_item());
  }
  const Cell* list = nil();
  for (size_t i = items.size(); i-- > 0;) list = cons(items[i], list);
  return list;
}

// A file may hold its statements one after another or all inside one outer
// pair of parentheses: ((s1) (s2)) reads as (s1) (s2).
static const Cell* unwrap(const Cell* items) {
  if (is_cons(items) && is_cons(items->pair.head) && is_cons(items->pair.head->pair.head)) {
    return items->pair.head;
  }
  return items;
}

const Cell* read_source(const char* path) {
  int from_stdin = strcmp(path, "-") == 0;
  FILE* stream = from_stdin ? stdin : open_file("fopen(source)", path, "rb");
  set_sexpr_syntax();
  set_stream_source(stream, path);
  const Cell* items = read_top_level();
  close_file("fclose(source)", stream);
  if (from_stdin) reopen_file("freopen(stdin)", "/dev/null", "r", stdin);
  return unwrap(items);
}

const Cell* read_text_source(const char* text, const char* file) {
  set_sexpr_syntax();
  set_text_source(text, 1, 0, file);
  const Cell* items = read_top_level();
  reader.text = nullptr;
  return unwrap(items);
}

uint32_t scramble_seed(const char* path) {
  const char* slash = strrchr(path, '/');
  const char* base = slash != nullptr ? slash + 1 : path;
  uint32_t seed = 0;
  for (; *base != 0; base++) seed += static_cast<unsigned char>(*base);
  return seed;
}

const Cell* read_scrambled_source(const char* path) {
  crt_srand(scramble_seed(path));
  reader.scrambled = TRUE;
  const Cell* items = read_source(path);
  reader.scrambled = FALSE;
  return items;
}

const Cell* parse(const char* text) {
  set_sexpr_syntax();
  set_text_source(text, 1, 0, "(from string)");
  const Cell* items = read_top_level();
  reader.text = nullptr;
  if (is_atom(items)) die("String parser: no expressions found");
  if (is_cons(items->pair.tail)) die("string parser: more than one expression found");
  return items->pair.head;
}
