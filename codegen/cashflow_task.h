// The valuation task: writes the calculation program to ../bin/tx, builds
// it with tcc into ../bin/tmp, runs it and, in compact mode, removes both.
// The program sends its results to the front end over the connection:
// 1440 tag-1 records (a month's cashflow) per used account pair, then one
// tag-2 record (the reserve) per pair, each the int tag, the int from- and
// to-accounts and the double value, 20 bytes in native byte order.
#pragma once

#include <string>

#include "core/cell.h"

// How the calculation program reaches the front end, by the number of the
// connection argument: none when negative, a named pipe (FIFO) when 0, a
// TCP port on the loopback interface when positive.
enum class Connection { none, pipe, socket };

Connection connectionKind(const char* connection);

void runCashflowTask(const Cell* portfolio, const Cell* cdefs, const Cell* defs,
                     const Cell* products, const Cell* states, const char* connection);

// The text of the calculation program for an evaluated portfolio, written
// through the emitter to its current output file.
void emitCalculationProgram(const Cell* portfolio, const Cell* cdefs, const Cell* defs,
                            const Cell* products, const Cell* states, const char* connection);

// The program's start: includes, its error exit and, with a connection, the
// transmission functions.
void emitPrologue(Connection kind);

// The pipe name as the text of a C string literal: backslashes doubled, and
// quotes and control characters as octal escapes, so that no quote ends
// the literal early.
std::string pipeNameLiteral(const char* name);

// The compiler: the one an installation bundles when it exists, else tcc
// from the PATH.
std::string compilerPath();

// Builds ../bin/tx into ../bin/tmp and waits; removes the source in compact
// mode. A compiler that cannot be started ends the run.
void compileProgram();

// Runs ../bin/tmp, named talvon-calc in ps, with a large stack and waits;
// removes it in compact mode.
// Its exit status is not examined.
void runProgram();
