// The statement passes of a run over any script: the kind check, defs,
// cdefs, states and products, chained as the run driver chains them.
#include "core/list.h"
#include "core/reader.h"
#include "model/products.h"
#include "model/splits.h"
#include "model/statements.h"
#include "tests/fuzz/fuzz_support.h"

static void runPasses(void* context) {
  const Cell* statements = static_cast<const Cell*>(context);
  verifyStatements(statements);
  const Cell* defs = statementsToDefs(statements);
  const Cell* cdefs = statementsToCdefs(statements, defs);
  const Cell* states = statementsToStates(cdefs, defs, statements, nil());
  statementsToProducts(cdefs, defs, statements, states);
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  quiet_fuzz_process();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Cell* statements = read_file_until_exit(input_file(data, size), false);
  if (statements != nullptr) run_until_exit(runPasses, const_cast<Cell*>(statements));
  return 0;
}
