// The pseudo-random generator of Microsoft's C runtime, bit for bit.
// Scrambled script files, scrambled identifiers and generated portfolios
// are only reproducible with this exact sequence, so it is one process-wide
// generator shared by all of them.
#pragma once

#include <cstdint>

void crt_srand(uint32_t seed);

// Next value in 0..32767: bits 16 to 30 of the advanced state.
int crt_rand();
