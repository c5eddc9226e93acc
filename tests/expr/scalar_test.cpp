#include "expr/scalar.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "core/list.h"
#include "support/process.h"

namespace {

// Every primitive reports at, and stamps its results with, the place.
const Cell* place() {
  return symbol_source("+", 4, 9, "scalars.tal");
}

const Cell* I(int32_t v) { return integer_source(v, 1, 1, "a.tal"); }
const Cell* R(double v) { return real_source(v, 1, 2, "a.tal"); }
const Cell* D(int32_t year, int32_t month) { return date_source(12 * year + month, 1, 3, "a.tal"); }
const Cell* S(int32_t months) { return span_source(months, 1, 4, "a.tal"); }
const Cell* Str(const char* text) { return string_source(text, 1, 5, "a.tal"); }
const Cell* Sym(const char* name) { return symbol_source(name, 1, 6, "a.tal"); }
const Cell* Nil() { return nil_source(1, 7, "a.tal"); }

const double NaN = std::numeric_limits<double>::quiet_NaN();
const double Inf = std::numeric_limits<double>::infinity();

using Arithmetic = const Cell* (*)(const Cell*, const Cell*, const Cell*);

struct ResultCase {
  const char* what;
  Arithmetic primitive;
  const Cell* first;
  const Cell* second;
  CellTag tag;
  double value;  // whole payloads compare exactly as doubles too
};

void expect_result(const ResultCase& c) {
  SCOPED_TRACE(c.what);
  const Cell* p = place();
  const Cell* result = c.primitive(c.first, c.second, p);
  ASSERT_EQ(result->tag, c.tag);
  if (c.tag == CellTag::real) {
    if (std::isnan(c.value)) {
      EXPECT_TRUE(std::isnan(result->real));
    } else {
      EXPECT_EQ(result->real, c.value);
    }
  } else {
    EXPECT_EQ(result->whole, static_cast<int32_t>(c.value));
  }
  // A fresh cell at the place, not at an operand.
  EXPECT_NE(result, c.first);
  EXPECT_NE(result, c.second);
  EXPECT_EQ(result->line, 4);
  EXPECT_EQ(result->character, 9);
  EXPECT_STREQ(result->file, "scalars.tal");
}

TEST(ScalarTest, AdditionResultKinds) {
  std::vector<ResultCase> cases = {
      {"integer + integer", scalarAdd, I(2), I(3), CellTag::integer, 5},
      {"integer + real", scalarAdd, I(2), R(0.5), CellTag::real, 2.5},
      {"real + integer", scalarAdd, R(0.5), I(2), CellTag::real, 2.5},
      {"real + real", scalarAdd, R(0.25), R(0.5), CellTag::real, 0.75},
      {"date + span", scalarAdd, D(2019, 10), S(15), CellTag::date, 12 * 2021 + 1},
      {"span + date", scalarAdd, S(15), D(2019, 10), CellTag::date, 12 * 2021 + 1},
      {"span + span", scalarAdd, S(15), S(-20), CellTag::span, -5},
      {"date + negative span", scalarAdd, D(2020, 1), S(-1), CellTag::date, 12 * 2019 + 12},
  };
  for (const ResultCase& c : cases) expect_result(c);
}

TEST(ScalarTest, SubtractionResultKinds) {
  std::vector<ResultCase> cases = {
      {"integer - integer", scalarSubtract, I(2), I(3), CellTag::integer, -1},
      {"integer - real", scalarSubtract, I(2), R(0.5), CellTag::real, 1.5},
      {"real - integer", scalarSubtract, R(0.5), I(2), CellTag::real, -1.5},
      {"real - real", scalarSubtract, R(0.75), R(0.5), CellTag::real, 0.25},
      {"date - span", scalarSubtract, D(2020, 1), S(4), CellTag::date, 12 * 2019 + 9},
      {"later date - earlier", scalarSubtract, D(2020, 1), D(2019, 10), CellTag::span, 3},
      {"earlier date - later", scalarSubtract, D(2019, 10), D(2020, 1), CellTag::span, -3},
      {"span - span", scalarSubtract, S(12), S(15), CellTag::span, -3},
  };
  for (const ResultCase& c : cases) expect_result(c);
}

TEST(ScalarTest, MultiplicationResultKinds) {
  std::vector<ResultCase> cases = {
      {"integer * integer", scalarMultiply, I(-6), I(7), CellTag::integer, -42},
      {"integer * real", scalarMultiply, I(3), R(0.5), CellTag::real, 1.5},
      {"real * integer", scalarMultiply, R(0.5), I(3), CellTag::real, 1.5},
      {"real * real", scalarMultiply, R(0.5), R(0.5), CellTag::real, 0.25},
  };
  for (const ResultCase& c : cases) expect_result(c);
}

// Division, power, minimum and maximum give reals also for two integers.
TEST(ScalarTest, RealValuedPrimitives) {
  std::vector<ResultCase> cases = {
      {"7 / 2", scalarDivide, I(7), I(2), CellTag::real, 3.5},
      {"6 / 3", scalarDivide, I(6), I(3), CellTag::real, 2.0},
      {"1 / 0", scalarDivide, I(1), I(0), CellTag::real, Inf},
      {"-1 / 0", scalarDivide, I(-1), I(0), CellTag::real, -Inf},
      {"0 / 0", scalarDivide, I(0), I(0), CellTag::real, NaN},
      {"real / integer", scalarDivide, R(1.5), I(2), CellTag::real, 0.75},
      {"integer / real", scalarDivide, I(3), R(0.5), CellTag::real, 6.0},
      {"2 ^ 10", scalarPower, I(2), I(10), CellTag::real, 1024.0},
      {"2 ^ -1", scalarPower, I(2), I(-1), CellTag::real, 0.5},
      {"2.25 ^ 0.5", scalarPower, R(2.25), R(0.5), CellTag::real, 1.5},
      {"min 1 2", scalarMin, I(1), I(2), CellTag::real, 1.0},
      {"min 2 1", scalarMin, I(2), I(1), CellTag::real, 1.0},
      {"min real integer", scalarMin, R(-0.5), I(0), CellTag::real, -0.5},
      {"min NaN 3", scalarMin, R(NaN), I(3), CellTag::real, 3.0},
      {"min 3 NaN", scalarMin, I(3), R(NaN), CellTag::real, 3.0},
      {"max 1 2", scalarMax, I(1), I(2), CellTag::real, 2.0},
      {"max 2 1", scalarMax, I(2), I(1), CellTag::real, 2.0},
      {"max NaN 3", scalarMax, R(NaN), I(3), CellTag::real, 3.0},
      {"max 3 NaN", scalarMax, I(3), R(NaN), CellTag::real, 3.0},
  };
  for (const ResultCase& c : cases) expect_result(c);
}

// Integer and month-count results are the low 32 bits of the exact result.
TEST(ScalarTest, IntegerArithmeticWrapsAround) {
  const int32_t MAX = std::numeric_limits<int32_t>::max();
  const int32_t MIN = std::numeric_limits<int32_t>::min();
  std::vector<ResultCase> cases = {
      {"max + 1", scalarAdd, I(MAX), I(1), CellTag::integer, MIN},
      {"min + -1", scalarAdd, I(MIN), I(-1), CellTag::integer, MAX},
      {"min - 1", scalarSubtract, I(MIN), I(1), CellTag::integer, MAX},
      {"0 - min", scalarSubtract, I(0), I(MIN), CellTag::integer, MIN},
      {"65536 * 65536", scalarMultiply, I(65536), I(65536), CellTag::integer, 0},
      {"65537 * 65537", scalarMultiply, I(65537), I(65537), CellTag::integer, 131073},
      {"min * -1", scalarMultiply, I(MIN), I(-1), CellTag::integer, MIN},
      {"max * max", scalarMultiply, I(MAX), I(MAX), CellTag::integer, 1},
      {"date + span past max", scalarAdd, date_source(MAX, 1, 1, "a"), S(1), CellTag::date, MIN},
      {"span + date past max", scalarAdd, S(MAX), date_source(1, 1, 1, "a"), CellTag::date, MIN},
      {"span + span past max", scalarAdd, S(MAX), S(2), CellTag::span, MIN + 1},
      {"date - date past min", scalarSubtract, date_source(MIN, 1, 1, "a"),
       date_source(1, 1, 1, "a"), CellTag::span, MAX},
      {"date - span past min", scalarSubtract, date_source(MIN, 1, 1, "a"), S(1), CellTag::date,
       MAX},
      {"span - span past min", scalarSubtract, S(MIN), S(1), CellTag::span, MAX},
  };
  for (const ResultCase& c : cases) expect_result(c);
}

TEST(ScalarTest, OperandsAreNotChanged) {
  const Cell* a = I(2147483647);
  const Cell* b = I(1);
  scalarAdd(a, b, place());
  scalarMultiply(a, b, place());
  EXPECT_EQ(a->whole, 2147483647);
  EXPECT_EQ(b->whole, 1);
  EXPECT_EQ(a->line, 1);
  EXPECT_STREQ(a->file, "a.tal");
}

struct CompareCase {
  const char* what;
  const Cell* first;
  const Cell* second;
  int equal;
  int less;
};

TEST(ScalarTest, ComparisonTable) {
  std::vector<CompareCase> cases = {
      {"1 vs 1", I(1), I(1), TRUE, FALSE},
      {"1 vs 2", I(1), I(2), FALSE, TRUE},
      {"2 vs 1", I(2), I(1), FALSE, FALSE},
      {"signed integers", I(-1), I(1), FALSE, TRUE},
      {"integer vs real", I(1), R(1.0), TRUE, FALSE},
      {"integer vs larger real", I(1), R(1.5), FALSE, TRUE},
      {"real vs integer", R(1.0), I(1), TRUE, FALSE},
      {"real vs larger integer", R(0.5), I(1), FALSE, TRUE},
      {"real vs real", R(0.5), R(0.25), FALSE, FALSE},
      {"integer vs NaN", I(1), R(NaN), FALSE, FALSE},
      {"NaN vs integer", R(NaN), I(1), FALSE, FALSE},
      {"NaN vs NaN", R(NaN), R(NaN), FALSE, FALSE},
      {"same date", D(2019, 10), D(2019, 10), TRUE, FALSE},
      {"earlier date", D(2019, 10), D(2020, 1), FALSE, TRUE},
      {"negative span", S(-3), S(2), FALSE, TRUE},
      {"same span", S(12), S(12), TRUE, FALSE},
  };
  for (const CompareCase& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(scalarEqual(c.first, c.second, place()) != 0, c.equal != 0);
    EXPECT_EQ(scalarLess(c.first, c.second, place()) != 0, c.less != 0);
  }
}

// A non-scalar first operand makes equality deep equality, whatever the
// second operand is.
TEST(ScalarTest, EqualityOfNonScalarsIsDeepEquality) {
  const Cell* ab = list2(Sym("a"), I(1));
  const Cell* ab2 = list2(symbol("a"), integer(1));
  std::vector<CompareCase> cases = {
      {"two strings a", Str("a"), Str("a"), TRUE, FALSE},
      {"strings a and b", Str("a"), Str("b"), FALSE, FALSE},
      {"string and integer", Str("a"), I(1), FALSE, FALSE},
      {"string and date", Str("a"), D(2019, 1), FALSE, FALSE},
      {"symbols", Sym("x"), Sym("x"), TRUE, FALSE},
      {"symbol and string", Sym("x"), Str("x"), FALSE, FALSE},
      {"two nils", Nil(), nil(), TRUE, FALSE},
      {"nil and integer", Nil(), I(0), FALSE, FALSE},
      {"lists at different places", ab, ab2, TRUE, FALSE},
      {"list and nil", ab, Nil(), FALSE, FALSE},
  };
  for (const CompareCase& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(scalarEqual(c.first, c.second, place()) != 0, c.equal != 0);
  }
}

struct ErrorCase {
  const char* what;
  Arithmetic primitive;
  const Cell* first;
  const Cell* second;
  const char* message;
};

void expect_error(const ErrorCase& c) {
  SCOPED_TRACE(c.what);
  Outcome o = run_fatal([&] { c.primitive(c.first, c.second, place()); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.err, position("scalars.tal", 4, 9) + c.message + "\n");
}

const Cell* equal_cell(const Cell* a, const Cell* b, const Cell* p) {
  return boolean(scalarEqual(a, b, p));
}

const Cell* less_cell(const Cell* a, const Cell* b, const Cell* p) {
  return boolean(scalarLess(a, b, p));
}

TEST(ScalarDeathTest, ComparisonMessages) {
  std::vector<ErrorCase> cases = {
      {"= integer string", equal_cell, I(1), Str("a"), "Comparison of number to non-numbers"},
      {"= real date", equal_cell, R(1), D(2019, 1), "Comparison of number to non-numbers"},
      {"= integer nil", equal_cell, I(1), Nil(), "Comparison of number to non-numbers"},
      {"= date integer", equal_cell, D(2019, 1), I(1), "Comparison of date to non-date"},
      {"= date span", equal_cell, D(2019, 1), S(1), "Comparison of date to non-date"},
      {"= span date", equal_cell, S(1), D(2019, 1), "Comparison of span to non-span"},
      {"= span real", equal_cell, S(1), R(1), "Comparison of span to non-span"},
      {"< integer span", less_cell, I(1), S(1), "Comparison of number to non-numbers"},
      {"< real string", less_cell, R(1), Str("a"), "Comparison of number to non-numbers"},
      {"< date integer", less_cell, D(2019, 1), I(1), "Comparison of date to non-date"},
      {"< span date", less_cell, S(1), D(2019, 1), "Comparison of span to non-span"},
      {"< strings", less_cell, Str("a"), Str("b"), "Comparison of non-scalar"},
      {"< nil integer", less_cell, Nil(), I(1), "Comparison of non-scalar"},
      {"< symbol", less_cell, Sym("x"), I(1), "Comparison of non-scalar"},
      {"< list", less_cell, list1(I(1)), I(1), "Comparison of non-scalar"},
  };
  for (const ErrorCase& c : cases) expect_error(c);
}

TEST(ScalarDeathTest, AdditionAndSubtractionMessages) {
  std::vector<ErrorCase> cases = {
      {"integer + string", scalarAdd, I(1), Str("a"), "Addition of integer to non-number"},
      {"integer + span", scalarAdd, I(1), S(1), "Addition of integer to non-number"},
      {"real + date", scalarAdd, R(1), D(2019, 1), "Addition of real to non-number"},
      {"date + date", scalarAdd, D(2019, 1), D(2019, 1), "Addition of date to non-span"},
      {"date + integer", scalarAdd, D(2019, 1), I(1), "Addition of date to non-span"},
      {"span + integer", scalarAdd, S(1), I(1), "Addition of span to non-date-or-span"},
      {"string + integer", scalarAdd, Str("a"), I(1), "Addition to non-scalar"},
      {"nil + integer", scalarAdd, Nil(), I(1), "Addition to non-scalar"},
      {"integer - nil", scalarSubtract, I(1), Nil(), "Subtraction from integer of non-number"},
      {"real - span", scalarSubtract, R(1), S(1), "Subtraction from real of non-number"},
      {"date - integer", scalarSubtract, D(2019, 1), I(1), "Subtraction from date of non-span"},
      {"span - date", scalarSubtract, S(1), D(2019, 1), "Subtraction from span of non-span"},
      {"span - integer", scalarSubtract, S(1), I(1), "Subtraction from span of non-span"},
      {"symbol - integer", scalarSubtract, Sym("x"), I(1), "Subtraction from non-scalar"},
  };
  for (const ErrorCase& c : cases) expect_error(c);
}

TEST(ScalarDeathTest, MultiplicationAndRealPrimitiveMessages) {
  std::vector<ErrorCase> cases = {
      {"integer * span", scalarMultiply, I(2), S(1), "Multiplication of integer to non-number"},
      {"real * string", scalarMultiply, R(2), Str("a"), "Multiplication of real to non-number"},
      {"span * integer", scalarMultiply, S(1), I(2), "Multiplication to non-number"},
      {"date * integer", scalarMultiply, D(2019, 1), I(2), "Multiplication to non-number"},
      {"string * integer", scalarMultiply, Str("a"), I(2), "Multiplication to non-number"},
      {"integer / string", scalarDivide, I(1), Str("a"), "Division of non-numbers"},
      {"string / integer", scalarDivide, Str("a"), I(1), "Division of non-numbers"},
      {"span / span", scalarDivide, S(1), S(1), "Division of non-numbers"},
      {"integer ^ date", scalarPower, I(1), D(2019, 1), "Exponentiation of non-numbers"},
      {"nil ^ integer", scalarPower, Nil(), I(1), "Exponentiation of non-numbers"},
      {"min integer span", scalarMin, I(1), S(1), "Minimum of non-numbers"},
      {"min span integer", scalarMin, S(1), I(1), "Minimum of non-numbers"},
      {"max integer string", scalarMax, I(1), Str("a"), "Maximum of non-numbers"},
      {"max date integer", scalarMax, D(2019, 1), I(1), "Maximum of non-numbers"},
  };
  for (const ErrorCase& c : cases) expect_error(c);
}

// Equality of lists is deep equality, which has no rule for two distinct
// date cells.
TEST(ScalarDeathTest, EqualityOfListsHoldingDates) {
  Outcome o = run_fatal([] {
    scalarEqual(list1(D(2019, 1)), list1(D(2019, 1)), place());
  });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.err, "Unexpected tag\n");
}

}  // namespace
