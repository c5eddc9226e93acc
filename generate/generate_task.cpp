#include "generate/generate_task.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "codegen/emitter.h"
#include "core/list.h"
#include "driver/diagnostics.h"
#include "driver/file_wrappers.h"
#include "generate/basis_text.h"
#include "generate/product_list.h"
#include "platform/crt_rand.h"

// may(2018) as a month count: every generated date is reckoned back from it.
static const double REFERENCE_MONTH = 24220.0;

static const int NAME_SIZE = 1000;

static const char* const MONTH_NAMES[12] = {"jan", "feb", "mar", "apr", "may", "jun",
                                            "jul", "aug", "sep", "oct", "nov", "dec"};

// Month counts before year 0 still get a month name.
static int month_of(int count) {
  int month = count % 12;
  return month < 0 ? month + 12 : month;
}

static int year_of(int count) {
  return (count - month_of(count)) / 12;
}

std::string dateText(double years) {
  int count = static_cast<int>(REFERENCE_MONTH - 12 * years);
  return std::string(MONTH_NAMES[month_of(count)]) + "(" + std::to_string(year_of(count)) + ")";
}

double uniformRandom() {
  return (crt_rand() + 0.5) / 32768.0;
}

// Opening and closing of one portfolio file; the emitter writes to it
// in between.

static FILE* open_portfolio(const char* path) {
  FILE* file = open_file(nullptr, path, "w");
  setOutputFile(file);
  return file;
}

static void close_portfolio(FILE* file) {
  setOutputFile(stdout);
  close_file(nullptr, file);
}

enum class View { randomA, randomB, single };

static const char* const SEVEN_STATE_OFF = "(\"seven_state\" (parseBool ()))";
static const char* const SEVEN_STATE_ON = "(\"seven_state\" (parseBool 0))";

static void write_view(View view) {
  switch (view) {
    case View::randomA:
      emitTemplate1(2, "(\"view\" (list 5 1 1 2 \"Premiums\" 2 3 \"Benefits %\"",
                    symbol(fixedProduct(9)));
      emitTemplate1(3, "2 4 \"Benefits %\" 2 5 \"Surrender\" 2 6 \"Expenses\"))",
                    symbol(fixedProduct(40)));
      break;
    case View::randomB:
      emitLine(2, "(\"view\" (list 5 1 1 2 \"Premiums\" 2 3 \"Benefits\"");
      emitTemplate1(3, "2 4 \"Benefits %\" 2 5 \"Surrender\" 2 6 \"Expenses\"))",
                    symbol(fixedProduct(3)));
      break;
    case View::single:
      emitLine(2, "(\"view\" (list 1 1 1 2 \"\"))");
      break;
  }
}

// Everything up to the first policy: the head, the view, the basis and the
// opening of the policy list.
static void write_portfolio_head(const char* seven_state, View view) {
  emitLine(0, "(define (portfolio)");
  emitLine(1, "(assoc");
  emitLine(2, "(\"date_validity\" (parseEval \"oct(2019)\"))");
  emitLine(2, seven_state);
  write_view(view);
  writeBasis();
  emitLine(2, "(\"policies\"");
  emitLine(3, "(list");
  emitBlankLine();
}

// `date_hole` is the text inside the quotes of the three date lines; the
// argument lists fill it for the birth (also the last state change) and
// for the start of the policy.
static void write_policy_head(const char* date_hole, const Cell* birth, const Cell* policy) {
  std::string hole = std::string(" (parseEval \"") + date_hole + "\"))";
  emitLine(4, "(assoc");
  emitTemplate(5, ("(\"time_birth\"" + hole).c_str(), birth);
  emitLine(5, "(\"gender\" (parseEval \"\"\"male\"\"\"))");
  emitLine(5, "(\"state_calculation\" (parseEval \"\"\"active\"\"\"))");
  emitTemplate(5, ("(\"time_last_state_change\"" + hole).c_str(), birth);
  emitTemplate(5, ("(\"time_policy\"" + hole).c_str(), policy);
  emitLine(5, "(\"premium_paying_initially\" (parseBool ()))");
  emitLine(5, "(\"products\"");
  emitLine(6, "(list");
}

// Flag 1: the product does not survive the move to free policy.
static void write_survival_line(int flag) {
  emitLine(8, flag == 1 ? "(\"survives_free_policy\" (parseBool ()))"
                        : "(\"survives_free_policy\" (parseBool 0))");
}

static void write_entry_head(const char* name, int from, int to, int flag) {
  emitLine(7, "(assoc");
  emitTemplate1(8, "(\"product_definition\" (parseEval \"\"\"%\"\"\"))", symbol(name));
  emitTemplate1(8, "(\"from\" (parseEval \"%\"))", integer(from));
  emitTemplate1(8, "(\"to\" (parseEval \"%\"))", integer(to));
  write_survival_line(flag);
}

void writeSurrenderEntry(int from, int to) {
  emitLine(7, "(assoc");
  emitLine(8, "(\"product_definition\" (parseEval");
  emitLine(9, "\"\"\"product_surrender\"\"\"))");
  emitTemplate1(8, "(\"from\" (parseEval \"%\"))", integer(from));
  emitTemplate1(8, "(\"to\" (parseEval \"%\")))", integer(to));
}

