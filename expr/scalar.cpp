#include "expr/scalar.h"

#include <cmath>
#include <cstdint>

#include "driver/diagnostics.h"

// Every primitive decides on the kind of the first operand first and looks
// at the second only within that case, so a message names the first
// operand's kind.

static int is_number(const Cell* c) {
  return is_integer(c) || is_real(c);
}

static double number_value(const Cell* c) {
  return is_integer(c) ? static_cast<double>(c->whole) : c->real;
}

// The low 32 bits of the exact result, computed in unsigned arithmetic so
// that overflow is defined.
static int32_t wrap_add(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

static int32_t wrap_subtract(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

static int32_t wrap_multiply(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// Comparison

int scalarEqual(const Cell* first, const Cell* second, const Cell* place) {
  switch (first->tag) {
    case CellTag::integer:
    case CellTag::real:
      if (is_integer(first) && is_integer(second)) return first->whole == second->whole;
      if (!is_number(second)) error_at(place, "Comparison of number to non-numbers");
      return number_value(first) == number_value(second);
    case CellTag::date:
      if (!is_date(second)) error_at(place, "Comparison of date to non-date");
      return first->whole == second->whole;
    case CellTag::span:
      if (!is_span(second)) error_at(place, "Comparison of span to non-span");
      return first->whole == second->whole;
    default:
      return equal(first, second);
  }
}

int scalarLess(const Cell* first, const Cell* second, const Cell* place) {
  switch (first->tag) {
    case CellTag::integer:
    case CellTag::real:
      if (is_integer(first) && is_integer(second)) return first->whole < second->whole;
      if (!is_number(second)) error_at(place, "Comparison of number to non-numbers");
      return number_value(first) < number_value(second);
    case CellTag::date:
      if (!is_date(second)) error_at(place, "Comparison of date to non-date");
      return first->whole < second->whole;
    case CellTag::span:
      if (!is_span(second)) error_at(place, "Comparison of span to non-span");
      return first->whole < second->whole;
    default:
      error_at(place, "Comparison of non-scalar");
  }
}

// Arithmetic

const Cell* scalarAdd(const Cell* first, const Cell* second, const Cell* place) {
  switch (first->tag) {
    case CellTag::integer:
      if (is_integer(second)) return integer_at(wrap_add(first->whole, second->whole), place);
      if (!is_real(second)) error_at(place, "Addition of integer to non-number");
      return real_at(number_value(first) + second->real, place);
    case CellTag::real:
      if (!is_number(second)) error_at(place, "Addition of real to non-number");
      return real_at(first->real + number_value(second), place);
    case CellTag::date:
      if (!is_span(second)) error_at(place, "Addition of date to non-span");
      return date_at(wrap_add(first->whole, second->whole), place);
    case CellTag::span:
      if (is_span(second)) return span_at(wrap_add(first->whole, second->whole), place);
      if (!is_date(second)) error_at(place, "Addition of span to non-date-or-span");
      return date_at(wrap_add(first->whole, second->whole), place);
    default:
      error_at(place, "Addition to non-scalar");
  }
}

const Cell* scalarSubtract(const Cell* first, const Cell* second, const Cell* place) {
  switch (first->tag) {
    case CellTag::integer:
      if (is_integer(second)) return integer_at(wrap_subtract(first->whole, second->whole), place);
      if (!is_real(second)) error_at(place, "Subtraction from integer of non-number");
      return real_at(number_value(first) - second->real, place);
    case CellTag::real:
      if (!is_number(second)) error_at(place, "Subtraction from real of non-number");
      return real_at(first->real - number_value(second), place);
    case CellTag::date:
      if (is_span(second)) return date_at(wrap_subtract(first->whole, second->whole), place);
      if (!is_date(second)) error_at(place, "Subtraction from date of non-span");
      return span_at(wrap_subtract(first->whole, second->whole), place);
    case CellTag::span:
      if (!is_span(second)) error_at(place, "Subtraction from span of non-span");
      return span_at(wrap_subtract(first->whole, second->whole), place);
    default:
      error_at(place, "Subtraction from non-scalar");
  }
}

const Cell* scalarMultiply(const Cell* first, const Cell* second, const Cell* place) {
  switch (first->tag) {
    case CellTag::integer:
      if (is_integer(second)) return integer_at(wrap_multiply(first->whole, second->whole), place);
      if (!is_real(second)) error_at(place, "Multiplication of integer to non-number");
      return real_at(number_value(first) * second->real, place);
    case CellTag::real:
      if (!is_number(second)) error_at(place, "Multiplication of real to non-number");
      return real_at(first->real * number_value(second), place);
    default:
      error_at(place, "Multiplication to non-number");
  }
}

// The four primitives that take two numbers as doubles and give a real.
static const Cell* real_operation(double (*operation)(double, double), const Cell* first,
                                  const Cell* second, const Cell* place, const char* message) {
  if (!is_number(first) || !is_number(second)) error_at(place, message);
  return real_at(operation(number_value(first), number_value(second)), place);
}

static double divide(double a, double b) { return a / b; }
static double power(double a, double b) { return std::pow(a, b); }
static double minimum(double a, double b) { return std::fmin(a, b); }
static double maximum(double a, double b) { return std::fmax(a, b); }

const Cell* scalarDivide(const Cell* first, const Cell* second, const Cell* place) {
  return real_operation(divide, first, second, place, "Division of non-numbers");
}

const Cell* scalarPower(const Cell* first, const Cell* second, const Cell* place) {
  return real_operation(power, first, second, place, "Exponentiation of non-numbers");
}

const Cell* scalarMin(const Cell* first, const Cell* second, const Cell* place) {
  return real_operation(minimum, first, second, place, "Minimum of non-numbers");
}

const Cell* scalarMax(const Cell* first, const Cell* second, const Cell* place) {
  return real_operation(maximum, first, second, place, "Maximum of non-numbers");
}
