// The scalar primitives: result kinds, wrap-around, comparisons and the
// message of each operand fault.
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
const Cell* place() { return symbol_source("+", 4, 9, "scalars.tal"); }

const Cell* I(int32_t v) { return integer_source(v, 1, 1, "a.tal"); }
const Cell* R(double v) { return real_source(v, 1, 2, "a.tal"); }
const Cell* D(int32_t year, int32_t month) { return date_source(12 * year + month, 1, 3, "a.tal"); }
const Cell* M(int32_t months) { return date_source(months, 1, 3, "a.tal"); }
const Cell* S(int32_t months) { return span_source(months, 1, 4, "a.tal"); }
const Cell* Str(const char* text) { return string_source(text, 1, 5, "a.tal"); }
const Cell* Sym(const char* name) { return symbol_source(name, 1, 6, "a.tal"); }
const Cell* Nil() { return nil_source(1, 7, "a.tal"); }

const double NaN = std::numeric_limits<double>::quiet_NaN();
const double Inf = std::numeric_limits<double>::infinity();
const int32_t MAX = std::numeric_limits<int32_t>::max();
const int32_t MIN = std::numeric_limits<int32_t>::min();

using Arithmetic = const Cell* (*)(const Cell*, const Cell*, const Cell*);

// Integer and month-count results are the low 32 bits of the exact result;
// division, power, minimum and maximum give reals also for two integers.
TEST(ScalarTest, ResultKindsAndValues) {
  struct Case {
    Arithmetic primitive;
    const Cell* first;
    const Cell* second;
    CellTag tag;
    double value;  // whole payloads compare exactly as doubles too
  } cases[] = {
      {scalarAdd, I(2), I(3), CellTag::integer, 5},
      {scalarAdd, I(2), R(0.5), CellTag::real, 2.5},
      {scalarAdd, D(2019, 10), S(15), CellTag::date, 12 * 2021 + 1},
      {scalarSubtract, R(0.5), I(2), CellTag::real, -1.5},
      {scalarSubtract, D(2019, 10), D(2020, 1), CellTag::span, -3},
      {scalarDivide, I(7), I(2), CellTag::real, 3.5},
      {scalarDivide, I(0), I(0), CellTag::real, NaN},
      {scalarPower, I(2), I(-1), CellTag::real, 0.5},
      {scalarMin, R(NaN), I(3), CellTag::real, 3.0},
      {scalarMax, R(NaN), I(3), CellTag::real, 3.0},
      {scalarAdd, I(MAX), I(1), CellTag::integer, MIN},
      {scalarMultiply, I(65537), I(65537), CellTag::integer, 131073},
      {scalarAdd, M(MAX), S(1), CellTag::date, MIN},
      {scalarSubtract, M(MIN), M(1), CellTag::span, MAX},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - cases);
    const Cell* result = c.primitive(c.first, c.second, place());
    ASSERT_EQ(result->tag, c.tag);
    if (c.tag != CellTag::real) {
      EXPECT_EQ(result->whole, static_cast<int32_t>(c.value));
    } else if (std::isnan(c.value)) {
      EXPECT_TRUE(std::isnan(result->real));
    } else {
      EXPECT_EQ(result->real, c.value);
    }
    // A fresh cell at the place, not at an operand.
    EXPECT_EQ(result->line, 4);
    EXPECT_EQ(result->character, 9);
    EXPECT_STREQ(result->file, "scalars.tal");
  }
}

