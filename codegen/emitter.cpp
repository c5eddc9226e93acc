#include "codegen/emitter.h"

#include <cmath>
#include <cstring>
#include <string>

#include "codegen/identifiers.h"
#include "core/list.h"
#include "core/printer.h"
#include "driver/diagnostics.h"

int compactMode = 1;

static FILE* output = stdout;

static const int LINE_SIZE = 1000;
static const int IDENTIFIER_LIMIT = 999;

void setOutputFile(FILE* file) {
  output = file;
}

FILE* outputFile() {
  return output;
}

void emitIndent(int count) {
  if (compactMode) return;
  for (int i = 0; i < count; i++) fputc(' ', output);
}

void emitBlankLine() {
  if (compactMode) return;
  fputc('\n', output);
}

static int is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

int identifierLength(const char* p) {
  if (!is_letter(*p)) return 0;
  const char* end = p + 1;
  while (is_letter(*end) || (*end >= '0' && *end <= '9') || *end == '_') end++;
  return static_cast<int>(end - p);
}

size_t literalLength(const char* p) {
  const char* end = strchr(p + 1, '"');
  return end != nullptr ? end + 1 - p : strlen(p);
}

// Appends the identifier of n characters, scrambled unless kept.
static void append_identifier(const char* start, int n, std::string& text) {
  if (n > IDENTIFIER_LIMIT) die("o: buffer overflow");
  char name[IDENTIFIER_LIMIT + 1];
  memcpy(name, start, n);
  name[n] = '\0';
  compactIdentifier(name, n);
  text.append(name, n);
}

// A compact line is built whole and written at once.
static void write_compact(const char* line) {
  if (strncmp(line, "#include", 8) == 0) {
    fprintf(output, "%s\n", line);
    return;
  }
  if (strncmp(line, "#define", 7) == 0) return;
  const char* p = line;
  while (*p == ' ') p++;
  static std::string text;  // reused, so that no line allocates
  text.clear();
  while (*p != '\0') {
    if (p[0] == '/' && p[1] == '/') break;
    int n;
    if (*p == '"') {
      size_t size = literalLength(p);
      text.append(p, size);
      p += size;
    } else if (strncmp(p, "MONTH_LIMIT", 11) == 0) {
      text += "1440";
      p += 11;
    } else if ((n = identifierLength(p)) > 0) {
      append_identifier(p, n, text);
      p += n;
    } else {
      text += *p++;
    }
  }
  text += ' ';
  fwrite(text.data(), 1, text.size(), output);
}

void writeLine(const char* line) {
  if (compactMode) {
    write_compact(line);
  } else {
    fprintf(output, "%s\n", line);
  }
}

void emitLine(int indent, const char* text) {
  emitIndent(indent);
  writeLine(text);
}

