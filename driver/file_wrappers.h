// C-library calls that end the process when they fail. Each takes a label
// naming the caller's use (or null, for the wrapper's default label).
#pragma once

#include <cstddef>
#include <cstdio>

FILE* open_file(const char* label, const char* path, const char* mode);
FILE* reopen_file(const char* label, const char* path, const char* mode, FILE* stream);
void close_file(const char* label, FILE* stream);

// getc, with -1 only at true end of file.
int read_char(const char* label, FILE* stream);

void* allocate(const char* label, size_t size);
void close_descriptor(const char* label, int descriptor);
