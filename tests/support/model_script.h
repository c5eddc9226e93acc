// Model scripts for tests: statements written as text, run through the
// statement passes as a run does.
#pragma once

#include <string>
#include <vector>

#include "core/cell.h"

// The statements stand one a line from line 2 on, inside one outer list,
// read with the file name "(from string)".
const Cell* script(const std::vector<std::string>& lines);

struct Model {
  const Cell* defs;
  const Cell* cdefs;
  const Cell* states;
  const Cell* products;
};

// The five passes in the order of a run.
Model runPasses(const Cell* statements);

// The position line of a place in a script read by `script`.
std::string at(int line, int character);

// Whether stderr is a position in talvon's own source file `file`, with
// character 0, followed by the message.
bool ownPosition(const std::string& err, const std::string& file, const std::string& message);
