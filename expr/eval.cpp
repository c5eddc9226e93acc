#include "expr/eval.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <set>
#include <utility>
#include <vector>

#include "core/infix_parser.h"
#include "core/list.h"
#include "core/printer.h"
#include "driver/diagnostics.h"
#include "expr/scalar.h"

// Per-element walks gather the elements first and make the pairs from the
// last one back, so argument lists of any length cost no stack.
using Cells = std::vector<const Cell*>;

static const Cell* build(const Cells& elements, const Cell* end) {
  const Cell* list = end;
  for (size_t i = elements.size(); i-- > 0;) list = cons(elements[i], list);
  return list;
}

// 12 * years + months as a month count, wrapped to 32 bits like all
// integer arithmetic of scripts.
static int32_t month_count(int32_t years, int32_t months) {
  return static_cast<int32_t>(12 * static_cast<int64_t>(years) + months);
}

// Special forms: they get their arguments as written.

using SpecialForm = const Cell* (*)(const Cell* arguments, const Cell* defs,
                                    const Cell* environment);

static const Cell* form_itself(const Cell* arguments, const Cell*, const Cell*) {
  return first(arguments);
}

// The parameter list is not bound here; the body sees the current bindings.
static const Cell* form_function(const Cell* arguments, const Cell* defs, const Cell* environment) {
  return eval(second(arguments), defs, environment);
}

static const Cell* form_substitute(const Cell* arguments, const Cell* defs,
                                   const Cell* environment) {
  const Cell* value = eval(third(arguments), defs, environment);
  return eval(first(arguments), defs, aset(environment, second(arguments), value));
}

static const Cell* form_parse(const Cell* arguments, const Cell*, const Cell*) {
  return parseExpr(first(arguments));
}

static const Cell* form_parse_eval(const Cell* arguments, const Cell* defs,
                                   const Cell* environment) {
  return eval(parseExpr(first(arguments)), defs, environment);
}

static const Cell* form_assoc(const Cell* arguments, const Cell* defs, const Cell* environment) {
  return evalAssoc(arguments, defs, environment);
}

static const Cell* form_if(const Cell* arguments, const Cell* defs, const Cell* environment) {
  if (is_true(eval(first(arguments), defs, environment))) {
    return eval(second(arguments), defs, environment);
  }
  return eval(third(arguments), defs, environment);
}

static const Cell* form_and(const Cell* arguments, const Cell* defs, const Cell* environment) {
  const Cell* a = eval(first(arguments), defs, environment);
  if (is_nil(a)) return a;
  return eval(second(arguments), defs, environment);
}

static const Cell* form_or(const Cell* arguments, const Cell* defs, const Cell* environment) {
  const Cell* a = eval(first(arguments), defs, environment);
  if (is_true(a)) return a;
  return eval(second(arguments), defs, environment);
}

struct SpecialFormEntry {
  const char* name;
  SpecialForm apply;
};

static const SpecialFormEntry special_forms[] = {
    {"is", form_itself},
    {"function", form_function},
    {"substitute", form_substitute},
    {"quote", form_itself},
    {"c", form_itself},
    {"parse", form_parse},
    {"parseEval", form_parse_eval},
    {"parseEvalBig", form_parse_eval},
    {"parseBool", form_itself},
    {"assoc", form_assoc},
    {"if", form_if},
    {"and", form_and},
    {"or", form_or},
};

// Operations: they get the values of their arguments and the expression,
// which is the place of their results and of their errors.

using Operation = const Cell* (*)(const Cell* values, const Cell* expression);

static const Cell* op_replace(const Cell* values, const Cell*) {
  return replaceTerm(first(values), second(values), third(values));
}

static const Cell* op_string_to_symbol(const Cell* values, const Cell*) {
  return stringToSymbol(first(values));
}

static const Cell* op_date(const Cell* values, const Cell* expression) {
  int32_t years = integer_value(first(values));
  int32_t months = integer_value(second(values));
  return date_at(month_count(years, months), expression);
}

static const Cell* op_span(const Cell* values, const Cell* expression) {
  int32_t years = integer_value(first(values));
  int32_t months = integer_value(second(values));
  return span_at(month_count(years, months), expression);
}

static const Cell* op_years2span(const Cell* values, const Cell* expression) {
  return span_at(month_count(integer_value(first(values)), 0), expression);
}

