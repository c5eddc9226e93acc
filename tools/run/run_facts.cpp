#include "tools/run/run_facts.h"

#include <cstdio>

const char* const DISCOUNTING_RULE =
    "The cashflow of month t (t = 0 is the month of the valuation date) is divided by "
    "(1 + y(t)/100)^(t/12), where y(t) is the portfolio's yield curve in percent a year read at "
    "month t; the reserve of a pair is the sum of these over the 1440 months. Month 0 is not "
    "discounted.";

std::string calendar_month(int month_count) {
  if (month_count < 0) return "";
  int zero_based = month_count - 1;
  char text[32];
  snprintf(text, sizeof text, "%04d-%02d", zero_based / 12, zero_based % 12 + 1);
  return text;
}
