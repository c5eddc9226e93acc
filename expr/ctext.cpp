#include "expr/ctext.h"

#include <cmath>

#include "core/list.h"
#include "core/printer.h"
#include "driver/diagnostics.h"
#include "expr/eval.h"
#include "expr/verify_cexpr.h"

const Cell* ctermListToCtext(const Cell* terms, const Cell* cdefs, const Cell* defs,
                             const Cell* environment, const Cell* accumulator) {
  const Cell* texts = nil();
  for (; is_cons(terms); terms = terms->pair.tail) {
    const Cell* result = ctermToCtext(terms->pair.head, cdefs, defs, environment, accumulator);
    texts = cons(result->pair.head, texts);
    accumulator = result->pair.tail;
  }
  return cons(reverse(texts), accumulator);
}

const Cell* bindCtext(const Cell* name, const Cell* term, const Cell* cdefs, const Cell* defs,
                      const Cell* environment, const Cell* accumulator) {
  const Cell* result = ctermToCtext(term, cdefs, defs, environment, accumulator);
  return acons(name, result->pair.head, result->pair.tail);
}

const Cell* cvarToCtext(const Cell* name, const Cell* cdefs, const Cell* defs,
                        const Cell* environment, const Cell* accumulator) {
  // t is the month index of the program's main loop, never a cdef.
  if (is_symbol_named(name, "t")) return cons(name, accumulator);
  if (!is_nil(aget(accumulator, name))) return cons(name, accumulator);
  const Cell* definition = aget(cdefs, name);
  if (!is_cons(definition)) {
    print_cell_line(name);
    error_at(name, "Unknown C variable");
  }
  // The definition goes in first, with its own variables behind it.
  accumulator = bindCtext(name, definition->pair.tail, cdefs, defs, environment, accumulator);
  return cons(name, accumulator);
}

// A constant whose text starts with a minus sign (-0.0 included, which
// flattens to -0.000000).
static int flattensNegative(const Cell* text) {
  if (is_integer(text) || is_date(text) || is_span(text)) return text->whole < 0;
  return is_real(text) && std::signbit(text->real);
}

const Cell* operationToCtext(const Cell* term, const Cell* cdefs, const Cell* defs,
                             const Cell* environment, const Cell* accumulator,
                             const char* opening, const char* separator, const char* closing) {
  if (length(term->pair.tail) != 2) {
    print_cell_line(term);
    error_at(term, "operation has arity 2");
  }
  const Cell* result = ctermListToCtext(term->pair.tail, cdefs, defs, environment, accumulator);
  const Cell* texts = result->pair.head;
  const Cell* right = second(texts);
  // After a minus, a negative constant would read as C's decrement (x--3).
  if (separator[0] == '-' && flattensNegative(right)) {
    right = list3(symbol_at("(", term), right, symbol_at(")", term));
  }
  const Cell* text = list5(symbol_at(opening, term), first(texts), symbol_at(separator, term),
                           right, symbol_at(closing, term));
  return cons(text, result->pair.tail);
}

const Cell* infixToCtext(const Cell* term, const Cell* cdefs, const Cell* defs,
                         const Cell* environment, const Cell* accumulator,
                         const char* operator_text) {
  return operationToCtext(term, cdefs, defs, environment, accumulator, "(", operator_text, ")");
}

// v_date, v_span and v_real: the value of a script expression, known now.
struct ValueForm {
  const char* name;
  const char* arity_message;
};

static const ValueForm value_forms[] = {
    {"v_date", "v_date has arity 1"},
    {"v_span", "v_span has arity 1"},
    {"v_real", "value has arity 1"},
};

static const Cell* valueToCtext(const Cell* term, const Cell* cdefs, const Cell* defs,
                                const Cell* environment, const Cell* accumulator) {
  const Cell* op = term->pair.head;
  const Cell* value = eval(second(term), defs, environment);
  if (is_symbol_named(op, "v_date") && !is_date(value)) {
    print_cell_line(value);
    error_at(value, "expected date");
  }
  if (is_symbol_named(op, "v_span") && !is_span(value)) {
    print_cell_line(value);
    error_at(value, "expected span");
  }
  if (!is_symbol_named(op, "v_real")) return cons(value, accumulator);
  // A real value may itself be a C-level expression, held by a `c` form.
  if (!is_symbol_named(verifyCExpr(nil(), cdefs, nil(), value), "t_real")) {
    error_at(op, "expected real");
  }
  return ctermToCtext(value, cdefs, defs, environment, accumulator);
}

