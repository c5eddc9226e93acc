// The self-test: checks cells, association lists, the reader, the product
// state order and the infix parser against a real script set, and prints
// the C text of one expression translated against its model.
#pragma once

#include <functional>

// Reads "run.bin", "../../../portfolios/portfolios/random7_30.pf" and
// "source.bin" (scrambled) from the working directory. Returns when every
// check holds; the first that fails ends the run with status 1.
void selfTest();

// Counts and prints one check: "%5d %s\n" with the running count.
void announceCheck(const char* text);

// Announces a check, then evaluates it: a check that ends the process
// leaves its own line as the last one shown. When it does not hold, prints
// "\nTest failed" and ends the run with status 1.
void checkAssertion(const char* text, const std::function<int()>& holds);
