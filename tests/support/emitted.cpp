#include "support/emitted.h"

#include <cstdio>
#include <cstdlib>

#include "codegen/emitter.h"
#include "codegen/identifiers.h"

std::string emitted(bool compact, const std::function<void()>& body) {
  initIdentifierTable();
  char* buffer = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&buffer, &size);
  int saved_mode = compactMode;
  FILE* saved_output = outputFile();
  compactMode = compact;
  setOutputFile(stream);
  body();
  setOutputFile(saved_output);
  compactMode = saved_mode;
  fclose(stream);
  std::string text(buffer, size);
  free(buffer);
  return text;
}

std::string flat(const Cell* text) {
  char buffer[1000];
  int n = flattenToBuffer(text, buffer, sizeof buffer);
  return std::string(buffer, n);
}