void writeProductEntry(const char* name, int age, int amount, int from, int to, int flag) {
  const char* const age_expiry_child = "(\"age_expiry_child\" (parseEval \"years2span(21)\"))";
  write_entry_head(name, from, to, flag);
  emitTemplate1(8, "(\"annuity\" (parse \"%\"))", integer(amount));
  emitTemplate1(8, "(\"sum\" (parse \"%\"))", integer(100 * amount));
  emitLine(8, "(\"timespan_annuity\" (parseEval \"years2span(10)\"))");
  emitLine(8, "(\"age_expiry\" (parseEval \"years2span(65)\"))");
  emitLine(8, age_expiry_child);
  int annuity_expiry = strcmp(name, fixedProduct(20)) == 0 ? 65 : 75;
  emitTemplate1(8, "(\"age_expiry_annuity\" (parseEval \"years2span(%)\"))",
                integer(annuity_expiry));
  emitLine(8, "(\"age_expiry_risk\" (parseEval \"years2span(55)\"))");
  emitLine(8, "(\"state_spouse_calculation\"");
  emitLine(10, "(parseEval \"\"\"spouse_alive\"\"\"))");
  emitLine(8, "(\"gender_spouse\" (parseEval \"\"\"female\"\"\"))");
  // String cells point at their text: it must outlive the lines.
  std::string spouse_birth = dateText(age + 5);
  std::string child_birth = dateText(5);
  emitTemplate1(8, "(\"time_birth_spouse\" (parseEval \"%\"))", string(spouse_birth.c_str()));
  emitTemplate1(8, "(\"time_birth_child\" (parseEval \"%\"))", string(child_birth.c_str()));
  emitLine(8, age_expiry_child);
  emitLine(7, ")");
}

// A random policy's products: short entries with only the keys their
// products read. The last further line also closes the entry.
struct ShortEntry {
  int fixed;  // fixed product number, or 0 for the generic name
  const char* generic;
  int from;
  int to;
  int flag;
  const char* further[3];
};

#define EXPIRY_65 "(\"age_expiry\" (parseEval \"years2span(65)\")))"
#define EXPIRY_120 "(\"age_expiry\" (parseEval \"years2span(120)\")))"

static const ShortEntry POLICY_A[] = {
    {0, "premium_active", 1, 2, 0, {"(\"annuity\" (parse \"6000\"))", EXPIRY_65}},
    {0, "expense_alive", 2, 6, 1, {"(\"annuity\" (parse \"300\"))", EXPIRY_120}},
    {9, nullptr, 2, 3, 1, {"(\"annuity\" (parse \"30000\"))", EXPIRY_65}},
    {40, nullptr, 2, 4, 1, {"(\"annuity\" (parse \"30000\"))", EXPIRY_65}},
};

static const ShortEntry POLICY_B[] = {
    {0, "premium_active", 1, 2, 0, {"(\"annuity\" (parse \"5008.53\"))", EXPIRY_65}},
    {0, "expense_alive", 2, 6, 1, {"(\"annuity\" (parse \"250.43\"))", EXPIRY_120}},
    {9, nullptr, 2, 3, 1, {"(\"annuity\" (parse \"10000\"))", EXPIRY_65}},
    {2, nullptr, 2, 3, 1, {"(\"sum\" (parse \"2000000\"))", EXPIRY_65}},
    {3, nullptr, 2, 4, 1, {"(\"sum\" (parse \"1000000\"))", EXPIRY_65}},
    {20, nullptr, 2, 3, 0,
     {"(\"annuity\" (parse \"10000\"))",
      "(\"age_expiry_annuity\" (parseEval \"years2span(65)\")))"}},
    {6, nullptr, 2, 3, 1,
     {"(\"annuity\" (parse \"10000\"))", "(\"timespan_annuity\" (parseEval \"years2span(10)\"))",
      EXPIRY_65}},
};

#undef EXPIRY_65
#undef EXPIRY_120

// The holder is between 30 and 70 years old and took out the policy at
// 30, in the month of birth.
static void write_random_policy(const ShortEntry* entries, int count) {
  double u = uniformRandom();
  int birth = static_cast<int>(std::round(REFERENCE_MONTH - 12.0 * (40.0 * u + 30.0)));
  const Cell* month = symbol(MONTH_NAMES[month_of(birth)]);
  int year = year_of(birth);
  write_policy_head("%(%)", list2(month, integer(year)), list2(month, integer(year + 30)));
  for (int i = 0; i < count; i++) {
    const ShortEntry& entry = entries[i];
    const char* name = entry.fixed != 0 ? fixedProduct(entry.fixed) : entry.generic;
    write_entry_head(name, entry.from, entry.to, entry.flag);
    for (const char* line : entry.further) {
      if (line != nullptr) emitLine(8, line);
    }
  }
  writeSurrenderEntry(2, 5);
  emitLine(4, ")))");
  emitBlankLine();
}

