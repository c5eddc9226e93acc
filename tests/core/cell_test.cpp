// Cells: the store, positions of what the constructors make, predicates,
// checked accessors and deep equality.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <functional>
#include <string>

#include "core/cell.h"
#include "core/list.h"
#include "core/reader.h"
#include "support/fatal_cases.h"
#include "support/process.h"

namespace {

const char* SRC = "m.tal";

void expect_position(const Cell* c, int line, int character, const std::string& file) {
  EXPECT_EQ(c->line, line);
  EXPECT_EQ(c->character, character);
  EXPECT_EQ(std::string(c->file), file);
}

// Cells made after a mark are made again at the same places once released,
// across blocks; older cells keep their values, and truth, outside the
// store, outlives any release.
TEST(CellStoreTest, ReleasedCellsAreMadeAgain) {
  const Cell* older = integer_source(7, 1, 1, SRC);
  CellMark mark = mark_cells();
  const Cell* first = integer_source(1, 1, 1, SRC);
  const Cell* t = truth();
  const int count = 3 * 65536 + 5;
  const Cell* last = first;
  for (int i = 0; i < count; i++) last = symbol_source("scratch", 2, 1, SRC);
  release_cells(mark);
  EXPECT_EQ(integer_source(2, 1, 1, SRC), first);
  const Cell* again = first;
  for (int i = 0; i < count; i++) again = integer_source(i, 3, 1, SRC);
  EXPECT_EQ(again, last) << "the released blocks serve again in the same order";
  EXPECT_EQ(integer_value(older), 7);
  EXPECT_EQ(truth(), t);
  EXPECT_EQ(integer_value(truth()), 0);
}

TEST(CellStoreTest, MarksNestAndReleaseInnermostFirst) {
  CellMark outer = mark_cells();
  const Cell* made_first = integer_source(0, 1, 1, SRC);
  const Cell* kept = list2(symbol_source("a", 1, 1, SRC), integer_source(1, 1, 2, SRC));
  CellMark inner = mark_cells();
  const Cell* scratch = cons(kept, kept);
  for (int i = 0; i < 70000; i++) cons(kept, kept);
  release_cells(inner);
  EXPECT_EQ(length(kept), 2);
  EXPECT_EQ(integer_value(second(kept)), 1);
  EXPECT_EQ(integer_source(5, 1, 1, SRC), scratch) << "the inner scratch is made again";
  release_cells(outer);
  EXPECT_EQ(symbol_source("b", 1, 1, SRC), made_first) << "and then the outer";
}

#if !defined(__SANITIZE_ADDRESS__)
TEST(CellStoreDeathTest, FailedBlockNamesItsLabel) {
  Outcome o = run_fatal([] {
    rlimit limit{};
    getrlimit(RLIMIT_AS, &limit);
    limit.rlim_cur = 512u << 20;
    setrlimit(RLIMIT_AS, &limit);
    for (long i = 0; i < 1000L * 65536; i++) nil_source(1, 1, SRC);
  });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.err, "malloc(cells): Cannot allocate memory\n");
}
#endif

// Here-forms record talvon's own file and line, at-forms copy a cell's
// place, a pair takes its head's place, conversions keep the place.
TEST(CellTest, ConstructorsRecordTheirPlace) {
  const int line = __LINE__ + 1;
  const Cell* here[] = {nil(), symbol("s"), string("s"), integer(1), real(1), date(1), boolean(0)};
  for (const Cell* c : here) expect_position(c, line, 0, "tests/core/cell_test.cpp");
  const Cell* where = symbol_source("w", 9, 14, SRC);
  const Cell* at[] = {symbol_at("s", where), string_at("s", where), integer_at(1, where),
                      real_at(1.0, where),   date_at(1, where),     span_at(1, where),
                      zero_at(where),        stringToSymbol(string_at("n", where)),
                      symbolToString(where)};
  for (const Cell* c : at) expect_position(c, 9, 14, SRC);
  const Cell* h = symbol_source("h", 4, 5, "head.tal");
  const Cell* pair = cons(h, list1(symbol_source("t", 8, 9, "tail.tal")));
  expect_position(pair, 4, 5, "head.tal");
  expect_position(cons(pair, nil()), 4, 5, "head.tal");
  expect_position(truth(), 0, 0, "");
}

