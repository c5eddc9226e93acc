// The surrender product's states. The valuation moves its probability
// through seven states by number, each with a fixed role (premium paying
// or free policy, active or disabled, dead, surrendered); the definition's
// condition must give its states these numbers.
#pragma once

#include "core/cell.h"

// `record` is the model's product record of product_surrender; a fault is
// reported at its expiry, the line after its name.
void check_surrender_roles(const Cell* record);
