#include "support/model_script.h"

#include "core/reader.h"
#include "model/products.h"
#include "model/splits.h"
#include "model/statements.h"
#include "support/process.h"

const Cell* script(const std::vector<std::string>& lines) {
  static std::vector<std::string> texts;  // cells keep pointers into the text
  std::string text = "(\n";
  for (const std::string& line : lines) text += line + "\n";
  texts.push_back(text + ")");
  return parse(texts.back().c_str());
}

Model runPasses(const Cell* statements) {
  verifyStatements(statements);
  Model m{};
  m.defs = statementsToDefs(statements);
  m.cdefs = statementsToCdefs(statements, m.defs);
  m.states = statementsToStates(m.cdefs, m.defs, statements, nil());
  m.products = statementsToProducts(m.cdefs, m.defs, statements, m.states);
  return m;
}

std::string at(int line, int character) {
  return position("(from string)", line, character);
}

bool ownPosition(const std::string& err, const std::string& file, const std::string& message) {
  std::string prefix = "File " + file + " line ";
  std::string suffix = " character 0\n" + message + "\n";
  return err.rfind(prefix, 0) == 0 && err.size() > prefix.size() + suffix.size() &&
         err.compare(err.size() - suffix.size(), suffix.size(), suffix) == 0;
}
