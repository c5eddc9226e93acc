// The valuation core of the calculation program: the policy product
// records, expiry months and block order, and the text of main's parts.
#include "codegen/valuation_program.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "codegen/surrender_code.h"
#include "core/list.h"
#include "core/printer.h"
#include "core/reader.h"
#include "expr/eval.h"
#include "model/products.h"
#include "model/splits.h"
#include "model/statements.h"
#include "support/process.h"

namespace {

// Cells keep pointers into the texts they were read from.
const Cell* read(const std::string& text) {
  static std::vector<std::string> texts;
  texts.push_back(text);
  return parse(texts.back().c_str());
}

struct Model {
  const Cell* defs;
  const Cell* cdefs;
  const Cell* states;
  const Cell* products;
};

Model runPasses(const std::string& statements) {
  const Cell* list = read("(\n" + statements + "\n)");
  verifyStatements(list);
  Model m{};
  m.defs = statementsToDefs(list);
  m.cdefs = statementsToCdefs(list, m.defs);
  m.states = statementsToStates(m.cdefs, m.defs, list, nil());
  m.products = statementsToProducts(m.cdefs, m.defs, list, m.states);
  return m;
}

std::string text(const Cell* c) {
  char* buffer = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&buffer, &size);
  write_cell(stream, c);
  fclose(stream);
  std::string result(buffer, size);
  free(buffer);
  return result;
}

std::string at(int line, int character) { return position("(from string)", line, character); }

// Script texts of portfolios: a product, a policy of products, a portfolio
// of policies; `more` adds entries such as ("from" 1).
std::string product(const std::string& definition, const std::string& more = "") {
  return "(assoc (\"product_definition\" \"" + definition + "\") (\"from\" 1) (\"to\" 2)" + more +
         ")";
}
std::string policy(const std::vector<std::string>& products, const std::string& more = "") {
  std::string list = "(list";
  for (const std::string& p : products) list += " " + p;
  return "(assoc (\"products\" " + list + "))" + more + ")";
}
std::string portfolio(const std::vector<std::string>& policies, const std::string& more = "") {
  std::string list = "(list";
  for (const std::string& p : policies) list += " " + p;
  return "(assoc (\"policies\" " + list + "))" + more + ")";
}

const Cell* evaluate(const Model& m, const std::string& expression) {
  return eval(read(expression), m.defs, nil());
}

std::string field(const Cell* record, const char* key) { return text(aget_named(record, key)); }

const std::string ALIVE =
    "(cdef t_span t (v_span (span 0 0)))\n"
    "(split () all (alive dead) (init (quote alive)) (intensity alive dead 0.01))\n";

TEST(PolicyProductsTest, RecordsRunNewestFirst) {
  Model m = runPasses(ALIVE +
                      "(product_definition (A) (= 0 0) (while alive 1.0))\n"
                      "(product_definition (B) (= 0 0) 2.0)\n");
  const Cell* records = buildPolicyProducts(
      evaluate(m, portfolio({policy({product("A"), product("B")}), policy({product("A")})})),
      m.products);
  ASSERT_EQ(length(records), 3);
  const char* names[] = {"\"A\"", "\"B\"", "\"A\""};
  for (int i = 0; i < 3; i++) {
    const Cell* record = nth(2 - i, records);
    EXPECT_EQ(field(record, "id"), std::to_string(i));
    EXPECT_EQ(field(record, "name"), names[i]);
    EXPECT_EQ(field(record, "weight"), "1");
  }
  EXPECT_EQ(text(akeys(first(records))), "(id name weight def env)");
  EXPECT_EQ(aget_named(first(records), "def"), aget_named(m.products, "A"));
  EXPECT_EQ(aget_named(second(records), "def"), aget_named(m.products, "B"));
}

