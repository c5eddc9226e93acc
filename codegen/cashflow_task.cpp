#include "codegen/cashflow_task.h"

#include "driver/diagnostics.h"

// The calculation program generator is not part of this build yet.
void runCashflowTask(const Cell* portfolio, const Cell*, const Cell*, const Cell*, const Cell*,
                     const char*) {
  error_at(portfolio, "cashflow: the calculation program generator is not built yet");
}