static const Cell* op_span2years(const Cell* values, const Cell* expression) {
  return real_at(span_value(first(values)) / 12.0, expression);
}

static const Cell* op_equal(const Cell* values, const Cell* expression) {
  return boolean(scalarEqual(first(values), second(values), expression));
}

static const Cell* op_not_equal(const Cell* values, const Cell* expression) {
  return boolean(!scalarEqual(first(values), second(values), expression));
}

// The four orders all rest on less-than; <= and >= are negations, so they
// hold for a NaN operand.
static const Cell* op_less(const Cell* values, const Cell* expression) {
  return boolean(scalarLess(first(values), second(values), expression));
}

static const Cell* op_less_equal(const Cell* values, const Cell* expression) {
  return boolean(!scalarLess(second(values), first(values), expression));
}

static const Cell* op_greater(const Cell* values, const Cell* expression) {
  return boolean(scalarLess(second(values), first(values), expression));
}

static const Cell* op_greater_equal(const Cell* values, const Cell* expression) {
  return boolean(!scalarLess(first(values), second(values), expression));
}

static const Cell* op_add(const Cell* values, const Cell* expression) {
  return scalarAdd(first(values), second(values), expression);
}

static const Cell* op_subtract(const Cell* values, const Cell* expression) {
  return scalarSubtract(first(values), second(values), expression);
}

static const Cell* op_multiply(const Cell* values, const Cell* expression) {
  return scalarMultiply(first(values), second(values), expression);
}

static const Cell* op_divide(const Cell* values, const Cell* expression) {
  return scalarDivide(first(values), second(values), expression);
}

static const Cell* op_power(const Cell* values, const Cell* expression) {
  return scalarPower(first(values), second(values), expression);
}

static const Cell* op_min(const Cell* values, const Cell* expression) {
  return scalarMin(first(values), second(values), expression);
}

static const Cell* op_max(const Cell* values, const Cell* expression) {
  return scalarMax(first(values), second(values), expression);
}

static const Cell* op_list(const Cell* values, const Cell*) {
  return values;
}

static const Cell* op_aget(const Cell* values, const Cell*) {
  return aget(first(values), second(values));
}

static const Cell* op_aget_default(const Cell* values, const Cell*) {
  return aget_default(first(values), second(values), third(values));
}

static const Cell* op_gauss(const Cell* values, const Cell*) {
  double x = to_real(first(values));
  double m = to_real(second(values));
  double s = to_real(third(values));
  return real(gauss(x, m, s));
}

struct OperationEntry {
  const char* name;
  Operation apply;
};

static const OperationEntry operations[] = {
    {"replace", op_replace},
    {"stringToSymbol", op_string_to_symbol},
    {"date", op_date},
    {"span", op_span},
    {"years2span", op_years2span},
    {"span2years", op_span2years},
    {"=", op_equal},
    {"!=", op_not_equal},
    {"<", op_less},
    {"<=", op_less_equal},
    {">", op_greater},
    {">=", op_greater_equal},
    {"+", op_add},
    {"-", op_subtract},
    {"*", op_multiply},
    {"/", op_divide},
    {"^", op_power},
    {"min", op_min},
    {"max", op_max},
    {"list", op_list},
    {"aget", op_aget},
    {"aget_default", op_aget_default},
    {"gauss", op_gauss},
};

static SpecialForm find_special_form(const Cell* op) {
  if (!is_symbol(op)) return nullptr;
  for (const SpecialFormEntry& entry : special_forms) {
    if (strcmp(entry.name, op->text) == 0) return entry.apply;
  }
  return nullptr;
}

static Operation find_operation(const Cell* op) {
  if (!is_symbol(op)) return nullptr;
  for (const OperationEntry& entry : operations) {
    if (strcmp(entry.name, op->text) == 0) return entry.apply;
  }
  return nullptr;
}

// Definitions may call each other without end (a later definition of a
// name may call the name itself): the nesting is bounded, well past the
// million levels that finite recursion is known to need, and well before
// it could exhaust memory.
static int32_t nesting = 0;

static void enterNesting(const Cell* where, const char* message) {
  if (nesting >= MAX_NESTING) error_at(where, message);
  nesting++;
}

static void leaveNesting() { nesting--; }