// Operators with their own arity message. The text alternates the pieces
// with the argument texts: piece, a, piece, b, ..., piece.
struct CallForm {
  const char* name;
  int32_t arity;
  const char* arity_message;
  const char* pieces[4];
};

static const CallForm call_forms[] = {
    {"span2years", 1, "span2years has arity 1", {"(", "/12.0)"}},
    {"if", 3, "if has arity 3", {"(", "?", ":", ")"}},
    {"dfsa_yield", 1, "dfsa_yield has arity 1", {"dfsa_yield(", ")"}},
    {"gauss", 3, "gauss has arity 3", {"gauss(", ",", ",", ")"}},
    {"collective_mortality_male", 1, "collective_mortality_male has arity 1",
     {"collectiveMortalityMale(", ")"}},
    {"collective_mortality_female", 1, "collective_mortality_female has arity 1",
     {"collectiveMortalityFemale(", ")"}},
};

static const Cell* callToCtext(const CallForm& form, const Cell* term, const Cell* cdefs,
                               const Cell* defs, const Cell* environment,
                               const Cell* accumulator) {
  const Cell* result = ctermListToCtext(term->pair.tail, cdefs, defs, environment, accumulator);
  const Cell* text = list1(symbol_at(form.pieces[0], term));
  int32_t i = 1;
  for (const Cell* texts = result->pair.head; is_cons(texts); texts = texts->pair.tail) {
    text = cons(symbol_at(form.pieces[i++], term), cons(texts->pair.head, text));
  }
  return cons(reverse(text), result->pair.tail);
}

// Two-argument operators: infix ones get their own parentheses, so no C
// precedence is ever relied on; division is always one of doubles.
struct InfixForm {
  const char* name;
  const char* text;
};

static const InfixForm infix_forms[] = {
    {"and", "&&"}, {"or", "||"}, {"=", "=="}, {"!=", "!="}, {"<", "<"},
    {"<=", "<="},  {">", ">"},   {">=", ">="}, {"+", "+"},   {"-", "-"},
    {"*", "*"},    {"/", "/(double)"},
};

struct FunctionForm {
  const char* name;
  const char* opening;
};

static const FunctionForm function_forms[] = {
    {"^", "pow("},
    {"min", "fmin("},
    {"max", "fmax("},
};

static const Cell* compoundToCtext(const Cell* term, const Cell* cdefs, const Cell* defs,
                                   const Cell* environment, const Cell* accumulator) {
  const Cell* op = term->pair.head;
  int32_t n = length(term->pair.tail);
  for (const auto& form : value_forms) {
    if (!is_symbol_named(op, form.name)) continue;
    if (n != 1) error_at(op, form.arity_message);
    return valueToCtext(term, cdefs, defs, environment, accumulator);
  }
  for (const auto& form : call_forms) {
    if (!is_symbol_named(op, form.name)) continue;
    if (n != form.arity) error_at(op, form.arity_message);
    return callToCtext(form, term, cdefs, defs, environment, accumulator);
  }
  for (const auto& form : infix_forms) {
    if (!is_symbol_named(op, form.name)) continue;
    return infixToCtext(term, cdefs, defs, environment, accumulator, form.text);
  }
  for (const auto& form : function_forms) {
    if (!is_symbol_named(op, form.name)) continue;
    return operationToCtext(term, cdefs, defs, environment, accumulator, form.opening, ",",
                            ")");
  }
  print_cell_line(term);
  error_at(term, "ctermToCtext: Unknown operator");
}

const Cell* ctermToCtext(const Cell* term, const Cell* cdefs, const Cell* defs,
                         const Cell* environment, const Cell* accumulator) {
  switch (term->tag) {
    case CellTag::real:
    case CellTag::integer:
    case CellTag::date:
    case CellTag::span:
      return cons(term, accumulator);
    case CellTag::symbol:
      return cvarToCtext(term, cdefs, defs, environment, accumulator);
    case CellTag::nil:
    case CellTag::string:
      print_cell_line(term);
      error_at(term, "ctermToCtext: Unknown atom");
    case CellTag::cons:
      break;
  }
  return compoundToCtext(term, cdefs, defs, environment, accumulator);
}
