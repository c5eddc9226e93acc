// The self-test: checks cells, association lists, the reader, the product
// state order and the infix parser against a real script set, and prints
// the C text of one expression translated against its model.
#pragma once

// Reads "run.bin", "../../../portfolios/portfolios/random7_30.pf" and
// "source.bin" (scrambled) from the working directory. Returns when every
// check holds; the first that fails ends the run with status 1.
void selfTest();
