// The printer: every tag, dates and spans by month count, list shapes,
// the four entry points and the stream they write to.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>

#include "core/cell.h"
#include "core/list.h"
#include "core/printer.h"
#include "support/cells.h"
#include "support/process.h"

namespace {

const Cell* sym(const char* name) { return symbol(name); }

TEST(PrinterTest, AtomsAndLists) {
  const Cell* a = sym("a");
  const Cell* b = sym("b");
  struct Case {
    const Cell* cell;
    const char* expected;
  };
  const Case cases[] = {
      {nil(), "()"},
      {sym("premium_paying"), "premium_paying"},
      {string("abc"), "\"abc\""},
      {string("a\"b"), "\"a\"b\""},
      {integer(0), "0"},
      {integer(std::numeric_limits<int32_t>::min()), "-2147483648"},
      {truth(), "0"},
      {real(0.1 + 0.2), "0.300000"},
      {real(0.0000004), "0.000000"},
      {real(0.0000005000001), "0.000001"},
      {real(1e10), "10000000000.000000"},
      {list3(a, nil(), b), "(a () b)"},
      {cons(a, b), "(a . b)"},
      {cons(a, cons(b, string("c"))), "(a b . \"c\")"},
      {acons(a, integer(1), acons(sym("k"), sym("v"), nil())), "((a . 1) (k . v))"},
      {list2(list2(a, list1(b)), list1(list1(nil()))), "((a (b)) ((())))"},
      {cons(list1(a), list1(b)), "((a) b)"},
      {list3(date(12 * 2019 + 10), span_at(12, a), truth()), "(date-2019-10 span-0-12 0)"},
  };
  for (const Case& c : cases) EXPECT_EQ(printed(c.cell), c.expected);
}

// Year and month come from (count - 1) with C's truncating division, so the
// month runs from 1 to 12 and year * 12 + month gives the count back.
TEST(PrinterTest, DatesAndSpansByMonthCount) {
  struct Case {
    int32_t count;
    const char* date;
    const char* span;
  };
  const Case cases[] = {
      {12 * 2019 + 10, "date-2019-10", "span-2019-10"},
      {12 * 2020 + 1, "date-2020-01", "span-2020-01"},
      {0, "date-0-00", "span-0-00"},
      {12, "date-0-12", "span-0-12"},
      {13, "date-1-01", "span-1-01"},
      {-12, "date--1-00", "span--1-00"},
      {-13, "date--1--1", "span--1--1"},
      {std::numeric_limits<int32_t>::max(), "date-178956970-07", "span-178956970-07"},
      {std::numeric_limits<int32_t>::min(), "date--178956970--8", "span--178956970--8"},
  };
  const Cell* where = sym("w");
  for (const Case& c : cases) {
    EXPECT_EQ(printed(date(c.count)), c.date) << c.count;
    EXPECT_EQ(printed(span_at(c.count, where)), c.span) << c.count;
  }
}

TEST(PrinterTest, EntryPointsAndStreams) {
  const Cell* list = list2(sym("x"), integer(1));
  Outcome o = run_fatal([&] {
    print_cell(list);
    print_cell(nil());
    print_cell_line(list);
    print_cell_line(string("s"));
    write_cell(stderr, sym("to_err"));
    write_cell_line(stderr, list);
  });
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.out, "(x 1)()(x 1)\n\"s\"\n");
  EXPECT_EQ(o.err, "to_err(x 1)\n");
}

TEST(PrinterDeathTest, UnknownTagEnds) {
  Outcome o = run_fatal([] {
    Cell odd{};
    odd.tag = static_cast<CellTag>(8);
    odd.file = "";
    print_cell(list2(sym("before"), &odd));
  });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "(before ");
  EXPECT_EQ(o.err, "Unknown type\n");
}

// Long lists print in a loop and deep nesting recurses only on heads.
TEST(PrinterTest, LongAndDeepLists) {
  const Cell* list = nil();
  for (int i = 0; i < 100000; i++) list = cons(sym("e"), list);
  std::string text = printed(list);
  EXPECT_EQ(text.size(), 2u * 100000 + 1);
  EXPECT_EQ(text.substr(0, 5), "(e e ");
  EXPECT_EQ(text.substr(text.size() - 5), " e e)");

  const Cell* deep = nil();
  for (int i = 0; i < 5000; i++) deep = list1(deep);
  EXPECT_EQ(printed(deep), std::string(5000, '(') + "()" + std::string(5000, ')'));
}

}  // namespace
