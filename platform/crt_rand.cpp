#include "platform/crt_rand.h"

static uint32_t state = 1;

void crt_srand(uint32_t seed) {
  state = seed;
}

int crt_rand() {
  state = state * 214013u + 2531011u;
  return static_cast<int>((state >> 16) & 0x7fff);
}
