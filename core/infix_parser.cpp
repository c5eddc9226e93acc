#include "core/infix_parser.h"

#include <cstring>

#include "core/list.h"
#include "core/reader.h"
#include "driver/diagnostics.h"

// Operators are not constituents, so "x*y" is three tokens and a number in
// an expression never carries a sign of its own.
static void set_expression_syntax() {
  set_sexpr_syntax();
  for (const char* c = "^*/+-<>=!&|"; *c != 0; c++) reader.constituent[static_cast<unsigned char>(*c)] = 0;
}

static const Cell* symbol_here(const char* name) {
  return symbol_at(name, reader_position());
}

// At a one-character operator: its symbol, with the operand's blanks skipped.
static const Cell* take_operator(const char* name) {
  const Cell* op = symbol_here(name);
  next_char();
  skip_blanks();
  return op;
}

static const Cell* parse_disjunction();

static const Cell* parse_primary() {
  if (reader.current == '(') {
    const Cell* open = reader_position();
    next_char();
    skip_blanks();
    const Cell* inner = parse_disjunction();
    if (reader.current == -1) error_at(open, "no matching parenthesis found");
    if (reader.current != ')') error_at(reader_position(), "expected right parenthesis");
    next_char();
    skip_blanks();
    return inner;
  }
  if (reader.current == '-' || reader.current == '+') {
    const Cell* sign = take_operator(reader.current == '-' ? "-" : "+");
    return list3(sign, integer(0), parse_primary());
  }
  if (reader.current == '"') {
    const Cell* text = read_string();
    skip_blanks();
    return text;
  }
  if (reader.current < 0 || reader.current > 255 || !reader.constituent[reader.current]) {
    error_at(reader_position(), "unexpected character");
  }
  const Cell* token = read_token();
  skip_blanks();
  if (reader.current != '(') return token;
  if (!is_symbol(token)) error_at(reader_position(), "malformed function");
  next_char();
  skip_blanks();
  const Cell* arguments = nil();
  for (;;) {
    arguments = cons(parse_disjunction(), arguments);
    if (reader.current == ')') break;
    if (reader.current != ',') error_at(reader_position(), "malformed parameter list");
    next_char();
    skip_blanks();
  }
  next_char();
  skip_blanks();
  return cons(token, reverse(arguments));
}

static const Cell* parse_power() {
  const Cell* base = parse_primary();
  if (reader.current != '^') return base;
  const Cell* op = take_operator("^");
  return list3(op, base, parse_power());
}

static const Cell* parse_product() {
  const Cell* left = parse_power();
  while (reader.current == '*' || reader.current == '/') {
    const Cell* op = take_operator(reader.current == '*' ? "*" : "/");
    left = list3(op, left, parse_power());
  }
  return left;
}

static const Cell* parse_sum() {
  const Cell* left = parse_product();
  while (reader.current == '+' || reader.current == '-') {
    const Cell* op = take_operator(reader.current == '+' ? "+" : "-");
    left = list3(op, left, parse_product());
  }
  return left;
}

// The comparison symbol takes the position just after its operator.
static const Cell* read_comparison() {
  int32_t first = reader.current;
  next_char();
  const char* name = nullptr;
  if (first == '=') {
    name = "=";
  } else if (first == '!') {
    if (reader.current != '=') error_at(reader_position(), "exprected = after !");
    next_char();
    name = "!=";
  } else if (reader.current == '=') {
    next_char();
    name = first == '<' ? "<=" : ">=";
  } else {
    name = first == '<' ? "<" : ">";
  }
  const Cell* op = symbol_here(name);
  skip_blanks();
  return op;
}

static const Cell* parse_comparison() {
  const Cell* left = parse_sum();
  if (reader.current != '=' && reader.current != '!' && reader.current != '<' &&
      reader.current != '>') {
    return left;
  }
  const Cell* op = read_comparison();
  return list3(op, left, parse_sum());
}

static const Cell* parse_conjunction() {
  const Cell* left = parse_comparison();
  if (reader.current != '&') return left;
  const Cell* op = take_operator("and");
  return list3(op, left, parse_comparison());
}

static const Cell* parse_disjunction() {
  const Cell* left = parse_conjunction();
  if (reader.current != '|') return left;
  const Cell* op = take_operator("or");
  return list3(op, left, parse_conjunction());
}

const Cell* parseExpr(const Cell* string) {
  if (!is_string(string)) error_at(string, "parseExpr: expected string");
  set_expression_syntax();
  set_text_source(string->text, string->line, string->character, string->file);
  next_char();
  skip_blanks();
  const Cell* expression = parse_disjunction();
  reader.text = nullptr;
  return expression;
}

const Cell* parseExpr0(const char* text) {
  return parseExpr(string(text));
}
