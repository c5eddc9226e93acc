// The statement passes of a run over any script: the kind check, defs,
// cdefs, states and products, chained as the run driver chains them. A
// model that passes them is valued as a portfolio with one policy per
// product would be, and a sample of its programs is compiled with tcc:
// a checked model must never give a program that tcc rejects.
#include <sys/mman.h>

#include <cstdlib>
#include <string>

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

static FILE* program;

// The basis of the small annuity portfolio of the tests; the policies name
// the model's products.
static const char* const BASIS =
    "(assoc (\"male\" (assoc (\"alive->dead\" (parse \"0.001\")) (\"unmarried->married\" "
    "(parse \"0.0\")) (\"married->unmarried\" (parse \"0.0\")) (\"age_distribution\" (parse "
    "\"0.0\")))) (\"female\" (assoc (\"alive->dead\" (parse \"0.001\")) (\"unmarried->married\" "
    "(parse \"0.0\")) (\"married->unmarried\" (parse \"0.0\")) (\"age_distribution\" (parse "
    "\"0.0\")))) (\"dfsa (Finanstilsynet)\" (assoc (\"dfsa_yield\" (list 1.0)) "
    "(\"dfsa_mortality_female\" (list 0.01)) (\"dfsa_mortality_improvement_female\" (list 0.0)) "
    "(\"dfsa_mortality_improvement_male\" (list 0.0)) (\"dfsa_mortality_male\" (list 0.01)))) "
    "(\"yield_curve\" (parse \"2.0\")) (\"free_policy_fraction\" (parse \"0.5\")))";

static std::string portfolioOf(const Cell* products) {
  std::string policies;
  for (const Cell* p = products; is_cons(p); p = tail(p)) {
    policies += std::string(" (assoc (\"products\" (list (assoc (\"product_definition\" \"") +
                symbol_name(head(head(p))) + "\") (\"from\" 1) (\"to\" 2)))))";
  }
  return std::string("(assoc (\"basis\" ") + BASIS + ") (\"policies\" (list" + policies + ")))";
}

static void runPasses(void* context) {
  const Cell* statements = static_cast<const Cell*>(context);
  verifyStatements(statements);
  const Cell* defs = statementsToDefs(statements);
  const Cell* cdefs = statementsToCdefs(statements, defs);
  const Cell* states = statementsToStates(cdefs, defs, statements, nil());
  const Cell* products = statementsToProducts(cdefs, defs, statements, states);
  // Past the checks: the program, as far as generation lets it go.
  std::string portfolio = portfolioOf(products);
  const Cell* value = zeroSurrenderIntensity(eval(parse(portfolio.c_str()), defs, nil()));
  rewind(program);
  setOutputFile(program);
  emitCalculationProgram(value, cdefs, defs, products, states, "-1");
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  quiet_fuzz_process();
  initIdentifierTable();
  int fd = memfd_create("program", 0);
  program = fd < 0 ? nullptr : fdopen(fd, "w");
  if (program == nullptr) abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Nothing of one input is kept for the next: its cells all go back.
  CellMark mark = mark_cells();
  const Cell* statements = read_file_until_exit(input_file(data, size), false);
  bool written =
      statements != nullptr && run_until_exit(runPasses, const_cast<Cell*>(statements));
  setOutputFile(stdout);
  if (written) compile_sample(program);
  release_cells(mark);
  return 0;
}
