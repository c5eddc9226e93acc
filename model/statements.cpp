#include "model/statements.h"

#include "core/list.h"
#include "driver/diagnostics.h"
#include "expr/verify_cexpr.h"
#include "expr/verify_expression.h"

static const char* const KEYWORDS[] = {"cdef", "split", "define", "product_definition", "window"};

void verifyStatements(const Cell* statements) {
  for (; is_cons(statements); statements = tail(statements)) {
    const Cell* statement = head(statements);
    const Cell* keyword = head(statement);  // a bare item ends here
    int known = FALSE;
    for (const char* name : KEYWORDS) known = known || is_symbol_named(keyword, name);
    if (!known) error_at(statement, "Unknown statement type");
  }
}

int isStatementOf(const Cell* statement, const char* keyword) {
  return is_symbol_named(head(statement), keyword);
}

const Cell* statementsToDefs(const Cell* statements) {
  const Cell* defs = nil();
  for (; is_cons(statements); statements = tail(statements)) {
    const Cell* statement = head(statements);
    if (isStatementOf(statement, "define")) defs = verifyValueDef(tail(statement), defs);
  }
  return defs;
}

const Cell* verifyValueDef(const Cell* arguments, const Cell* defs) {
  if (length(arguments) != 2) error_at(arguments, "Value definitions take two arguments");
  const Cell* lhs = first(arguments);
  if (!is_cons(lhs)) error_at(arguments, "Malformed value lhs");
  for (const Cell* rest = lhs; is_cons(rest); rest = tail(rest)) {
    if (!is_symbol(head(rest))) {
      error_at(head(rest), "First argument of value def must be list of symbols");
    }
  }
  const Cell* name = head(lhs);
  const Cell* parameters = tail(lhs);
  const Cell* body = second(arguments);
  // Only earlier definitions are visible, so a body cannot call itself.
  verifyExpression(parameters, nil(), nil(), defs, body);
  return acons(name, cons(parameters, body), defs);
}

const Cell* statementsToCdefs(const Cell* statements, const Cell* defs) {
  const Cell* cdefs = nil();
  for (; is_cons(statements); statements = tail(statements)) {
    const Cell* statement = head(statements);
    if (isStatementOf(statement, "cdef")) cdefs = verifyCdef(tail(statement), defs, cdefs);
  }
  return cdefs;
}

const Cell* verifyCdef(const Cell* arguments, const Cell* defs, const Cell* cdefs) {
  if (length(arguments) != 3) error_at(arguments, "'cdef' takes three arguments");
  const Cell* type = first(arguments);
  const Cell* name = second(arguments);
  const Cell* expression = third(arguments);
  if (!is_symbol(type)) error_at(arguments, "Type must be atom");
  if (!is_symbol_named(type, "t_date") && !is_symbol_named(type, "t_span")) {
    error_at(arguments, "Type must be t_date or t_span");
  }
  if (!is_symbol(name)) error_at(arguments, "Malformed lhs of 'cdef'");
  if (!equal(verifyCExpr(nil(), cdefs, defs, expression), type)) {
    error_at(arguments, "cdef: type mismatch");
  }
  return acons(name, cons(type, expression), cdefs);
}
