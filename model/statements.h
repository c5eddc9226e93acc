// The statement list of a run and the passes over it that build value
// definitions and C-level definitions. Every pass walks the whole list from
// first to last and looks only at the statements of its own kind.
#pragma once

#include "core/cell.h"

// Ends the run at the first statement whose head is not one of the five
// keywords: define, cdef, split, product_definition, window.
void verifyStatements(const Cell* statements);

// `defs`: name to (parameters . body), the last definition first.
const Cell* statementsToDefs(const Cell* statements);

// Checks (NAME PARAM ...) BODY and gives `defs` with its entry in front.
const Cell* verifyValueDef(const Cell* arguments, const Cell* defs);

// `cdefs`: name to (type . expression), the last cdef first.
const Cell* statementsToCdefs(const Cell* statements, const Cell* defs);

// Ends the run at a name whose last cdef reaches the name itself, through
// its own expression or those of other names' last cdefs.
void verifyCdefCycles(const Cell* cdefs);

// Checks TYPE NAME EXPRESSION and gives `cdefs` with its entry in front.
const Cell* verifyCdef(const Cell* arguments, const Cell* defs, const Cell* cdefs);

// TRUE when the statement is a list headed by the keyword.
int isStatementOf(const Cell* statement, const char* keyword);
