#include "tools/run/portfolio_facts.h"

#include "core/list.h"
#include "core/reader.h"
#include "expr/eval.h"
#include "model/statements.h"
#include "tools/run/result_files.h"

static const Cell* statements_of(const std::string& text, const std::string& path) {
  write_text_file(path, text);
  return read_source(path.c_str());
}

void read_portfolio_facts(const std::string& model, const std::string& portfolio,
                          const std::string& scratch, RunFacts& facts) {
  const Cell* portfolio_statements = statements_of(portfolio, scratch + "/portfolio.tal");
  facts.labels = find_view_labels(portfolio_statements);
  const Cell* statements = append(statements_of(model, scratch + "/model.tal"), portfolio_statements);
  const Cell* defs = statementsToDefs(statements);
  if (!is_cons(aget_named(defs, "portfolio"))) return;
  const Cell* value = eval(list1(symbol("portfolio")), defs, nil());
  const Cell* date = aget_string(value, "date_validity");
  if (is_date(date)) facts.valuation_month = date->whole;
  const Cell* policies = aget_string(value, "policies");
  if (is_cons(policies) || is_nil(policies)) facts.policies = length(policies);
}