void writeRandomPolicyA() {
  write_random_policy(POLICY_A, sizeof POLICY_A / sizeof POLICY_A[0]);
}

void writeRandomPolicyB() {
  write_random_policy(POLICY_B, sizeof POLICY_B / sizeof POLICY_B[0]);
}

static void write_random_portfolio(int count, const char* path, View view, void (*policy)()) {
  printf("Generate %d products\n", count);
  FILE* file = open_portfolio(path);
  write_portfolio_head(SEVEN_STATE_OFF, view);
  for (int i = 0; i < count; i++) policy();
  emitLine(0, "))))");
  close_portfolio(file);
}

void writeRandomPortfolioA(int count, const char* path) {
  write_random_portfolio(count, path, View::randomA, writeRandomPolicyA);
}

void writeRandomPortfolioB(int count, const char* path) {
  if (path[0] == '\0') return;
  write_random_portfolio(count, path, View::randomB, writeRandomPolicyB);
}

// The policy head of a holder aged `age` whose policy began at 30.
static void write_fixed_age_policy_head(int age) {
  std::string birth = dateText(age);
  std::string policy = dateText(age - 30);
  write_policy_head("%", list1(string(birth.c_str())), list1(string(policy.c_str())));
}

void writeSingleProductPolicy(const char* name, int age, int amount, int flag) {
  write_fixed_age_policy_head(age);
  writeProductEntry(name, age, amount, 1, 2, flag);
  writeSurrenderEntry(1, 3);
  emitLine(4, ")))");
  emitBlankLine();
}

// Names the file DIRECTORY NAME_AGE_AMOUNT.bpf, reports it and opens it.
static FILE* open_product_portfolio(const char* directory, const char* name, int age, int amount) {
  char path[NAME_SIZE];
  snprintf(path, sizeof path, "%s%s_%d_%d.bpf", directory, name, age, amount);
  printf("Generate %s\n", path);
  return open_portfolio(path);
}

void writeSingleProductPortfolio(const char* directory, const char* name, int age, int amount,
                                 int flag) {
  FILE* file = open_product_portfolio(directory, name, age, amount);
  write_portfolio_head(SEVEN_STATE_ON, View::single);
  writeSingleProductPolicy(name, age, amount, flag);
  emitLine(0, "))))");
  close_portfolio(file);
}

void writeSevenProductPortfolio(const char* directory, const char* name, int age, int amount) {
  FILE* file = open_product_portfolio(directory, name, age, amount);
  write_portfolio_head(SEVEN_STATE_OFF, View::randomB);
  write_fixed_age_policy_head(age);
  int premium = static_cast<int>(std::round(0.500853175 * amount));
  writeProductEntry(fixedProduct(9), age, amount, 2, 3, 1);
  writeProductEntry(fixedProduct(2), age, 2 * amount, 2, 3, 1);
  writeProductEntry(fixedProduct(3), age, amount, 2, 4, 1);
  writeProductEntry(fixedProduct(20), age, amount, 2, 3, 1);
  writeProductEntry(fixedProduct(6), age, amount, 2, 3, 1);
  writeProductEntry("premium_active", age, premium, 1, 2, 0);
  writeProductEntry("expense_alive", age, premium / 20, 2, 6, 1);
  writeSurrenderEntry(2, 5);
  // Closes the policy and the whole file; no empty line follows.
  emitLine(0, ")))))))");
  close_portfolio(file);
}

// The directory part of `path` with its last slash, or "" when it has none.
static void directory_of(const char* path, char* directory, int size) {
  snprintf(directory, size, "%s", path);
  char* slash = strrchr(directory, '/');
  if (slash != nullptr) {
    slash[1] = '\0';
  } else {
    directory[0] = '\0';
  }
}

void generatePortfolios(const Cell* body) {
  const Cell* count = second(body);
  const Cell* first_file = third(body);
  const Cell* second_file = fourth(body);
  compactMode = 0;
  if (!is_integer(count)) error_at(count, "Malformed number of policies");
  if (!is_string(first_file)) error_at(first_file, "Malformed portfolio name");
  if (!is_string(second_file)) error_at(second_file, "Malformed portfolio name");

  int n = integer_value(count);
  writeRandomPortfolioA(n, string_value(first_file));
  writeRandomPortfolioB(n, string_value(second_file));
  if (n != 1) return;

  char directory[NAME_SIZE];
  directory_of(string_value(first_file), directory, sizeof directory);
  const int AGE = 30;
  const int AMOUNT = 10000;
  writeSingleProductPortfolio(directory, "premium_active", AGE, AMOUNT, 0);
  writeSingleProductPortfolio(directory, "premium_alive", AGE, AMOUNT, 0);
  writeSingleProductPortfolio(directory, "expense_active", AGE, AMOUNT, 1);
  writeSingleProductPortfolio(directory, "expense_alive", AGE, AMOUNT, 1);
  for (int k = 1; k <= FIXED_PRODUCT_COUNT; k++) {
    writeSingleProductPortfolio(directory, fixedProduct(k), AGE, AMOUNT, 1);
  }
  writeSevenProductPortfolio(directory, "7_products", AGE, AMOUNT);
}
