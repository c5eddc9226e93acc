// The text emitter of the calculation program.
#pragma once

// Set at start; cleared only by the generate task. Compacts generated text
// and makes a build remove its intermediate files.
extern int compactMode;