// The decimal text of a whole number, as "%d" writes it, ending at `end`.
static char* decimal(int32_t value, char* end) {
  uint32_t magnitude = value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
  do {
    *--end = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  if (value < 0) *--end = '-';
  return end;
}

// Copies a text of n characters, as a bounded "%s" would, and gives n.
static int copy_bounded(const char* text, size_t n, char* buffer, int space) {
  if (space > 0) {
    size_t copied = n < static_cast<size_t>(space) ? n : static_cast<size_t>(space) - 1;
    memcpy(buffer, text, copied);
    buffer[copied] = '\0';
  }
  return static_cast<int>(n);
}

const char* nonFiniteText(double value) {
  if (std::isnan(value)) return "(0.0/0.0)";
  if (std::isinf(value)) return value > 0 ? "(1.0/0.0)" : "(-1.0/0.0)";
  return nullptr;
}

static int flatten_atom(const Cell* c, char* buffer, int space) {
  size_t size = space > 0 ? static_cast<size_t>(space) : 0;
  int n;
  switch (c->tag) {
    case CellTag::symbol:
    case CellTag::string:
      n = copy_bounded(c->text, strlen(c->text), buffer, space);
      break;
    case CellTag::integer:
    case CellTag::date:
    case CellTag::span: {
      char digits[16];
      char* end = digits + sizeof digits;
      char* start = decimal(c->whole, end);
      n = copy_bounded(start, static_cast<size_t>(end - start), buffer, space);
      break;
    }
    case CellTag::real:
      if (nonFiniteText(c->real) != nullptr) {
        n = snprintf(buffer, size, "%s", nonFiniteText(c->real));
      } else {
        n = snprintf(buffer, size, "%f", c->real);
      }
      break;
    default:
      if (space > 0) buffer[0] = '\0';
      return 0;
  }
  if (n < 0) pdie("snprintf()");
  if (n >= space) die("flattenToBuffer overflow");
  return n;
}

// Walks a list's tails in a loop and recurses only into heads, so long
// lists cost no stack.
int flattenToBuffer(const Cell* c, char* buffer, int space) {
  int written = 0;
  while (is_cons(c)) {
    written += flattenToBuffer(c->pair.head, buffer + written, space - written);
    c = c->pair.tail;
  }
  return written + flatten_atom(c, buffer + written, space - written);
}

[[noreturn]] static void template_fault(const char* text, const char* message) {
  printf("%s\n", text);
  die(message);
}

void emitTemplate(int indent, const char* text, const Cell* arguments) {
  emitIndent(indent);
  char line[LINE_SIZE];
  int used = 0;
  int space = LINE_SIZE;
  line[0] = '\0';
  const char* rest = text;
  for (const char* hole = strchr(rest, '%'); hole != nullptr; hole = strchr(rest, '%')) {
    int literal = static_cast<int>(hole - rest);
    if (literal >= space) die("LX buffer overflow");
    memcpy(line + used, rest, literal);
    used += literal;
    space -= literal;
    line[used] = '\0';
    if (!is_cons(arguments)) template_fault(text, "Too few arguments");
    int n = flattenToBuffer(arguments->pair.head, line + used, space);
    used += n;
    space -= n;
    arguments = arguments->pair.tail;
    rest = hole + 1;
  }
  if (is_cons(arguments)) template_fault(text, "Unused arguments");
  int literal = static_cast<int>(strlen(rest));
  if (literal >= space) die("LX buffer overflow");
  memcpy(line + used, rest, literal + 1);
  writeLine(line);
}

void emitTemplate1(int indent, const char* text, const Cell* a) {
  emitTemplate(indent, text, list1(a));
}

void emitTemplate2(int indent, const char* text, const Cell* a, const Cell* b) {
  emitTemplate(indent, text, list2(a, b));
}

void emitTemplate3(int indent, const char* text, const Cell* a, const Cell* b, const Cell* c) {
  emitTemplate(indent, text, list3(a, b, c));
}

void emitTemplate4(int indent, const char* text, const Cell* a, const Cell* b, const Cell* c,
                   const Cell* d) {
  emitTemplate(indent, text, list4(a, b, c, d));
}

void declareDouble(int indent, const Cell* name) {
  emitTemplate1(indent, "double %;", name);
}

void emitAssign(int indent, const Cell* left, const Cell* right) {
  emitTemplate2(indent, "%=%;", left, right);
}

void declareDoubleInit(int indent, const Cell* name, const Cell* value) {
  emitTemplate2(indent, "double %=%;", name, value);
}

void emitComment(int indent, const Cell* text) {
  emitTemplate1(indent, "// %", text);
}

void emitAssignments(int indent, const Cell* accumulator) {
  for (const Cell* rest = reverse(accumulator); is_cons(rest); rest = rest->pair.tail) {
    const Cell* entry = rest->pair.head;
    const Cell* name = head(entry);
    const Cell* text = tail(entry);
    if (equal(name, text)) continue;
    emitTemplate1(indent, "%=", name);
    emitTemplate1(indent + 2, "%;", text);
  }
}

void emitStateComments(int indent, const Cell* nodeTuples, const Cell* record) {
  if (compactMode) return;
  emitComment(indent, aget_named(record, "name"));
  int number = 0;
  for (const Cell* rest = nodeTuples; is_cons(rest); rest = rest->pair.tail) {
    emitIndent(indent);
    fprintf(output, "// state %d: ", number);
    write_cell_line(output, rest->pair.head);
    number++;
  }
}
