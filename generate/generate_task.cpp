#include "generate/generate_task.h"

#include "codegen/emitter.h"
#include "core/list.h"
#include "driver/diagnostics.h"

void generatePortfolios(const Cell* body) {
  const Cell* count = second(body);
  const Cell* first_file = third(body);
  const Cell* second_file = fourth(body);
  compactMode = 0;
  if (!is_integer(count)) error_at(count, "Malformed number of policies");
  if (!is_string(first_file)) error_at(first_file, "Malformed portfolio name");
  if (!is_string(second_file)) error_at(second_file, "Malformed portfolio name");
  // The portfolio writers are not part of this build yet.
  error_at(body, "generate: the portfolio writers are not built yet");
}
