#include "expr/verify_expression.h"

#include <cstdio>
#include <cstring>

#include "core/infix_parser.h"
#include "core/list.h"
#include "core/printer.h"
#include "driver/diagnostics.h"
#include "expr/verify_cexpr.h"

// Built-in operations with their number of arguments; -1 takes any number.
// The special forms are not here: each has its own rule below.
struct Builtin {
  const char* name;
  int arity;
};

static const Builtin builtins[] = {
    {"replace", 3},    {"stringToSymbol", 1}, {"date", 2},       {"span", 2},
    {"years2span", 1}, {"span2years", 1},     {"if", 3},         {"and", 2},
    {"or", 2},         {"=", 2},              {"!=", 2},         {"<", 2},
    {"<=", 2},         {">", 2},              {">=", 2},         {"+", 2},
    {"*", 2},          {"-", 2},              {"/", 2},          {"^", 2},
    {"min", 2},        {"max", 2},            {"list", -1},      {"aget", 2},
    {"aget_default", 3}, {"cashflow", 1},     {"generate", 3},
};

void checkArity(int flag, const Cell* expression) {
  if (!flag) error_at(expression, "Wrong arity");
}

void verifyFunctionArguments(const Cell* list) {
  for (; is_cons(list); list = list->pair.tail) {
    if (!is_symbol(list->pair.head)) {
      error_at(list->pair.head, "Function arguments must be symbolds");
    }
  }
}

void verifyExpressionList(const Cell* bound, const Cell* states, const Cell* cdefs,
                          const Cell* defs, const Cell* list) {
  for (; is_cons(list); list = list->pair.tail) {
    verifyExpression(bound, states, cdefs, defs, list->pair.head);
  }
  if (!is_nil(list)) die("Malformed expression list");
}

void verifyExpression(const Cell* bound, const Cell* states, const Cell* cdefs, const Cell* defs,
                      const Cell* expression) {
  switch (expression->tag) {
    case CellTag::nil:
    case CellTag::integer:
    case CellTag::real:
    case CellTag::string:
      return;
    case CellTag::symbol:
      if (!member(bound, expression)) {
        printf("\n");
        print_cell_line(expression);
        error_at(expression, "Unbound symbol");
      }
      return;
    case CellTag::cons:
      verifyCompoundExpression(bound, states, cdefs, defs, expression);
      return;
    case CellTag::date:
    case CellTag::span:
      break;
  }
  die("Unexpected tag");
}

// The arity of an operator that is no special form: a built-in's, else
// that of its definition. An unknown operator ends the run here.
static int operatorArity(const Cell* defs, const Cell* expression) {
  const Cell* op = expression->pair.head;
  for (const Builtin& b : builtins) {
    if (is_symbol_named(op, b.name)) return b.arity;
  }
  const Cell* definition = aget(defs, op);
  if (!is_cons(definition)) {
    printf("\n");
    print_cell_line(expression);
    error_at(expression, "verifyCompoundExpression: Unknown operator");
  }
  return length(definition->pair.head);
}

// The one-argument forms whose argument is an infix text, checked as the
// expression it denotes.
static const char* const parse_forms[][2] = {
    {"parse", "Arity of 'parse' is 1"},
    {"parseEval", "Arity of 'parseEval' is 1"},
    {"parseEvalBig", "Arity of 'parseEvalBig' is 1"},
};

// Checks a special form and gives TRUE, or gives FALSE when the operator
// names none.
static int verifySpecialForm(const Cell* bound, const Cell* states, const Cell* cdefs,
                             const Cell* defs, const Cell* expression, int32_t n) {
  const Cell* op = expression->pair.head;
  const Cell* arguments = expression->pair.tail;
  if (is_symbol_named(op, "is")) {
    if (n != 1) error_at(expression, "Arity of 'is' is 1");
    if (!member(states, first(arguments))) error_at(expression, "Argument of 'is' must be state");
    return TRUE;
  }
  if (is_symbol_named(op, "function")) {
    if (n != 2) error_at(expression, "Arity of 'function' is 2");
    const Cell* parameters = first(arguments);
    verifyFunctionArguments(parameters);
    verifyExpression(append(parameters, bound), states, cdefs, defs, second(arguments));
    return TRUE;
  }
  if (is_symbol_named(op, "substitute")) {
    if (n != 3) error_at(expression, "Arity of 'substitute' is 3");
    const Cell* variable = second(arguments);
    if (!is_symbol(variable)) {
      error_at(expression, "Second argument of 'substitute' must be a symbol");
    }
    verifyExpression(cons(variable, bound), states, cdefs, defs, first(arguments));
    verifyExpression(bound, states, cdefs, defs, third(arguments));
    return TRUE;
  }
  if (is_symbol_named(op, "quote")) {
    if (n != 1) error_at(expression, "Arity of 'quote' is 1");
    return TRUE;
  }
  if (is_symbol_named(op, "c")) {
    if (n != 1) error_at(expression, "Arity of 'c' is 1");
    verifyCExpr(bound, cdefs, defs, first(arguments));
    return TRUE;
  }
  for (const auto& form : parse_forms) {
    if (!is_symbol_named(op, form[0])) continue;
    if (n != 1) error_at(expression, form[1]);
    const Cell* text = first(arguments);
    if (!is_string(text)) error_at(expression, "Arg 1 of 'parse' must be string");
    verifyExpression(bound, states, cdefs, defs, parseExpr(text));
    return TRUE;
  }
  if (is_symbol_named(op, "parseBool")) {
    if (n != 1) error_at(expression, "Arity of 'parseBool' is 1");
    return TRUE;
  }
  // Only the first pair of an assoc is looked at; without one, assoc is
  // an ordinary operator.
  if (is_symbol_named(op, "assoc") && n > 0) {
    const Cell* pair = first(arguments);
    if (length(pair) != 2) error_at(pair, "Malformed assoc");
    verifyExpression(bound, states, cdefs, defs, first(pair));
    verifyExpression(bound, states, cdefs, defs, second(pair));
    return TRUE;
  }
  return FALSE;
}

void verifyCompoundExpression(const Cell* bound, const Cell* states, const Cell* cdefs,
                              const Cell* defs, const Cell* expression) {
  if (!is_symbol(head(expression))) error_at(expression, "Expression operators must be symbols");
  int32_t n = length(expression) - 1;
  if (verifySpecialForm(bound, states, cdefs, defs, expression, n)) return;
  // Arguments before arity: an unbound symbol in a call with the wrong
  // number of arguments is reported as unbound.
  verifyExpressionList(bound, states, cdefs, defs, tail(expression));
  int arity = operatorArity(defs, expression);
  checkArity(arity < 0 || arity == n, expression);
}
