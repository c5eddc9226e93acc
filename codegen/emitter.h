// The text emitter: every generated file (the calculation program and the
// test portfolio files) is written through it, one line at a time, to the
// current output file. In compact mode a whole program becomes its
// #include lines followed by one long line with scrambled identifiers.
#pragma once

#include <cstdio>

#include "core/cell.h"

// True from start-up; only the generate task clears it. Also decides whether
// the build removes its intermediate files.
extern int compactMode;

// The stream all writers write to; the emitter never opens or closes it.
// Standard output until set.
void setOutputFile(FILE* file);
FILE* outputFile();

// Spaces and blank lines exist only in readable mode.
void emitIndent(int count);
void emitBlankLine();

// The line writer: readable mode writes the line and a newline; compact
// mode drops comments, indentation and #define lines, writes MONTH_LIMIT
// as 1440, scrambles identifiers and ends the line with one space.
void writeLine(const char* line);

// How compact mode reads a line. An identifier starts with a letter and
// goes on with letters, digits and underscores: its length at p, 0 when p
// starts none. A string literal has no escapes: it runs from the quote at
// p to the next quote, or to the end of the line.
int identifierLength(const char* p);
size_t literalLength(const char* p);

void emitLine(int indent, const char* text);

// Fills every `%` of the template with the flattened text of the next cell
// of `arguments` (a list), then hands the line to the line writer.
void emitTemplate(int indent, const char* text, const Cell* arguments);
void emitTemplate1(int indent, const char* text, const Cell* a);
void emitTemplate2(int indent, const char* text, const Cell* a, const Cell* b);
void emitTemplate3(int indent, const char* text, const Cell* a, const Cell* b, const Cell* c);
void emitTemplate4(int indent, const char* text, const Cell* a, const Cell* b, const Cell* c,
                   const Cell* d);

// Writes the cell's text (lists as the plain concatenation of their atoms)
// into `buffer`, NUL-terminated, and returns the number of characters
// written. `space` counts the terminator.
int flattenToBuffer(const Cell* c, char* buffer, int space);

// C has no literal for an infinite or undefined double: the expression
// that gives one, or nullptr for a finite value.
const char* nonFiniteText(double value);

// "double %;", "%=%;", "double %=%;" and "// %".
void declareDouble(int indent, const Cell* name);
void emitAssign(int indent, const Cell* left, const Cell* right);
void declareDoubleInit(int indent, const Cell* name, const Cell* value);
void emitComment(int indent, const Cell* text);

// Writes the (name . text) pairs of an accumulator, oldest first, as
// "name=" and "  text;"; a pair whose name is its text is skipped.
void emitAssignments(int indent, const Cell* accumulator);

// Readable mode only: the record's name as a comment, then one comment line
// per node tuple with its state number.
void emitStateComments(int indent, const Cell* nodeTuples, const Cell* record);
