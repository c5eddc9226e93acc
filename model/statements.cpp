#include "model/statements.h"

#include <map>
#include <string>

#include "core/list.h"
#include "driver/diagnostics.h"
#include "expr/verify_cexpr.h"
#include "expr/verify_expression.h"
#include "model/c_names.h"

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
  verifyCdefCycles(cdefs);
  return cdefs;
}

// ---- Cycles of C variables ----

// A name is one variable of the calculation program, computed from its
// last definition; a last definition that reaches its own name, directly
// or through others, could never be computed.
enum class Visit { under_way, done };

static void visitCdef(const Cell* name, const Cell* cdefs, std::map<std::string, Visit>& visits);

// The C variables of a term: symbols outside v_date, v_span and v_real.
static void visitTerm(const Cell* term, const Cell* cdefs, std::map<std::string, Visit>& visits) {
  if (is_symbol(term)) {
    if (is_cons(aget(cdefs, term))) visitCdef(term, cdefs, visits);
    return;
  }
  if (!is_cons(term)) return;
  const Cell* op = head(term);
  if (is_symbol_named(op, "v_date") || is_symbol_named(op, "v_span") ||
      is_symbol_named(op, "v_real")) {
    return;
  }
  for (const Cell* rest = tail(term); is_cons(rest); rest = tail(rest)) {
    visitTerm(head(rest), cdefs, visits);
  }
}

static void visitCdef(const Cell* name, const Cell* cdefs, std::map<std::string, Visit>& visits) {
  auto found = visits.find(symbol_name(name));
  if (found != visits.end() && found->second == Visit::done) return;
  const Cell* definition = aget(cdefs, name);
  if (found != visits.end()) {
    error_at(head(definition),
             "cdef: defined in terms of itself (a name has one definition, its last: give "
             "the new one a name of its own)");
  }
  visits[symbol_name(name)] = Visit::under_way;
  visitTerm(tail(definition), cdefs, visits);
  visits[symbol_name(name)] = Visit::done;
}

void verifyCdefCycles(const Cell* cdefs) {
  std::map<std::string, Visit> visits;
  for (const Cell* rest = reverse(cdefs); is_cons(rest); rest = tail(rest)) {
    visitCdef(head(head(rest)), cdefs, visits);
  }
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
  // The name is a variable of the calculation program.
  if (!isCIdentifier(symbol_name(name)) || isProgramName(symbol_name(name))) {
    error_at(name,
             "cdef: the name must be a C name (letters, digits, _) that is no C keyword and no "
             "name of the calculation program (prob_..., weight_..., x, y, yield, ...)");
  }
  if (!equal(verifyCExpr(nil(), cdefs, defs, expression), type)) {
    error_at(arguments, "cdef: type mismatch");
  }
  return acons(name, cons(type, expression), cdefs);
}