TEST(PolicyProductsTest, LinearCombinationTermsAreRecords) {
  Model m = runPasses(ALIVE +
                      "(product_definition (A) (= 0 0) (while alive 1.0))\n"
                      "(product_definition (B) (= 0 0) (while dead 3.0))\n"
                      "(product_definition (L) (= 0 0) "
                      "(linear_combination (0.5 (A)) (2.0 (B x))))\n");
  const Cell* records = buildPolicyProducts(
      evaluate(m, portfolio({policy({product("B"), product("L")})})), m.products);
  ASSERT_EQ(length(records), 3);
  // B first (id 0), then the terms of L in order.
  EXPECT_EQ(field(third(records), "name"), "\"B\"");
  EXPECT_EQ(field(second(records), "id"), "1");
  EXPECT_EQ(field(second(records), "name"), "A");
  EXPECT_EQ(field(second(records), "weight"), "0.500000");
  EXPECT_EQ(aget_named(second(records), "def"), aget_named(m.products, "A"));
  EXPECT_EQ(field(first(records), "id"), "2");
  EXPECT_EQ(field(first(records), "name"), "B");
  EXPECT_EQ(field(first(records), "weight"), "2.000000");
  EXPECT_EQ(aget_named(first(records), "def"), aget_named(m.products, "B"));
}

TEST(PolicyProductsTest, ProductHidesPolicyHidesPortfolio) {
  Model m = runPasses(ALIVE + "(product_definition (A) (= 0 0) 1.0)\n");
  const Cell* records = buildPolicyProducts(
      evaluate(m, portfolio({policy({product("A", " (\"k\" 1)"), product("A")}, " (\"k\" 2)")},
                            " (\"k\" 3) (\"j\" 4)")),
      m.products);
  const Cell* newest = aget_named(first(records), "env");
  const Cell* oldest = aget_named(second(records), "env");
  EXPECT_EQ(text(aget_named(oldest, "k")), "1");
  EXPECT_EQ(text(aget_named(newest, "k")), "2");
  EXPECT_EQ(text(aget_named(newest, "j")), "4");
  EXPECT_EQ(text(aget_named(newest, "from")), "1");
}

TEST(PolicyProductsTest, FlagsAndSurrender) {
  Model m = runPasses(ALIVE + "(product_definition (product_surrender) (= 0 0) 1.0)\n");
  struct Case {
    std::string portfolio;
    int surrender, sevenState;
  };
  const Case cases[] = {
      {portfolio({policy({product("product_surrender")})}), TRUE, FALSE},
      // The integer 0 is not nil: the flag is set.
      {portfolio({policy({product("product_surrender")})}, " (\"seven_state\" 0)"), TRUE, TRUE},
      {portfolio({policy({product("product_surrender", " (\"seven_state\" ())")})},
                 " (\"seven_state\" 1)"),
       TRUE, FALSE},
  };
  for (const Case& c : cases) {
    const Cell* record = first(buildPolicyProducts(evaluate(m, c.portfolio), m.products));
    EXPECT_EQ(isSurrenderProduct(record), c.surrender) << c.portfolio;
    EXPECT_EQ(recordFlag(record, "seven_state"), c.sevenState) << c.portfolio;
    EXPECT_EQ(getsNoCode(record), c.surrender && c.sevenState) << c.portfolio;
  }
  // A symbol of that name is not the surrender product.
  const Cell* symbolNamed = list1(cons(symbol("name"), symbol("product_surrender")));
  EXPECT_FALSE(isSurrenderProduct(symbolNamed));
}

TEST(PolicyProductsTest, InitialStateFromThePolicy) {
  Model m = runPasses(
      "(split (s) all (alive dead) (init s))\n"
      "(product_definition (A) (= 0 0) (while dead 1.0))\n");
  const Cell* records = buildPolicyProducts(
      evaluate(m, portfolio({policy({product("A", " (\"s\" (quote dead))"), product("A")},
                                    " (\"s\" (quote alive))")})),
      m.products);
  EXPECT_EQ(initialStateIndex(first(records), m.defs), 0);
  EXPECT_EQ(initialStateIndex(second(records), m.defs), 1);
}

