#include "driver/run_driver.h"

#include <cstdio>
#include <cstring>

#include "codegen/cashflow_task.h"
#include "codegen/emitter.h"
#include "core/list.h"
#include "core/reader.h"
#include "driver/diagnostics.h"
#include "generate/generate_task.h"
#include "model/products.h"
#include "model/splits.h"
#include "model/statements.h"

// The front end hands the portfolio over in this file and expects it gone
// once read.
static const char* const HANDED_OVER_PORTFOLIO = "../bin/tool.bin";

void run_script_set(const char* f1, const char* f2, const char* f3, const char* pipe_name,
                    const char* connection) {
  const Cell* statements = read_scrambled_source(f3);
  statements = append(read_scrambled_source(f2), statements);
  if (compactMode && strcmp(f2, HANDED_OVER_PORTFOLIO) == 0 && remove(f2) != 0) pdie("remove()");
  statements = append(read_scrambled_source(f1), statements);

  verifyStatements(statements);
  const Cell* defs = statementsToDefs(statements);
  const Cell* cdefs = statementsToCdefs(statements, defs);
  const Cell* states = statementsToStates(cdefs, defs, statements, nil());
  const Cell* products = statementsToProducts(cdefs, defs, statements, states);
  run_task(cdefs, defs, products, states, pipe_name, connection);
}

void run_task(const Cell* cdefs, const Cell* defs, const Cell* products, const Cell* states,
              const char*, const char* connection) {
  const Cell* task = aget_named(defs, "task");
  if (!is_cons(task)) die("No task found, define 'task'");
  if (!is_nil(task->pair.head)) die("Task takes no arguments");
  const Cell* body = task->pair.tail;
  const Cell* kind = is_cons(body) ? body->pair.head : body;
  if (is_symbol_named(kind, "cashflow")) {
    runCashflowTask(second(body), cdefs, defs, products, states, connection);
  } else if (is_symbol_named(kind, "generate")) {
    generatePortfolios(body);
  } else {
    error_at(body, "Unknown task");
  }
}