// The language has no side effects, so a definition without parameters
// that is called again in the environment of a call of it still running
// would repeat that call for ever: refused at once, before each round of
// it has filled the memory with what it builds.
static std::set<std::pair<const Cell*, const Cell*>> runningCalls;

void resetNesting() {
  nesting = 0;
  runningCalls.clear();
}

// Out of line, so that the frame of every call of a definition stays as
// small as deep recursion needs.
[[gnu::noinline]] static void enterParameterless(const Cell* where, const Cell* definition,
                                                  const Cell* environment) {
  if (!runningCalls.insert({definition, environment}).second) {
    error_at(where, "eval: endless recursion: a definition without parameters calls itself");
  }
}

[[gnu::noinline]] static void leaveParameterless(const Cell* definition, const Cell* environment) {
  runningCalls.erase({definition, environment});
}

// A user function: its body runs in the caller's environment with the
// parameters bound in front, so it sees every binding they do not hide.
static const Cell* call_definition(const Cell* expression, const Cell* values, const Cell* defs,
                                   const Cell* environment) {
  const Cell* definition = aget(defs, expression->pair.head);
  if (!is_cons(definition)) {
    printf("\n");
    print_cell_line(expression);
    error_at(expression, "eval: Unknown operator");
  }
  const Cell* inner = bindArguments(definition->pair.head, values, environment);
  enterNesting(expression, "eval: calls nested too deep: endless recursion of a definition?");
  bool parameterless = !is_cons(definition->pair.head);
  if (parameterless) enterParameterless(expression, definition, inner);
  const Cell* value = eval(definition->pair.tail, defs, inner);
  if (parameterless) leaveParameterless(definition, inner);
  leaveNesting();
  return value;
}

const Cell* eval(const Cell* expression, const Cell* defs, const Cell* environment) {
  if (is_symbol(expression)) return aget_strict(environment, expression);
  if (is_atom(expression)) return expression;
  const Cell* op = expression->pair.head;
  const Cell* arguments = expression->pair.tail;
  SpecialForm form = find_special_form(op);
  if (form != nullptr) return form(arguments, defs, environment);
  // Operations and user functions alike get their arguments evaluated
  // first, so a fault inside them is reported before an unknown operator.
  const Cell* values = evalList(arguments, defs, environment);
  Operation operation = find_operation(op);
  if (operation != nullptr) return operation(values, expression);
  return call_definition(expression, values, defs, environment);
}

const Cell* evalList(const Cell* arguments, const Cell* defs, const Cell* environment) {
  Cells expressions;
  for (; is_cons(arguments); arguments = arguments->pair.tail) {
    expressions.push_back(arguments->pair.head);
  }
  const Cell* values = nil();
  for (size_t i = expressions.size(); i-- > 0;) {
    values = cons(eval(expressions[i], defs, environment), values);
  }
  return values;
}

const Cell* evalAssoc(const Cell* pairs, const Cell* defs, const Cell* environment) {
  Cells entries;
  for (; is_cons(pairs); pairs = pairs->pair.tail) {
    const Cell* pair = pairs->pair.head;
    const Cell* key = eval(first(pair), defs, environment);
    const Cell* value = eval(second(pair), defs, environment);
    entries.push_back(cons(key, value));
  }
  return build(entries, nil());
}

const Cell* bindArguments(const Cell* parameters, const Cell* values, const Cell* environment) {
  Cells entries;
  for (; is_cons(parameters); parameters = parameters->pair.tail) {
    entries.push_back(cons(parameters->pair.head, head(values)));
    values = values->pair.tail;
  }
  return build(entries, environment);
}

const Cell* replaceTerm(const Cell* term, const Cell* old, const Cell* replacement) {
  if (equal(term, old)) return replacement;
  if (is_atom(term)) return term;
  return cons(term->pair.head, replaceInList(term->pair.tail, old, replacement));
}

// The list's own end is kept: only elements are replaced.
const Cell* replaceInList(const Cell* list, const Cell* old, const Cell* replacement) {
  Cells elements;
  for (; is_cons(list); list = list->pair.tail) {
    elements.push_back(replaceTerm(list->pair.head, old, replacement));
  }
  return build(elements, list);
}

double gauss(double x, double m, double s) {
  double z = (x - m) / s;
  if (z * z > 100.0) return 0.0;
  return std::exp(-0.5 * z * z) / (2.5066282746310002 * s);
}
