// The valuation core of the calculation program: the policy product
// records, expiry months and block order, and the text of main's parts.
#include "codegen/valuation_program.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "codegen/emitter.h"
#include "codegen/identifiers.h"
#include "codegen/surrender_code.h"
#include "core/list.h"
#include "core/printer.h"
#include "core/reader.h"
#include "expr/eval.h"
#include "support/emitted.h"
#include "support/cells.h"
#include "support/model_script.h"
#include "support/process.h"

namespace {

// Cells keep pointers into the texts they were read from.
const Cell* read(const std::string& text) {
  static std::vector<std::string> texts;
  texts.push_back(text);
  return parse(texts.back().c_str());
}

Model runPasses(const std::string& statements) { return ::runPasses(script({statements})); }

// Script texts of portfolios: a product, a policy of products, a portfolio
// of policies; `more` adds entries such as ("from" 1).
// Entries of `more` come first, so they hide the accounts 1 and 2.
std::string product(const std::string& definition, const std::string& more = "") {
  return "(assoc (\"product_definition\" \"" + definition + "\")" + more +
         " (\"from\" 1) (\"to\" 2))";
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

std::string field(const Cell* record, const char* key) { return printed(aget_named(record, key)); }

const std::string ALIVE =
    "(cdef t_span t (v_span (span 0 0)))\n"
    "(split () all (alive dead) (init (quote alive)) (intensity alive dead 0.01))\n";

// A product's entries hide its policy's, the policy's its portfolio's; the
// initial state comes from them.
TEST(PolicyProductsTest, ProductHidesPolicyHidesPortfolio) {
  Model m = runPasses(
      "(split (s) all (alive dead) (init s))\n"
      "(product_definition (A) (= 0 0) (while dead 1.0))\n");
  const Cell* records = buildPolicyProducts(
      evaluate(m, portfolio({policy({product("A", " (\"k\" 1) (\"s\" (quote dead))"), product("A")},
                                    " (\"k\" 2) (\"s\" (quote alive))")},
                            " (\"k\" 3) (\"j\" 4)")),
      m.products);
  const Cell* newest = aget_named(first(records), "env");
  const Cell* oldest = aget_named(second(records), "env");
  EXPECT_EQ(printed(aget_named(oldest, "k")), "1");
  EXPECT_EQ(printed(aget_named(newest, "k")), "2");
  EXPECT_EQ(printed(aget_named(newest, "j")), "4");
  EXPECT_EQ(printed(aget_named(newest, "from")), "1");
  EXPECT_EQ(initialStateIndex(first(records), m.defs), 0);
  EXPECT_EQ(initialStateIndex(second(records), m.defs), 1);
}

const std::string EXPIRY_MODEL = ALIVE +
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
      {"(< t (v_span (date 2020 1)))", at(1, 7) + "malformed expiry\n"},
      {"(< x (v_span (span 1 0)))", at(1, 4) + "unknown variable\n"},
      {"(< (* t t) (v_span (span 1 0)))", at(1, 5) + "malformed expiry\n"},
      // A date left of a span: the difference is no span.
      {"(< (v_date (date 2019 1)) (v_span (span 1 0)))",
       at(1, 2) + "Subtraction from span of non-span\n"},
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
                      "(product_definition (Y years) (< t (v_span (years2span years))) 1.0)\n"
                      "(product_definition (L) (< t (v_span (span 119 11))) 1.0)\n");
  auto withYears = [](const std::string& name, int years) {
    return product(name, " (\"years\" " + std::to_string(years) + ")");
  };
  // Records newest first: ids 7, 6, ..., 0.
  const Cell* records = buildPolicyProducts(
      evaluate(m, portfolio({policy({product("N"), withYears("Y", 2), product("N"), withYears("Y", 2),
                                     withYears("Y", -1), withYears("Y", 0), withYears("Y", 200),
                                     product("L")})})),
      m.products);
  const Cell* ordered = orderByExpiry(records, m.cdefs, m.defs);
  std::string ids;
  for (const Cell* r = ordered; is_cons(r); r = tail(r)) ids += field(head(r), "id") + " ";
  // 200 years and never outlive the loop and come before the record that
  // expires in its last month (1439), newest first; -1 year and 0 share
  // month 0.
  EXPECT_EQ(ids, "6 2 0 7 3 1 5 4 ");
}

const std::string BASIS =
    "(define (basis) (assoc (\"yield_curve\" (parse \"2.0\")) "
    "(\"free_policy_fraction\" (parse \"0.5\"))))\n";

// A model of alive/dead with a sub-split of alive, and the amounts below.
const std::string TWO_LEVELS =
    "(cdef t_span t (v_span (span 0 0)))\n"
    "(cdef t_date start (v_date (date 2019 1)))\n"
    "(split () all (alive dead) (init (quote alive)) (intensity alive dead 0.01))\n"
    "(split () alive (active disabled) (init (quote active))\n"
    "  (intensity active disabled 0.02) (weight active 0.75))\n"
    "(product_definition (A) (= 0 0) (while active 1.0))\n"
    "(product_definition (B) (< t (v_span (span 2 0))) (while dead 2.0))\n"
    "(product_definition (L) (= 0 0) (linear_combination (0.5 (A)) (2.0 (B))))\n" +
    BASIS;

