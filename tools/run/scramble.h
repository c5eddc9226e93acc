// Scrambling as the reader undoes it: each byte XORed with the C runtime's
// rand sequence seeded from the byte sum of the base name under which
// talvon will read the file. Scrambling is its own inverse.
#pragma once

#include <string>

std::string scrambled(const std::string& bytes, const char* name);
