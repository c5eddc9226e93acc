#include "codegen/emitter.h"

int compactMode = 1;