TEST(CellTest, BooleanGivesTheSharedTruthOrAFreshNil) {
  EXPECT_EQ(boolean(-1), truth());
  EXPECT_EQ(boolean(TRUE), truth());
  EXPECT_TRUE(is_true(truth()));
  const Cell* no = boolean(0);
  EXPECT_TRUE(is_nil(no));
  EXPECT_NE(no, boolean(FALSE));
}

// Every predicate against one cell of every tag, and the integer 0 read
// from a script, which is true like every cell that is not nil.
TEST(CellTest, Predicates) {
  struct Case {
    const Cell* cell;
    const char* expected;  // nil false true cons atom symbol string real integer date span
  };
  const Case cases[] = {
      {nil_source(1, 1, SRC), "11001000000"},
      {cons(integer(1), nil()), "00110000000"},
      {symbol_source("s", 1, 1, SRC), "00101100000"},
      {string_source("s", 1, 1, SRC), "00101010000"},
      {real_source(0.0, 1, 1, SRC), "00101001000"},
      {integer_source(0, 1, 1, SRC), "00101000100"},
      {date_source(0, 1, 1, SRC), "00101000010"},
      {span_source(0, 1, 1, SRC), "00101000001"},
  };
  for (const Case& c : cases) {
    const Cell* x = c.cell;
    std::string got;
    for (int flag : {is_nil(x), is_false(x), is_true(x), is_cons(x), is_atom(x), is_symbol(x),
                     is_string(x), is_real(x), is_integer(x), is_date(x), is_span(x)}) {
      got += flag ? '1' : '0';
    }
    EXPECT_EQ(got, c.expected) << "tag " << static_cast<int>(x->tag);
  }
  EXPECT_TRUE(is_symbol_named(symbol("abc"), "abc"));
  EXPECT_FALSE(is_symbol_named(symbol("abc"), "ab"));
  EXPECT_FALSE(is_symbol_named(string("abc"), "abc"));
  EXPECT_TRUE(is_string_equal(string("abc"), "abc"));
  EXPECT_FALSE(is_string_equal(string("abc"), "abcd"));
  EXPECT_FALSE(is_string_equal(symbol("abc"), "abc"));
  EXPECT_EQ(to_real(integer(-2147483647 - 1)), -2147483648.0);
}

// Each accessor reached with a wrong tag: the cell on stdout for the two
// that print it, then its position and the message on stderr.
TEST(CellDeathTest, AccessorsEndAtTheOffendingCell) {
  const Cell* sym = symbol_source("sym", 3, 7, SRC);
  const Cell* str = string_source("str", 4, 2, SRC);
  const Cell* num = integer_source(42, 5, 1, SRC);
  const Cell* dec = real_source(2.5, 6, 9, SRC);
  const Cell* pair = cons(integer_source(1, 7, 3, SRC), nil());
  expect_fatal_cases({
      {"head", [&] { head(str); }, 1, "\"str\"\n", position(SRC, 4, 2) + "head of non-cons\n"},
      {"tail", [&] { tail(num); }, 1, "", position(SRC, 5, 1) + "tail of non-cons\n"},
      {"symbol_name", [&] { symbol_name(str); }, 1, "", position(SRC, 4, 2) + "name of non-symbol\n"},
      {"string_value", [&] { string_value(sym); }, 1, "",
       position(SRC, 3, 7) + "value of non-string\n"},
      {"real_value", [&] { real_value(num); }, 1, "", position(SRC, 5, 1) + "value of non-real\n"},
      {"integer_value", [&] { integer_value(dec); }, 1, "2.500000\n",
       position(SRC, 6, 9) + "value of non-integer\n"},
      {"integer_value", [&] { integer_value(pair); }, 1, "(1)\n",
       position(SRC, 7, 3) + "value of non-integer\n"},
      {"date_value", [&] { date_value(span_at(1, num)); }, 1, "",
       position(SRC, 5, 1) + "value of non-date\n"},
      {"span_value", [&] { span_value(date_at(1, dec)); }, 1, "",
       position(SRC, 6, 9) + "value of non-span\n"},
      {"to_real", [&] { to_real(date_at(1, sym)); }, 1, "",
       position(SRC, 3, 7) + "cannot convert non-real to real\n"},
      {"stringToSymbol", [&] { stringToSymbol(sym); }, 1, "",
       position(SRC, 3, 7) + "value of non-string\n"},
  });
}

