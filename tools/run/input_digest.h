// SHA-256 of an input as lower-case hex, so that a run records exactly
// which scripts it read.
#pragma once

#include <string>

std::string sha256_hex(const std::string& bytes);
