// The bundled pension model: it passes the statement passes, defines every
// product of the fixed list, starts every product in its state 0, and
// values policies as an actuary computes them by hand, through the real
// talvon server, tcc and the calculation program.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "core/cell.h"
#include "core/list.h"
#include "core/reader.h"
#include "model/product_states.h"
#include "support/cells.h"
#include "support/fifo_reader.h"
#include "support/model_script.h"
#include "support/process.h"
#include "support/results.h"

namespace {

const std::string MODEL_PATH = std::string(TALVON_SOURCE_DIR) + "/models/pension/model.tal";
const std::string EXAMPLE_PATH = std::string(TALVON_SOURCE_DIR) + "/models/example/portfolio.tal";
const std::string RUN_PATH = std::string(TALVON_SOURCE_DIR) + "/models/example/run.tal";
const std::string TASK = "(define (task) (cashflow (portfolio)))\n";
const int MONTHS = 1440;

const char* const FIXED_PRODUCTS[] = {
    "d01_001", "d01_002", "d01_003", "d01_004", "d01_005", "a01_006", "a01_007", "a01_008",
    "a01_009", "a01_010", "r01_011", "r01_012", "r01_013", "r01_014", "r01_015", "i01_016",
    "i01_017", "i01_018", "i01_019", "i01_020", "k01_021", "k01_022", "k01_023", "k01_024",
    "k01_025", "w01_026", "w01_027", "w01_028", "w01_029", "w01_030", "s01_031", "s01_032",
    "s01_033", "s01_034", "s01_035", "c01_036", "c01_037", "c01_038", "c01_039", "c01_040",
};

// ---- The model in process ----

const Cell* readFile(const std::string& path) {
  static std::vector<std::string> paths;  // cells keep the file name
  paths.push_back(path);
  return read_source(paths.back().c_str());
}

Model bundledModel() {
  return runPasses(append(readFile(MODEL_PATH), append(readFile(EXAMPLE_PATH), readFile(RUN_PATH))));
}

const Cell* symbolKey(const char* key, const Cell* value, const Cell* env) {
  return acons(symbol(key), value, env);
}

// The policy values that the init expressions read.
const Cell* policyEnvironment(const char* state, bool freePolicy) {
  const Cell* env = nil();
  env = symbolKey("state_calculation", string(state), env);
  env = symbolKey("state_spouse_calculation", string("spouse_alive"), env);
  env = symbolKey("premium_paying_initially", freePolicy ? integer(0) : nil(), env);
  env = symbolKey("date_validity", date(12 * 2019 + 10), env);
  env = symbolKey("time_last_state_change", date(12 * 2019 + 1), env);
  return env;
}

int32_t initialState(const Cell* record, const Cell* defs, const Cell* env) {
  return nodeTupleIndex(aget_named(record, "nodeTuples"),
                        initialNodeTuple(aget_named(record, "splitAssoc"), defs, env));
}

// The surrender code of the calculation program gives states 0 to 6 fixed
// roles; the model's states must be numbered in that order.
TEST(PensionModelTest, SurrenderProductHasTheSevenRoles) {
  Model m = bundledModel();
  const Cell* surrender = aget_named(m.products, "product_surrender");
  const Cell* tuples = aget_named(surrender, "nodeTuples");
  const char* const roles[] = {
      "((customer (alive (active)) (premium_paying)))",
      "((customer (alive (active)) (free_policy)))",
      "((customer (alive (disabled)) (premium_paying)))",
      "((customer (alive (disabled)) (free_policy)))",
      "((customer (dead) (premium_paying)))",
      "((customer (dead) (free_policy)))",
      "((surrender))",
  };
  ASSERT_EQ(length(tuples), 7);
  for (int k = 0; k < 7; k++) EXPECT_EQ(printed(nth(k, tuples)), roles[k]) << k;
  EXPECT_EQ(initialState(surrender, m.defs, policyEnvironment("active", false)), 0);
  // A free policy starts where the program puts the other products: on
  // their free-policy side, so here in role 1.
  EXPECT_EQ(initialState(surrender, m.defs, policyEnvironment("active", true)), 1);
  EXPECT_EQ(initialState(surrender, m.defs, policyEnvironment("disabled", false)), 2);
}

// An active premium-paying policy starts every product in its state 0, the
// state whose probability the free-policy code shifts when a product has no
// active state.
TEST(PensionModelTest, EveryProductStartsInStateZero) {
  Model m = bundledModel();
  const Cell* env = policyEnvironment("active", false);
  for (const Cell* p = m.products; is_cons(p); p = tail(p)) {
    EXPECT_EQ(initialState(tail(head(p)), m.defs, env), 0) << printed(head(head(p)));
  }
}

// A disabled policy enters the waiting period or, once it has waited three
// months, the benefit.
TEST(PensionModelTest, DisabledPolicyStartsAfterItsWaitingPeriod) {
  Model m = bundledModel();
  const Cell* record = aget_named(m.products, "i01_017");
  struct Case {
    int changed;  // month count of the last change of state
    const char* tuple;
  };
  const Case cases[] = {
      {12 * 2019 + 8, "((customer (alive (disabled (waiting_period)))))"},
      {12 * 2019 + 7, "((customer (alive (disabled (disability_benefit)))))"},
      {12 * 2010 + 1, "((customer (alive (disabled (disability_benefit)))))"},
  };
  for (const Case& c : cases) {
    const Cell* env = symbolKey("time_last_state_change", date(c.changed),
                                policyEnvironment("disabled", false));
    const Cell* tuple = initialNodeTuple(aget_named(record, "splitAssoc"), m.defs, env);
    EXPECT_EQ(printed(tuple), c.tuple) << c.changed;
  }
}

// ---- Valuations through the real executable ----

struct Product {
  std::string name;
  int from, to;
  bool survivesFreePolicy;
};

using Holes = std::map<std::string, std::string>;

// One policy of the given products in a portfolio of
// tests/models/expected/portfolio_template.tal, a basis of constant
// intensities in the layout of the generated portfolios. Holes not given
// keep their defaults. The policy: a man aged 40 at the valuation in
// January 2020, active and premium paying, with a wife aged 38 and a son
// aged 10; annuity 12000 a year (1000 a month), sum 1000, age_expiry 50
// (month 120), age_expiry_risk 45, age_expiry_annuity 60, timespan_annuity
// 5 years, age_expiry_child 21 (month 132). EXTRA entries come first and
// hide these.
std::string portfolioText(const std::vector<Product>& products, const Holes& given = {}) {
  Holes holes = {{"SEVEN_STATE", "0"},      {"MALE_MORTALITY", "0.01"}, {"FEMALE_MORTALITY", "0.02"},
                 {"DISABILITY", "0"},       {"MARRIAGE", "0"},          {"YIELD", "0"},
                 {"FREE_POLICY", "0"},      {"SURRENDER", "0"},         {"FREE_POLICY_FRACTION", "0.5"},
                 {"RESERVE", "1000"},       {"EXTRA", ""},              {"PRODUCTS", ""}};
  for (const Product& p : products) {
    holes["PRODUCTS"] += "    (assoc (\"product_definition\" \"" + p.name + "\") (\"from\" " +
                         std::to_string(p.from) + ") (\"to\" " + std::to_string(p.to) +
                         ") (\"survives_free_policy\" (parseBool " +
                         (p.survivesFreePolicy ? "0" : "()") + ")))\n";
  }
  for (const auto& [key, value] : given) holes[key] = value;
  std::string text = read_file(TALVON_SOURCE_DIR "/tests/models/expected/portfolio_template.tal");
  for (const auto& [key, value] : holes) {
    std::string hole = "@" + key + "@";
    for (size_t at = text.find(hole); at != std::string::npos; at = text.find(hole, at + value.size())) {
      text.replace(at, hole.size(), value);
    }
  }
  return text;
}

// What the calculation program sends per account pair.
struct Flow {
  std::vector<double> months;
  double reserve = NAN;
};
using Flows = std::map<std::pair<int, int>, Flow>;

// Runs talvon server on a model and a portfolio, with the front end's
// FIFOs, and gives the flows by account pair.
Flows value(const std::string& portfolio, const std::string& model = read_file(MODEL_PATH)) {
  TempDir dir;
  mkdir(dir.file("work").c_str(), 0700);
  mkdir(dir.file("bin").c_str(), 0700);
  write_scrambled(dir.file("work/m.bin"), model);
  write_scrambled(dir.file("work/p.bin"), portfolio);
  write_scrambled(dir.file("work/r.bin"), TASK);
  FifoReader progress(dir.file("progress"));
  FifoReader results(dir.file("results"));
  Outcome o = run_program(
      {TALVON_EXE, "server", "m.bin", "p.bin", "r.bin", progress.path, results.path}, "",
      dir.file("work"));
  EXPECT_EQ(o.status, 0) << o.out << o.err;
  EXPECT_EQ(o.out + o.err, "");
  progress.finish();
  Flows flows;
  for (const ResultRecord& r : decode_results(results.finish())) {
    Flow& f = flows[{r.x, r.y}];
    if (r.tag == 1) f.months.push_back(r.value);
    if (r.tag == 2) f.reserve = r.value;
  }
  for (const auto& [pair, f] : flows) EXPECT_EQ(f.months.size(), size_t(MONTHS));
  return flows;
}

// The flow of an account pair; a pair the program did not send has none.
const Flow& flowOf(const Flows& flows, int from, int to) {
  static const Flow none;
  auto found = flows.find({from, to});
  return found == flows.end() ? none : found->second;
}

// The disabled of a policy disabled at 2 % a month: waiting, then
// receiving, leaving the waiting period at 1/3 a month.
double waitingAt(int t) {
  double active = 1, waiting = 0;
  for (int s = 0; s < t; s++) {
    waiting = waiting * (2.0 / 3.0) + active * 0.02;
    active *= 0.98;
  }
  return waiting;
}
double receivingAt(int t) {
  double receiving = 0;
  for (int s = 0; s <= t; s++) receiving += waitingAt(s) / 3.0;
  return receiving;
}

// A product's expected monthly cashflow; the reserve is discounted at the
// valuation's constant yearly rate in percent.
struct Paid {
  Product product;
  double (*month)(int t);
};

struct Valuation {
  const char* what;
  Holes holes;
  double rate;
  std::vector<Paid> paid;
};

// Policies valued as an actuary values them by hand.
const Valuation VALUATIONS[] = {
    // Mortality 1 % a month and nothing else.
    {"death and survival", {}, 0,
     {{{"d01_002", 1, 2, false}, [](int t) { return t < 120 ? 10.0 * std::pow(0.99, t) : 0.0; }},  // term
      {{"d01_003", 1, 3, false}, [](int t) { return 10.0 * std::pow(0.99, t); }},  // whole life
      {{"r01_011", 1, 4, false}, [](int t) { return t == 120 ? 1000.0 * std::pow(0.99, 121) : 0.0; }},
      {{"d01_004", 1, 5, false},  // decreasing term: the years left times 12000
       [](int t) { return t < 120 ? 12000.0 * (120 - t) / 12.0 * 0.01 * std::pow(0.99, t) : 0.0; }},
      {{"r01_015", 1, 6, false},  // endowment
       [](int t) {
         return t < 120 ? 10.0 * std::pow(0.99, t) : t == 120 ? 1000.0 * std::pow(0.99, 121) : 0.0;
       }}}},
    // Disablement 2 % a month, nobody dies.
    {"disability", {{"MALE_MORTALITY", "0"}, {"DISABILITY", "0.02"}}, 0,
     {{{"i01_016", 1, 2, false}, [](int t) { return t < 120 ? 1000.0 * (1.0 - std::pow(0.98, t + 1)) : 0.0; }},
      {{"k01_021", 1, 3, false}, [](int t) { return t < 120 ? 20.0 * std::pow(0.98, t) : 0.0; }},
      {{"i01_017", 1, 4, false}, [](int t) { return t < 120 ? 1000.0 * receivingAt(t) : 0.0; }},
      {{"k01_023", 1, 5, false}, [](int t) { return t < 120 ? 1000.0 * waitingAt(t) / 3.0 : 0.0; }},
      // The premium waiver until age_expiry_risk.
      {{"w01_028", 1, 6, false}, [](int t) { return t < 60 ? 1000.0 * (1.0 - std::pow(0.98, t + 1)) : 0.0; }},
      {{"premium_active", 1, 7, true},
       [](int t) { return t < 120 ? 1000.0 * std::pow(0.98, t + 1) : 0.0; }}}},
    // An annuity certain from age 45 for five years, lives or not; the
    // guaranteed life annuity adds the life annuity from age 50 on.
    {"annuities", {{"YIELD", "2.0"}, {"EXTRA", "(\"age_expiry\" (parseEval \"years2span(45)\"))"}}, 2.0,
     {{{"a01_006", 2, 3, false}, [](int t) { return t >= 60 && t < 120 ? 1000.0 : 0.0; }},
      {{"a01_010", 2, 4, false},
       [](int t) { return t < 60 ? 0.0 : t < 120 ? 1000.0 : 1000.0 * std::pow(0.99, t + 1); }}}},
    // Husband 1 %, wife 2 %, son 2 % a month, independently.
    {"named relatives", {}, 0,
     {{{"s01_033", 2, 3, false}, [](int t) { return 1000.0 * (1.0 - std::pow(0.99, t + 1)) * std::pow(0.98, t + 1); }},
      {{"s01_034", 2, 4, false},
       [](int t) { return t < 120 ? 1000.0 * std::pow(0.99, t) * 0.01 * std::pow(0.98, t + 1) : 0.0; }},
      {{"c01_038", 2, 5, false},
       [](int t) { return t < 132 ? 1000.0 * (1.0 - std::pow(0.99, t + 1)) * std::pow(0.98, t + 1) : 0.0; }},
      {{"c01_039", 2, 6, false},
       [](int t) { return t < 132 ? 1000.0 * std::pow(0.99, t) * 0.01 * std::pow(0.98, t + 1) : 0.0; }}}},
    // Without seven states surrender at 1 % a month pays the basis's
    // surrender value 1000 on the probability surrendered.
    {"surrender", {{"SEVEN_STATE", "()"}, {"MALE_MORTALITY", "0"}, {"SURRENDER", "0.01"}}, 0,
     {{{"product_surrender", 2, 5, false}, [](int t) { return 10.0 * std::pow(0.99, t); }},
      {{"expense_alive", 2, 6, false}, [](int t) { return t < 120 ? 1000.0 * std::pow(0.99, t + 1) : 0.0; }}}},
    // Conversion to free policy at 1 % a month: a product that does not
    // survive it keeps half of what converted in earlier months; premiums
    // stop.
    {"free policy", {{"SEVEN_STATE", "()"}, {"MALE_MORTALITY", "0"}, {"FREE_POLICY", "0.01"}}, 0,
     {{{"product_surrender", 2, 5, false}, [](int) { return 0.0; }},
      {{"expense_alive", 2, 6, false},
       [](int t) { return t < 120 ? 1000.0 * (std::pow(0.99, t) + 0.5 * (1.0 - std::pow(0.99, t))) : 0.0; }},
      {{"premium_active", 1, 2, true},
       [](int t) { return t < 120 ? 1000.0 * std::pow(0.99, t + 1) : 0.0; }}}},
};

TEST(PensionValuationTest, HandComputedValuations) {
  for (const Valuation& v : VALUATIONS) {
    std::vector<Product> products;
    for (const Paid& p : v.paid) products.push_back(p.product);
    Flows flows = value(portfolioText(products, v.holes));
    for (const Paid& p : v.paid) {
      std::string what = std::string(v.what) + ": " + p.product.name;
      const Flow& flow = flowOf(flows, p.product.from, p.product.to);
      ASSERT_EQ(flow.months.size(), size_t(MONTHS)) << what;
      double reserve = 0;
      for (int t = 0; t < MONTHS; t++) {
        double expected = p.month(t);
        ASSERT_NEAR(flow.months[t], expected, 1e-9 * std::max(1.0, std::fabs(expected)))
            << what << " month " << t;
        reserve += expected / std::pow(1.0 + v.rate / 100.0, t / 12.0);
      }
      EXPECT_NEAR(flow.reserve, reserve, 1e-9 * std::max(1.0, std::fabs(reserve))) << what;
    }
  }
}

// Without marriage the collective spouse pension, family annuity less life
// annuity, pays nothing (up to the rounding of the program's collective
// mortality), and the joint and survivor annuity is the life annuity. With
// marriage the spouse pension pays, and from age 50 on the survivor annuity
// is exactly the spouse pension plus the life annuity.
TEST(PensionValuationTest, CollectiveSpousePension) {
  std::vector<Product> products = {{"s01_031", 2, 3, false}, {"s01_035", 2, 4, false}};
  for (const char* marriage : {"0", "0.01"}) {
    Flows flows = value(portfolioText(products, {{"MARRIAGE", marriage}}));
    const Flow& spouse = flowOf(flows, 2, 3);
    const Flow& survivor = flowOf(flows, 2, 4);
    ASSERT_EQ(spouse.months.size(), size_t(MONTHS)) << marriage;
    ASSERT_EQ(survivor.months.size(), size_t(MONTHS)) << marriage;
    bool married = marriage[1] != 0;
    for (int t = 0; t < MONTHS; t++) {
      double life = t >= 120 ? 1000.0 * std::pow(0.99, t + 1) : 0.0;
      if (married) {
        ASSERT_GE(spouse.months[t], -1e-9) << t;
        ASSERT_LE(spouse.months[t], 1000.0) << t;
        if (t >= 120) {
          ASSERT_NEAR(survivor.months[t] - spouse.months[t], life, 1e-6) << t;
        }
      } else {
        ASSERT_NEAR(spouse.months[t], 0.0, 1e-6) << t;
        ASSERT_NEAR(survivor.months[t], life, 1e-6) << t;
      }
    }
    if (married) {
      EXPECT_GT(spouse.reserve, 10.0);
    } else {
      EXPECT_NEAR(spouse.reserve, 0.0, 1e-4);
    }
  }
}

// Portfolios written by the generate task with the bundled tables in
// conf/, valued with the bundled model. COUNT 1 writes the two random
// portfolios, one file per generic and fixed product and the seven-product
// file; COUNT 30 writes random portfolios of 30 policies.
struct Generated {
  std::string file;  // in out/
  int count;         // COUNT of the generate task that writes it
};

void PrintTo(const Generated& g, std::ostream* os) { *os << g.file << " of COUNT " << g.count; }

std::vector<Generated> generatedFiles() {
  std::vector<Generated> files = {{"a.bpf", 1}, {"b.bpf", 1}, {"a.bpf", 30}, {"b.bpf", 30}};
  for (const char* name : {"premium_active", "premium_alive", "expense_active", "expense_alive"}) {
    files.push_back({std::string(name) + "_30_10000.bpf", 1});
  }
  for (const char* name : FIXED_PRODUCTS) files.push_back({std::string(name) + "_30_10000.bpf", 1});
  files.push_back({"7_products_30_10000.bpf", 1});
  return files;
}

// Runs the generate task in a fresh working directory and gives the text of
// one of the files it wrote.
std::string generatedText(const Generated& g) {
  TempDir dir;
  mkdir(dir.file("conf").c_str(), 0700);
  mkdir(dir.file("out").c_str(), 0700);
  for (const char* table : {"dfsa_yield", "dfsa_mortality_female", "dfsa_mortality_improvement_female",
                            "dfsa_mortality_improvement_male", "dfsa_mortality_male"}) {
    std::string name = std::string("conf/") + table + ".txt";
    write_file(dir.file(name), read_file(std::string(TALVON_SOURCE_DIR) + "/models/" + name));
  }
  write_scrambled(dir.file("m.bin"), read_file(MODEL_PATH));
  write_scrambled(dir.file("p.bin"), "(define (portfolio) (assoc (\"policies\" ())))\n");
  write_scrambled(dir.file("r.bin"), "(define (task) (generate " + std::to_string(g.count) +
                                         " \"out/a.bpf\" \"out/b.bpf\"))\n");
  Outcome o = run_program({TALVON_EXE, "exec", "m.bin", "p.bin", "r.bin"}, "", dir.path);
  EXPECT_EQ(o.status, 0) << o.err;
  return read_file(dir.file("out/" + g.file));
}

class GeneratedPortfolioTest : public testing::TestWithParam<Generated> {};

// Every file values through the server: all account pairs of its view send
// 1440 finite months, none negative and not all zero, and a finite reserve.
// Premiums (1 -> 2) are paid at most as booked, 10000 a year for a product
// file, so their probability stays between 0 and 1.
TEST_P(GeneratedPortfolioTest, ValuesEndToEnd) {
  const Generated& g = GetParam();
  std::string portfolio = generatedText(g);
  ASSERT_FALSE(portfolio.empty());
  Flows flows = value(portfolio);
  ASSERT_FALSE(flows.empty());
  for (const auto& [pair, f] : flows) {
    std::string what = g.file + " " + std::to_string(pair.first) + "->" + std::to_string(pair.second);
    ASSERT_EQ(f.months.size(), size_t(MONTHS)) << what;
    EXPECT_TRUE(std::isfinite(f.reserve)) << what;
    double total = 0;
    for (int t = 0; t < MONTHS; t++) {
      ASSERT_TRUE(std::isfinite(f.months[t])) << what << " month " << t;
      ASSERT_GE(f.months[t], -1e-9) << what << " month " << t;
      total += f.months[t];
    }
    EXPECT_GT(total, 0.0) << what << " pays nothing";
  }
  if (g.file.find("_30_10000") != std::string::npos && g.file.rfind("premium_", 0) == 0) {
    for (double v : flowOf(flows, 1, 2).months) {
      EXPECT_GE(v, 0.0);
      EXPECT_LE(v, 10000.0 / 12 * (1 + 1e-12));
    }
  }
}

std::string generatedName(const testing::TestParamInfo<Generated>& info) {
  std::string name = info.param.file.substr(0, info.param.file.find('.')) + "_" + std::to_string(info.param.count);
  for (char& c : name) {
    if (!isalnum(static_cast<unsigned char>(c))) c = '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(EveryFile, GeneratedPortfolioTest, testing::ValuesIn(generatedFiles()), generatedName);

// The example portfolio with its run script: all passes, the valuation and
// the program run, with nothing printed.
TEST(PensionValuationTest, ExamplePortfolioValues) {
  Flows flows = value(read_file(EXAMPLE_PATH));
  EXPECT_FALSE(flows.empty());
  for (const auto& [pair, f] : flows) {
    EXPECT_TRUE(std::isfinite(f.reserve)) << pair.first << "->" << pair.second;
    EXPECT_GT(f.reserve, 0.0) << pair.first << "->" << pair.second;
  }
}

}  // namespace