const std::string EXPIRY_MODEL =
    ALIVE +
    "(cdef t_date start (v_date (date 2019 1)))\n"
    "(cdef t_date now (v_date (date 2020 1)))\n"
    "(cdef t_span elapsed (- now start))\n";

TEST(ExpiryTest, MonthOfEachRelation) {
  Model m = runPasses(EXPIRY_MODEL);
  const Cell* environment = list1(cons(symbol("years"), integer(3)));
  struct Case {
    std::string expiry;
    int32_t month;
  };
  const Case cases[] = {
      {"(= 0 0)", NEVER_EXPIRES},
      {"(< t (v_span (span 2 0)))", 24},
      {"(<= t (v_span (span 2 0)))", 25},  // <= adds a month
      {"(< t (v_span (years2span years)))", 36},
      {"(< elapsed (v_span (years2span years)))", 24},
      {"(< (- now start) (v_span (span 1 5)))", 5},
      {"(< (+ (v_span (span 0 1)) (v_span (span 0 2))) (v_span (span 1 0)))", 9},
      {"(< (v_span (span 5 0)) (v_span (span 2 0)))", -36},
      {"(> t (v_span (span 2 0)))", 24},  // any other operator counts as <
  };
  for (const Case& c : cases) {
    EXPECT_EQ(expiryMonth(read(c.expiry), m.cdefs, m.defs, environment), c.month) << c.expiry;
  }
}

TEST(ExpiryDeathTest, MalformedExpiries) {
  Model m = runPasses(EXPIRY_MODEL);
  struct Case {
    std::string expiry, err;
  };
  const Case cases[] = {
      {"(< t 12)", at(1, 6) + "malformed expiry\n"},
      {"(< t (v_date (date 2020 1)))", at(1, 7) + "malformed expiry\n"},
      {"(< t (v_span (date 2020 1)))", at(1, 7) + "malformed expiry\n"},
      {"(< x (v_span (span 1 0)))", at(1, 4) + "unknown variable\n"},
      {"(< (* t t) (v_span (span 1 0)))", at(1, 5) + "malformed expiry\n"},
      {"(< (v_real 1.0) (v_span (span 1 0)))", at(1, 5) + "malformed expiry\n"},
      // A date left of a span: the difference is no span.
      {"(< (v_date (date 2019 1)) (v_span (span 1 0)))", at(1, 2) + "Subtraction from span of non-span\n"},
  };
  for (const Case& c : cases) {
    Outcome o = run_fatal([&] { expiryMonth(read(c.expiry), m.cdefs, m.defs, nil()); });
    EXPECT_EQ(o.status, 1) << c.expiry;
    EXPECT_EQ(o.err, c.err) << c.expiry;
  }
}

TEST(ExpiryTest, BlocksRunLatestExpiryFirst) {
  Model m = runPasses(ALIVE +
                      "(product_definition (N) (= 0 0) 1.0)\n"
                      "(product_definition (Y years) (< t (v_span (years2span years))) 1.0)\n");
  auto withYears = [](const std::string& name, int years) {
    return product(name, " (\"years\" " + std::to_string(years) + ")");
  };
  // Records newest first: ids 5, 4, 3, 2, 1, 0.
  const Cell* records = buildPolicyProducts(
      evaluate(m, portfolio({policy({withYears("Y", 2), product("N"), withYears("Y", 2),
                                     withYears("Y", -1), withYears("Y", 0), withYears("Y", 200)})})),
      m.products);
  const Cell* ordered = orderByExpiry(records, m.cdefs, m.defs);
  std::string ids;
  for (const Cell* r = ordered; is_cons(r); r = tail(r)) ids += field(head(r), "id") + " ";
  // 200 years and never clamp to the last month, newest first; -1 year and
  // 0 clamp to month 0.
  EXPECT_EQ(ids, "5 1 2 0 4 3 ");
}

}  // namespace
