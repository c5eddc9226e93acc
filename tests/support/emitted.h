// Helpers for tests of generated text.
#pragma once

#include <functional>
#include <string>

#include "core/cell.h"

// What `body` writes through the emitter, in compact or readable mode. The
// mode and the output file are restored afterwards.
std::string emitted(bool compact, const std::function<void()>& body);

// The cell flattened as generated C text.
std::string flat(const Cell* text);