// The nil that ends a list, built or read, carries the system's own place.
TEST(CellDeathTest, HeadPastTheEndOfAListNamesTheSystemsPlace) {
  for (const Cell* list : {list1(symbol("x")), parse("(a 1)")}) {
    const Cell* end = list;
    while (is_cons(end)) end = tail(end);
    EXPECT_EQ(std::string(end->file).rfind("core/", 0), 0u) << end->file;
    EXPECT_EQ(end->character, 0);
    Outcome o = run_fatal([&] { nth(length(list), list); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "()\n");
    EXPECT_EQ(o.err, position(end->file, end->line, 0) + "head of non-cons\n");
  }
}

TEST(CellTest, EqualIgnoresPositionsAndComparesPayloads) {
  const Cell* nan = real(std::nan(""));
  const Cell* d = date(5);
  const Cell* s = span_at(5, d);
  struct Case {
    const char* name;
    const Cell* a;
    const Cell* b;
    int expected;
  };
  const Case cases[] = {
      {"integer 1 and real 1.0", integer(1), real(1.0), FALSE},
      {"integers", integer_source(7, 1, 1, "a"), integer_source(7, 9, 9, "b"), TRUE},
      {"zero and minus zero", real(0.0), real(-0.0), TRUE},
      {"NaN and itself", nan, nan, TRUE},
      {"two NaNs", nan, real(std::nan("")), FALSE},
      {"symbol prefix", symbol("ab"), symbol("abc"), FALSE},
      {"different strings", string("ab"), string("aB"), FALSE},
      {"nil and integer 0", nil(), integer(0), FALSE},
      {"truth and integer 0", truth(), integer(0), TRUE},
      {"same date cell", d, d, TRUE},
      {"date and span", d, s, FALSE},
      {"lists", list2(symbol("a"), list1(string("s"))),
       list2(symbol_source("a", 5, 5, "o"), list1(string_source("s", 7, 7, "o"))), TRUE},
      {"list and longer list", list2(integer(1), integer(2)),
       list3(integer(1), integer(2), integer(3)), FALSE},
      {"different improper tails", cons(integer(1), integer(2)), cons(integer(1), integer(3)),
       FALSE},
      {"nested differ", list1(list1(nil())), list1(list1(integer(0))), FALSE},
      // heads first: a differing head stops before the dates are compared
      {"heads before tails", list2(integer(1), date(5)), list2(integer(2), date(5)), FALSE},
  };
  for (const Case& c : cases) EXPECT_EQ(equal(c.a, c.b), c.expected) << c.name;

  const Cell* a = nil();
  const Cell* b = nil();
  for (int i = 0; i < 10000; i++) {
    a = list1(a);
    b = list1(b);
  }
  EXPECT_TRUE(equal(a, b));
}

TEST(CellDeathTest, DistinctDatesOrSpansHaveNoEquality) {
  const Cell* d = date(5);
  const Cell* in_lists = list2(integer(1), span_at(1, d));
  expect_fatal_cases({
      {"dates", [&] { equal(d, date(5)); }, 1, "", "Unexpected tag\n"},
      {"spans in lists", [&] { equal(in_lists, list2(integer(1), span_at(1, d))); }, 1, "",
       "Unexpected tag\n"},
  });
}

}  // namespace
