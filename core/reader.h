// The S-expression reader: script files, scrambled script files and texts
// into cells that carry the line and character they came from. Its lexical
// layer (characters, blanks, tokens, strings) is shared with the infix
// parser, which only swaps in its own syntax table.
#pragma once

#include <cstdint>
#include <cstdio>

#include "core/cell.h"

// The reader's process-wide state. Every entry point sets all of it.
struct ReaderState {
  int32_t current;        // character being looked at, -1 at the end
  const char* text;       // text source, or null when reading `stream`
  FILE* stream;
  int scrambled;          // stream bytes are XORed with the rand sequence
  int32_t line;           // from 1
  int32_t character;      // from 1 within the line; 0 before its first
  const char* file;       // carried by every cell the reader makes
  unsigned char constituent[256];  // 1 when the code may belong to a token
};

extern ReaderState reader;

// The list of a file's top-level expressions, after the unwrapping rule.
// "-" reads standard input.
const Cell* read_source(const char* path);

// As read_source, with the bytes unscrambled by the generator seeded from
// the byte sum of the path's base name.
const Cell* read_scrambled_source(const char* path);

// As read_source, for a text already in memory whose cells carry the
// position of the named file.
const Cell* read_text_source(const char* text, const char* file);

// The one expression a text holds.
const Cell* parse(const char* text);

// Seed of a scrambled file: byte sum of the base name (after the last "/").
uint32_t scramble_seed(const char* path);

// Lexical layer, shared with the infix parser.
void set_sexpr_syntax();
void set_text_source(const char* text, int32_t line, int32_t character, const char* file);
const Cell* reader_position();
void next_char();
void skip_blanks();
const Cell* read_item();
const Cell* read_token();   // at a constituent
const Cell* read_string();  // at the opening double quote
