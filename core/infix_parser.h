// The infix parser: arithmetic and logic written inside script strings,
// such as "x*y/z", into the list form a script would use, (/ (* x y) z).
// One function per precedence level; the lexical layer is the reader's.
#pragma once

#include "core/cell.h"

// The expression that the text of a string cell denotes. Positions continue
// from the string cell's own.
const Cell* parseExpr(const Cell* string);

// parseExpr of a string made at talvon's own position.
const Cell* parseExpr0(const char* text);
