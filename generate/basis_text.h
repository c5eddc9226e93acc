// The basis block of a test portfolio: the intensities of the state model
// as formulas of the age, the marriage intensities, the tables copied
// number by number from conf/NAME.txt, and the free-policy, surrender and
// reserve formulas.
#pragma once

#include <cstdio>

// Writes the block, readable, to the emitter's output file. Each call
// re-reads the five table files.
void writeBasis();

// ("NAME" (parseEvalBig "list(...)")) with one value a line, the first
// value written `repetitions` + 1 times; straight to the output file.
void writeTableEntry(int repetitions, const char* name);

// The next number of a table file (a comma may stand for the decimal
// point), or positive infinity at the end of the file.
double readTableNumber(FILE* file);

// Blank, tab, line feed and carriage return.
int isTableSpace(int c);