std::string portfolioWith(const std::vector<std::string>& products, const std::string& more = "") {
  return portfolio({policy(products)}, " (\"basis\" (basis))" + more);
}

std::string expected(const char* name) {
  return read_file(std::string(TALVON_SOURCE_DIR "/tests/codegen/expected/") + name);
}

// B (id 1, premium paying initially) first, its 1 on the free-policy side;
// then the splits in the order they were made, the weights, and the
// derived quantities, the last cdef first.
TEST(MainDeclarationsTest, DeclaresEverythingInOrder) {
  Model m = runPasses(TWO_LEVELS);
  const Cell* records = buildPolicyProducts(
      evaluate(m, portfolioWith({product("A"), product("B", " (\"premium_paying_initially\" 1)")})),
      m.products);
  EXPECT_EQ(emitted(false, [&] { emitMainDeclarations(records, m.cdefs, m.defs, m.states); }),
            expected("main_declarations.c"));
}

size_t count(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) n++;
  return n;
}

// The surrender product has no free-policy side; seven states drop it and
// every free-policy side.
TEST(MainDeclarationsTest, SevenStateDropsSurrenderAndFreePolicySides) {
  Model m = runPasses(TWO_LEVELS + "(product_definition (product_surrender) (= 0 0) 1.0)\n");
  for (const char* more : {"", " (\"seven_state\" 1)"}) {
    const Cell* records = buildPolicyProducts(
        evaluate(m, portfolioWith({product("product_surrender"), product("B")}, more)), m.products);
    std::string text =
        emitted(false, [&] { emitMainDeclarations(records, m.cdefs, m.defs, m.states); });
    EXPECT_EQ(count(text, "double prob_product_"), more[0] ? 2u : 5u) << more;
    EXPECT_EQ(count(text, "_fp_state_"), more[0] ? 0u : 2u) << more;
    // One policy's blocks need no copies of its conversion.
    EXPECT_EQ(count(text, "quotient_ppa_"), 0u) << more;
  }
}

TEST(MainDeclarationsDeathTest, OnlyDatesAndSpansAreVariables) {
  Model m = runPasses(ALIVE);
  const Cell* cdefs = read("((x t_real 1.0))");
  Outcome o =
      run_fatal([&] { emitted(false, [&] { emitMainDeclarations(nil(), cdefs, m.defs, m.states); }); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "t_real\n");
  EXPECT_EQ(o.err, at(1, 3) + "cannot declare variable of the given type\n");
}

// Records: B (id 0), the terms of L: A (id 1) and B (id 2). A never
// expires and comes first; both B expire after two years, newest first.
// Each term pays its own definition's amount with its weight; the survivor
// of free policy copies no free-policy probabilities.
TEST(MonthBodyTest, BlocksByExpiryWithTheirWeights) {
  Model m = runPasses(TWO_LEVELS);
  const Cell* records =
      buildPolicyProducts(evaluate(m, portfolioWith({product("B", " (\"survives_free_policy\" 1)"),
                                                     product("L", " (\"from\" 3) (\"to\" 0)")})),
                          m.products);
  EXPECT_EQ(emitted(false, [&] { emitMonthBody(4, records, m.cdefs, m.defs); }),
            expected("month_body.c"));
  EXPECT_TRUE(isAccountUsed(3, 0));
  EXPECT_FALSE(isAccountUsed(0, 3));
}

TEST(MonthBodyDeathTest, AccountsLieInTheTable) {
  Model m = runPasses(TWO_LEVELS);
  struct Case {
    std::string accounts;
    int status;
    std::string err;
  };
  const Case cases[] = {
      {" (\"from\" 20)", 1, "Account out of range\n"},
      {" (\"to\" -1)", 1, "Account out of range\n"},
      {" (\"from\" 19) (\"to\" 0)", 0, ""},
  };
  for (const Case& c : cases) {
    const Cell* records =
        buildPolicyProducts(evaluate(m, portfolioWith({product("A", c.accounts)})), m.products);
    Outcome o = run_fatal([&] { emitted(false, [&] { emitMonthBody(4, records, m.cdefs, m.defs); }); });
    EXPECT_EQ(o.status, c.status) << c.accounts;
    EXPECT_EQ(o.err, c.err) << c.accounts;
  }
}

TEST(ReserveAccumulationTest, OnlyUsedPairsAccumulate) {
  Model m = runPasses(TWO_LEVELS);
  const Cell* value = evaluate(m, portfolioWith({product("A", " (\"from\" 19) (\"to\" 0)"),
                                                 product("B", " (\"from\" 2) (\"to\" 7)")}));
  const Cell* records = buildPolicyProducts(value, m.products);
  std::string text = emitted(false, [&] {
    emitMonthBody(4, records, m.cdefs, m.defs);
    emitReserveAccumulation(value, m.cdefs, m.defs);
  });
  EXPECT_EQ(text.substr(text.find("    accumulate:\n")),
            "    accumulate:\n"
            "    // Accumulate reserve\n"
            "    yield=\n"
            "      2.000000;\n"
            "    yield=pow(1.0+yield*0.01,t/12.0);\n"
            "    reserve[2][7]+=cashflow[2][7]/yield;\n"
            "    reserve[19][0]+=cashflow[19][0]/yield;\n");
  // A new generation starts with no pair in use.
  buildPolicyProducts(value, nil());
  EXPECT_FALSE(isAccountUsed(2, 7));
}

}  // namespace
