#include "expr/verify_cexpr.h"

#include "core/list.h"
#include "core/printer.h"
#include "driver/diagnostics.h"
#include "expr/verify_expression.h"

static int is_type(const Cell* type, const char* name) {
  return is_symbol_named(type, name);
}

// Two types that are both t_real, both t_date or both t_span.
static int same_scalar(const Cell* a, const Cell* b) {
  return equal(a, b) && (is_type(a, "t_real") || is_type(a, "t_date") || is_type(a, "t_span"));
}

const Cell* verifyCExprList(const Cell* bound, const Cell* cdefs, const Cell* defs,
                            const Cell* list) {
  const Cell* types = nil();
  for (; is_cons(list); list = list->pair.tail) {
    types = cons(verifyCExpr(bound, cdefs, defs, list->pair.head), types);
  }
  return reverse(types);
}

static const Cell* verifyVariable(const Cell* cdefs, const Cell* name) {
  const Cell* definition = aget(cdefs, name);
  if (!is_cons(definition)) {
    print_cell_line(name);
    error_at(name, "verifyCExpr: Unknown variable");
  }
  return definition->pair.head;
}

// v_date, v_span and v_real: a script expression whose value the back end
// knows when it writes the program. Gives null for any other operator.
static const Cell* verifyValueForm(const Cell* bound, const Cell* cdefs, const Cell* defs,
                                   const Cell* expression, int32_t n) {
  static const char* const forms[][3] = {
      {"v_date", "v_date has arity 1", "t_date"},
      {"v_span", "v_span has arity 1", "t_span"},
      {"v_real", "value has arity 1", "t_real"},
  };
  const Cell* op = expression->pair.head;
  for (const auto& form : forms) {
    if (!is_symbol_named(op, form[0])) continue;
    if (n != 1) error_at(op, form[1]);
    verifyExpression(bound, nil(), cdefs, defs, second(expression));
    return symbol(form[2]);
  }
  return nullptr;
}

static const Cell* typeIf(const Cell* expression, const Cell* types, int32_t n) {
  const Cell* op = expression->pair.head;
  if (n != 3) error_at(op, "if has arity 3");
  if (!is_type(first(types), "bool")) error_at(op, "first argument of if must be bool");
  if (!equal(second(types), third(types))) {
    error_at(op, "second and third argument of if must be the same type");
  }
  return second(types);
}

static const Cell* typeSum(const Cell* expression, const Cell* a, const Cell* b) {
  if (is_type(a, "t_real") && is_type(b, "t_real")) return a;
  if (is_type(a, "t_span") && is_type(b, "t_span")) return a;
  if (is_type(a, "t_date") && is_type(b, "t_span")) return a;
  if (is_type(a, "t_span") && is_type(b, "t_date")) return b;
  error_at(expression, "incompatible arguments of '+'");
}

static const Cell* typeDifference(const Cell* expression, const Cell* a, const Cell* b) {
  if (is_type(a, "t_real") && is_type(b, "t_real")) return a;
  if (is_type(a, "t_span") && is_type(b, "t_span")) return a;
  if (is_type(a, "t_date") && is_type(b, "t_span")) return a;
  if (is_type(a, "t_date") && is_type(b, "t_date")) return symbol("t_span");
  error_at(expression, "incompatible arguments of '-'");
}

static int is_named_any(const Cell* op, const char* const* names) {
  for (; *names != nullptr; names++) {
    if (is_symbol_named(op, *names)) return TRUE;
  }
  return FALSE;
}

static const char* const relations[] = {"=", "!=", "<", "<=", ">", ">=", nullptr};
static const char* const logic[] = {"and", "or", nullptr};
static const char* const products[] = {"*", "/", "^", nullptr};
static const char* const extremes[] = {"min", "max", nullptr};

// An operator applied to arguments of the given types. Arity comes first,
// then the type rules in their order.
static const Cell* typeOperation(const Cell* expression, const Cell* types, int32_t n) {
  const Cell* op = expression->pair.head;
  if (is_symbol_named(op, "if")) return typeIf(expression, types, n);
  if (is_symbol_named(op, "span2years")) {
    if (n != 1) error_at(op, "span2years has arity 1");
    if (!is_type(first(types), "t_span")) {
      error_at(expression, "argument of span2years must be a span");
    }
    return symbol("t_real");
  }
  if (is_named_any(op, logic)) {
    checkArity(n == 2, expression);
    if (!is_type(first(types), "bool") || !is_type(second(types), "bool")) {
      error_at(expression, "arguments of 'and' and 'or' must be bool");
    }
    return first(types);
  }
  if (is_named_any(op, relations)) {
    checkArity(n == 2, expression);
    if (!same_scalar(first(types), second(types))) {
      error_at(expression, "incompatible arguments of relation");
    }
    return symbol("bool");
  }
  if (is_named_any(op, products)) {
    checkArity(n == 2, expression);
    if (!is_type(first(types), "t_real") || !is_type(second(types), "t_real")) {
      error_at(expression, "arguments must be numbers");
    }
    return first(types);
  }
  if (is_named_any(op, extremes)) {
    checkArity(n == 2, expression);
    if (!same_scalar(first(types), second(types))) {
      error_at(expression, "incompatible arguments of relation");
    }
    return first(types);
  }
  if (is_symbol_named(op, "+")) {
    checkArity(n == 2, expression);
    return typeSum(expression, first(types), second(types));
  }
  if (is_symbol_named(op, "-")) {
    checkArity(n == 2, expression);
    return typeDifference(expression, first(types), second(types));
  }
  if (is_symbol_named(op, "collective_mortality_male") ||
      is_symbol_named(op, "collective_mortality_female")) {
    checkArity(n == 1, expression);
    if (!is_type(first(types), "t_span")) {
      error_at(expression, is_symbol_named(op, "collective_mortality_male")
                               ? "argument of collective_mortality_male must be span"
                               : "argument of collective_mortality_female must be span");
    }
    return symbol("t_real");
  }
  print_cell_line(expression);
  error_at(op, "verifyCExpr: Unknown operator");
}

const Cell* verifyCExpr(const Cell* bound, const Cell* cdefs, const Cell* defs,
                        const Cell* expression) {
  switch (expression->tag) {
    case CellTag::real:
    case CellTag::integer:
      return symbol("t_real");
    case CellTag::date:
      return symbol("t_date");
    case CellTag::span:
      return symbol("t_span");
    case CellTag::symbol:
      return verifyVariable(cdefs, expression);
    case CellTag::nil:
    case CellTag::string:
      print_cell_line(expression);
      error_at(expression, "verifyCExpr: Illegal atom");
    case CellTag::cons:
      break;
  }
  int32_t n = length(expression) - 1;
  const Cell* value = verifyValueForm(bound, cdefs, defs, expression, n);
  if (value != nullptr) return value;
  // Arguments first: an unknown variable is reported before an unknown
  // operator or a type fault.
  const Cell* types = verifyCExprList(bound, cdefs, defs, expression->pair.tail);
  return typeOperation(expression, types, n);
}
