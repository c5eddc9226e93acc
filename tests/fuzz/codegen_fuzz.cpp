// The code generator on any portfolio script: the bundled model is checked
// once; each input's value definitions are checked after the model's, as
// the run driver joins the model and portfolio files, and the calculation
// program for (portfolio) is written in compact mode into a memory file;
// a sample of the programs is compiled with tcc.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

#include "codegen/cashflow_task.h"
#include "codegen/emitter.h"
#include "codegen/identifiers.h"
#include "codegen/surrender_code.h"
#include "core/list.h"
#include "core/reader.h"
#include "expr/eval.h"
#include "model/products.h"
#include "model/splits.h"
#include "model/statements.h"
#include "tests/fuzz/fuzz_support.h"

static const Cell* modelDefs;
static const Cell* modelCdefs;
static const Cell* modelStates;
static const Cell* modelProducts;
static FILE* program;

static void loadModel(void*) {
  const Cell* statements = read_source(TALVON_SOURCE_DIR "/models/pension/model.tal");
  verifyStatements(statements);
  modelDefs = statementsToDefs(statements);
  modelCdefs = statementsToCdefs(statements, modelDefs);
  modelStates = statementsToStates(modelCdefs, modelDefs, statements, nil());
  modelProducts = statementsToProducts(modelCdefs, modelDefs, statements, modelStates);
}

static void writeProgram(void* context) {
  const Cell* statements = static_cast<const Cell*>(context);
  verifyStatements(statements);
  const Cell* defs = modelDefs;
  for (const Cell* s = statements; is_cons(s); s = s->pair.tail) {
    if (isStatementOf(s->pair.head, "define")) defs = verifyValueDef(tail(s->pair.head), defs);
  }
  const Cell* portfolio = zeroSurrenderIntensity(eval(parse("(portfolio)"), defs, nil()));
  rewind(program);
  setOutputFile(program);
  emitCalculationProgram(portfolio, modelCdefs, defs, modelProducts, modelStates, "-1");
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  quiet_fuzz_process();
  initIdentifierTable();
  int fd = memfd_create("program", 0);
  program = fd < 0 ? nullptr : fdopen(fd, "w");
  if (program == nullptr || !run_until_exit(loadModel, nullptr)) abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Nothing of one input is kept for the next: its cells all go back.
  CellMark mark = mark_cells();
  const Cell* statements = read_file_until_exit(input_file(data, size), false);
  bool written =
      statements != nullptr && run_until_exit(writeProgram, const_cast<Cell*>(statements));
  setOutputFile(stdout);
  if (written) compile_sample(program);
  release_cells(mark);
  return 0;
}
