#include "support/cells.h"

#include <cstdio>
#include <cstdlib>

#include "core/printer.h"

std::string printed(const Cell* c) {
  char* buffer = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&buffer, &size);
  write_cell(stream, c);
  fclose(stream);
  std::string text(buffer, size);
  free(buffer);
  return text;
}