// A non-scalar first operand makes equality deep equality, whatever the
// second operand is.
TEST(ScalarTest, ComparisonTable) {
  struct Case {
    const Cell* first;
    const Cell* second;
    bool equal, less;
  } cases[] = {
      {I(1), I(2), false, true},        {I(2), I(1), false, false},
      {I(-1), I(1), false, true},       {I(1), R(1.0), true, false},
      {R(0.5), I(1), false, true},      {I(1), R(NaN), false, false},
      {R(NaN), R(NaN), false, false},   {D(2019, 10), D(2019, 10), true, false},
      {D(2019, 10), D(2020, 1), false, true}, {S(-3), S(2), false, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - cases);
    EXPECT_EQ(scalarEqual(c.first, c.second, place()) != 0, c.equal);
    EXPECT_EQ(scalarLess(c.first, c.second, place()) != 0, c.less);
  }
  struct Deep {
    const Cell* first;
    const Cell* second;
    bool equal;
  } deep[] = {
      {Str("a"), Str("a"), true},   {Str("a"), Str("b"), false},
      {Sym("x"), Str("x"), false},  {Nil(), I(0), false},
      {list2(Sym("a"), I(1)), list2(symbol("a"), integer(1)), true},
  };
  for (const Deep& c : deep) {
    EXPECT_EQ(scalarEqual(c.first, c.second, place()) != 0, c.equal) << (&c - deep);
  }
}

const Cell* equal_cell(const Cell* a, const Cell* b, const Cell* p) {
  return boolean(scalarEqual(a, b, p));
}

const Cell* less_cell(const Cell* a, const Cell* b, const Cell* p) {
  return boolean(scalarLess(a, b, p));
}

TEST(ScalarDeathTest, EachOperandFaultHasItsMessage) {
  struct Case {
    Arithmetic primitive;
    const Cell* first;
    const Cell* second;
    const char* message;
  } cases[] = {
      {equal_cell, I(1), Str("a"), "Comparison of number to non-numbers"},
      {equal_cell, D(2019, 1), S(1), "Comparison of date to non-date"},
      {equal_cell, S(1), R(1), "Comparison of span to non-span"},
      {less_cell, Str("a"), Str("b"), "Comparison of non-scalar"},
      {less_cell, Nil(), I(1), "Comparison of non-scalar"},
      {scalarAdd, I(1), S(1), "Addition of integer to non-number"},
      {scalarAdd, R(1), D(2019, 1), "Addition of real to non-number"},
      {scalarAdd, D(2019, 1), D(2019, 1), "Addition of date to non-span"},
      {scalarAdd, S(1), I(1), "Addition of span to non-date-or-span"},
      {scalarAdd, Nil(), I(1), "Addition to non-scalar"},
      {scalarSubtract, I(1), Nil(), "Subtraction from integer of non-number"},
      {scalarSubtract, R(1), S(1), "Subtraction from real of non-number"},
      {scalarSubtract, D(2019, 1), I(1), "Subtraction from date of non-span"},
      {scalarSubtract, S(1), D(2019, 1), "Subtraction from span of non-span"},
      {scalarSubtract, Sym("x"), I(1), "Subtraction from non-scalar"},
      {scalarMultiply, I(2), S(1), "Multiplication of integer to non-number"},
      {scalarMultiply, R(2), Str("a"), "Multiplication of real to non-number"},
      {scalarMultiply, D(2019, 1), I(2), "Multiplication to non-number"},
      {scalarDivide, I(1), Str("a"), "Division of non-numbers"},
      {scalarPower, Nil(), I(1), "Exponentiation of non-numbers"},
      {scalarMin, I(1), S(1), "Minimum of non-numbers"},
      {scalarMax, D(2019, 1), I(1), "Maximum of non-numbers"},
  };
  for (const Case& c : cases) {
    Outcome o = run_fatal([&] { c.primitive(c.first, c.second, place()); });
    EXPECT_EQ(o.status, 1) << c.message;
    EXPECT_EQ(o.out, "") << c.message;
    EXPECT_EQ(o.err, position("scalars.tal", 4, 9) + c.message + "\n");
  }
  // Deep equality of lists has no rule for two distinct date cells.
  Outcome o = run_fatal([] { scalarEqual(list1(D(2019, 1)), list1(D(2019, 1)), place()); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, "Unexpected tag\n");
}

}  // namespace
