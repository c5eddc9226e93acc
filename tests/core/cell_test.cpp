// Cells: the store, constructors and their positions, predicates, checked
// accessors, truth and booleans, and deep equality.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "core/cell.h"
#include "core/list.h"
#include "core/printer.h"
#include "core/reader.h"
#include "support/process.h"

namespace {

const char* SRC = "m.tal";
const char* THIS_FILE = "tests/core/cell_test.cpp";

void expect_position(const Cell* c, int line, int character, const std::string& file) {
  EXPECT_EQ(c->line, line);
  EXPECT_EQ(c->character, character);
  EXPECT_EQ(std::string(c->file), file);
}

TEST(CellTest, TagsKeepTheirNumbers) {
  EXPECT_EQ(static_cast<uint32_t>(nil()->tag), 0u);
  EXPECT_EQ(static_cast<uint32_t>(cons(nil(), nil())->tag), 1u);
  EXPECT_EQ(static_cast<uint32_t>(symbol("s")->tag), 2u);
  EXPECT_EQ(static_cast<uint32_t>(integer(1)->tag), 3u);
  EXPECT_EQ(static_cast<uint32_t>(real(1.0)->tag), 4u);
  EXPECT_EQ(static_cast<uint32_t>(string("s")->tag), 5u);
  EXPECT_EQ(static_cast<uint32_t>(date(1)->tag), 6u);
  EXPECT_EQ(static_cast<uint32_t>(span_source(1, 1, 1, SRC)->tag), 7u);
}

// A block is used from its last cell down, so cells of one block sit one
// below the other; the first cell of a new block breaks that run.
TEST(CellStoreTest, BlocksHold65536CellsAndOldCellsStayValid) {
  const Cell* previous = integer_source(-1, 1, 1, SRC);
  int made = 0;
  for (;;) {
    const Cell* c = integer_source(made, 1, 1, SRC);
    made++;
    if (c != previous - 1) {
      previous = c;
      break;
    }
    previous = c;
    ASSERT_LE(made, 65536) << "no new block after a whole block";
  }
  // `previous` is the first cell of a fresh block: 65535 more fit in it.
  std::vector<const Cell*> first_block;
  first_block.push_back(previous);
  for (int i = 1; i < 65536; i++) {
    const Cell* c = integer_source(i, 2, i, SRC);
    ASSERT_EQ(c, previous - 1) << "cell " << i << " left its block";
    first_block.push_back(c);
    previous = c;
  }
  const Cell* next = symbol_source("next", 3, 1, SRC);  // the 65537th
  EXPECT_NE(next, previous - 1);
  for (int i = 0; i < 1000; i++) symbol_source("more", 4, 1, SRC);
  for (int i = 1; i < 65536; i++) {
    ASSERT_EQ(integer_value(first_block[i]), i);
    ASSERT_EQ(first_block[i]->character, i);
  }
  EXPECT_STREQ(symbol_name(next), "next");
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
  EXPECT_STREQ(symbol_name(first(kept)), "a");
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

TEST(CellTest, ExplicitFormsStoreTheirPosition) {
  static const char* text = "abc";
  struct Case {
    const Cell* cell;
    CellTag tag;
  };
  const Case cases[] = {
      {nil_source(2, 3, SRC), CellTag::nil},
      {symbol_source(text, 2, 3, SRC), CellTag::symbol},
      {string_source(text, 2, 3, SRC), CellTag::string},
      {integer_source(-7, 2, 3, SRC), CellTag::integer},
      {real_source(2.5, 2, 3, SRC), CellTag::real},
      {date_source(24229, 2, 3, SRC), CellTag::date},
      {span_source(-5, 2, 3, SRC), CellTag::span},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.cell->tag, c.tag);
    expect_position(c.cell, 2, 3, SRC);
  }
  EXPECT_EQ(cases[1].cell->text, text);  // stored, not copied
  EXPECT_EQ(cases[2].cell->text, text);
  EXPECT_EQ(integer_value(cases[3].cell), -7);
  EXPECT_EQ(real_value(cases[4].cell), 2.5);
  EXPECT_EQ(date_value(cases[5].cell), 24229);
  EXPECT_EQ(span_value(cases[6].cell), -5);
}

TEST(CellTest, AtFormsCopyThePositionOfWhere) {
  const Cell* where = symbol_source("w", 9, 14, SRC);
  const Cell* cells[] = {symbol_at("s", where), string_at("s", where), integer_at(1, where),
                         real_at(1.0, where),   date_at(1, where),     span_at(1, where),
                         zero_at(where)};
  for (const Cell* c : cells) expect_position(c, 9, 14, SRC);
  const Cell* zero = zero_at(where);
  EXPECT_TRUE(is_integer(zero));
  EXPECT_EQ(integer_value(zero), 0);
}

TEST(CellTest, HereFormsRecordTheCallingPlace) {
  const int line = __LINE__ + 1;
  const Cell* cells[] = {nil(), symbol("s"), string("s"), integer(1), real(1), date(1), boolean(0)};
  for (const Cell* c : cells) expect_position(c, line, 0, THIS_FILE);
}

TEST(CellTest, ConsTakesTheHeadsPosition) {
  const Cell* h = symbol_source("h", 4, 5, "head.tal");
  const Cell* t = list1(symbol_source("t", 8, 9, "tail.tal"));
  const Cell* pair = cons(h, t);
  expect_position(pair, 4, 5, "head.tal");
  EXPECT_EQ(pair->pair.head, h);
  EXPECT_EQ(pair->pair.tail, t);
  expect_position(cons_source(h, t, 1, 2, "x.tal"), 1, 2, "x.tal");
  // A pair whose head is a pair takes that pair's (the inner head's) place.
  expect_position(cons(pair, t), 4, 5, "head.tal");
}

TEST(CellTest, TruthIsOneSharedIntegerZero) {
  const Cell* t = truth();
  EXPECT_EQ(truth(), t);
  EXPECT_TRUE(is_integer(t));
  EXPECT_EQ(integer_value(t), 0);
  expect_position(t, 0, 0, "");
  EXPECT_TRUE(is_true(t));
  EXPECT_FALSE(is_false(t));
  Outcome o = run_fatal([] { print_cell(truth()); });
  EXPECT_EQ(o.out, "0");
}

TEST(CellTest, BooleanGivesTruthOrAFreshNil) {
  EXPECT_EQ(boolean(5), truth());
  EXPECT_EQ(boolean(-1), truth());
  EXPECT_EQ(boolean(TRUE), truth());
  const Cell* no = boolean(0);
  EXPECT_TRUE(is_nil(no));
  EXPECT_NE(no, boolean(FALSE));
  EXPECT_EQ(TRUE, 1);
  EXPECT_EQ(FALSE, 0);
}

TEST(CellTest, ConversionsBetweenStringsAndSymbols) {
  const Cell* s = string_source("name", 3, 4, SRC);
  const Cell* sym = stringToSymbol(s);
  EXPECT_TRUE(is_symbol(sym));
  EXPECT_STREQ(symbol_name(sym), "name");
  expect_position(sym, 3, 4, SRC);
  const Cell* back = symbolToString(symbol_source("other", 5, 6, SRC));
  EXPECT_TRUE(is_string(back));
  EXPECT_STREQ(string_value(back), "other");
  expect_position(back, 5, 6, SRC);
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
}

TEST(CellTest, NamedAndEqualTextPredicates) {
  const Cell* sym = symbol("abc");
  const Cell* str = string("abc");
  EXPECT_TRUE(is_symbol_named(sym, "abc"));
  EXPECT_FALSE(is_symbol_named(sym, "ab"));
  EXPECT_FALSE(is_symbol_named(sym, "abcd"));
  EXPECT_FALSE(is_symbol_named(sym, "ABC"));
  EXPECT_FALSE(is_symbol_named(str, "abc"));
  EXPECT_FALSE(is_symbol_named(nil(), "abc"));
  EXPECT_TRUE(is_string_equal(str, "abc"));
  EXPECT_FALSE(is_string_equal(str, "ab"));
  EXPECT_FALSE(is_string_equal(sym, "abc"));
  EXPECT_FALSE(is_string_equal(integer(0), "0"));
  EXPECT_TRUE(is_string_equal(string(""), ""));
}

TEST(CellTest, AccessorsGiveThePayload) {
  const Cell* h = integer(1);
  const Cell* t = nil();
  const Cell* pair = cons(h, t);
  EXPECT_EQ(head(pair), h);
  EXPECT_EQ(tail(pair), t);
  EXPECT_STREQ(symbol_name(symbol("x")), "x");
  EXPECT_STREQ(string_value(string("y")), "y");
  EXPECT_EQ(real_value(real(-0.25)), -0.25);
  EXPECT_EQ(integer_value(integer(std::numeric_limits<int32_t>::min())),
            std::numeric_limits<int32_t>::min());
  EXPECT_EQ(date_value(date(12 * 2019 + 10)), 24238);
  EXPECT_EQ(span_value(span_at(12, h)), 12);
  EXPECT_EQ(to_real(integer(3)), 3.0);
  EXPECT_EQ(to_real(integer(-2147483647 - 1)), -2147483648.0);
  EXPECT_EQ(to_real(real(0.5)), 0.5);
}

// Each accessor reached with a wrong tag: the cell on stdout for the two
// that print it, then its position and the message on stderr.
TEST(CellDeathTest, AccessorsEndAtTheOffendingCell) {
  const Cell* sym = symbol_source("sym", 3, 7, SRC);
  const Cell* str = string_source("str", 4, 2, SRC);
  const Cell* num = integer_source(42, 5, 1, SRC);
  const Cell* dec = real_source(2.5, 6, 9, SRC);
  const Cell* pair = cons(integer_source(1, 7, 3, SRC), nil());
  const Cell* none = nil_source(8, 4, SRC);
  struct Case {
    const char* name;
    std::function<void()> call;
    std::string out;
    std::string err;
  };
  const Case cases[] = {
      {"head", [&] { head(sym); }, "sym\n", position(SRC, 3, 7) + "head of non-cons\n"},
      {"head", [&] { head(str); }, "\"str\"\n", position(SRC, 4, 2) + "head of non-cons\n"},
      {"tail", [&] { tail(num); }, "", position(SRC, 5, 1) + "tail of non-cons\n"},
      {"tail", [&] { tail(none); }, "", position(SRC, 8, 4) + "tail of non-cons\n"},
      {"symbol_name", [&] { symbol_name(str); }, "", position(SRC, 4, 2) + "name of non-symbol\n"},
      {"string_value", [&] { string_value(sym); }, "",
       position(SRC, 3, 7) + "value of non-string\n"},
      {"real_value", [&] { real_value(num); }, "", position(SRC, 5, 1) + "value of non-real\n"},
      {"integer_value", [&] { integer_value(dec); }, "2.500000\n",
       position(SRC, 6, 9) + "value of non-integer\n"},
      {"integer_value", [&] { integer_value(pair); }, "(1)\n",
       position(SRC, 7, 3) + "value of non-integer\n"},
      {"date_value", [&] { date_value(span_at(1, num)); }, "",
       position(SRC, 5, 1) + "value of non-date\n"},
      {"span_value", [&] { span_value(date_at(1, dec)); }, "",
       position(SRC, 6, 9) + "value of non-span\n"},
      {"to_real", [&] { to_real(str); }, "",
       position(SRC, 4, 2) + "cannot convert non-real to real\n"},
      {"to_real", [&] { to_real(date_at(1, sym)); }, "",
       position(SRC, 3, 7) + "cannot convert non-real to real\n"},
      {"stringToSymbol", [&] { stringToSymbol(sym); }, "",
       position(SRC, 3, 7) + "value of non-string\n"},
      {"symbolToString", [&] { symbolToString(str); }, "",
       position(SRC, 4, 2) + "name of non-symbol\n"},
  };
  for (const Case& c : cases) {
    Outcome o = run_fatal(c.call);
    EXPECT_EQ(o.status, 1) << c.name;
    EXPECT_EQ(o.out, c.out) << c.name;
    EXPECT_EQ(o.err, c.err) << c.name;
  }
}

// A nil that ends a list the system built carries the system's own place.
TEST(CellDeathTest, HeadOfAListEndPrintsTheNilThenItsOwnPlace) {
  const Cell* end = tail(list1(symbol("x")));
  ASSERT_TRUE(is_nil(end));
  EXPECT_STREQ(end->file, "core/list.cpp");
  EXPECT_EQ(end->character, 0);
  EXPECT_GT(end->line, 0);
  Outcome o = run_fatal([&] { head(end); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "()\n");
  EXPECT_EQ(o.err, position("core/list.cpp", end->line, 0) + "head of non-cons\n");
}

// The same for a list as read: its end is no character of the text.
TEST(CellDeathTest, HeadPastTheEndOfAReadList) {
  const Cell* read = parse("(a 1)");
  const Cell* a = head(read);
  EXPECT_EQ(a->line, 1);
  EXPECT_EQ(a->character, 2);
  EXPECT_STREQ(a->file, "(from string)");
  const Cell* end = tail(tail(read));
  ASSERT_TRUE(is_nil(end));
  EXPECT_EQ(end->character, 0);
  EXPECT_EQ(std::string(end->file).rfind("core/", 0), 0u) << end->file;
  Outcome o = run_fatal([&] { third(read); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "()\n");
  EXPECT_EQ(o.err, position(end->file, end->line, 0) + "head of non-cons\n");
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
      {"real 1.0 and integer 1", real(1.0), integer(1), FALSE},
      {"integers", integer_source(7, 1, 1, "a"), integer_source(7, 9, 9, "b"), TRUE},
      {"different integers", integer(7), integer(8), FALSE},
      {"reals", real(0.5), real(0.5), TRUE},
      {"zero and minus zero", real(0.0), real(-0.0), TRUE},
      {"different reals", real(0.5), real(0.25), FALSE},
      {"NaN and itself", nan, nan, TRUE},
      {"two NaNs", nan, real(std::nan("")), FALSE},
      {"NaN and a number", nan, real(1.0), FALSE},
      {"number and NaN", real(1.0), nan, FALSE},
      {"infinities", real(HUGE_VAL), real(HUGE_VAL), TRUE},
      {"symbols", symbol("ab"), symbol("ab"), TRUE},
      {"symbol prefix", symbol("ab"), symbol("abc"), FALSE},
      {"symbol and string", symbol("ab"), string("ab"), FALSE},
      {"strings", string("ab"), string("ab"), TRUE},
      {"different strings", string("ab"), string("aB"), FALSE},
      {"nils", nil(), nil_source(3, 3, "x"), TRUE},
      {"nil and integer 0", nil(), integer(0), FALSE},
      {"truth and integer 0", truth(), integer(0), TRUE},
      {"same date cell", d, d, TRUE},
      {"same span cell", s, s, TRUE},
      {"date and span", d, s, FALSE},
      {"date and integer", d, integer(5), FALSE},
      {"lists", list3(symbol("a"), integer(1), list1(string("s"))),
       list3(symbol_source("a", 5, 5, "o"), integer_source(1, 6, 6, "o"),
             list1(string_source("s", 7, 7, "o"))),
       TRUE},
      {"list and longer list", list2(integer(1), integer(2)),
       list3(integer(1), integer(2), integer(3)), FALSE},
      {"different improper tails", cons(integer(1), integer(2)), cons(integer(1), integer(3)),
       FALSE},
      {"equal improper tails", cons(integer(1), integer(2)), cons(integer(1), integer(2)), TRUE},
      {"nested", list1(list1(list1(nil()))), list1(list1(list1(nil()))), TRUE},
      {"nested differ", list1(list1(list1(nil()))), list1(list1(list1(integer(0)))), FALSE},
  };
  for (const Case& c : cases) EXPECT_EQ(equal(c.a, c.b), c.expected) << c.name;
}

// Heads are compared first: a differing head stops before a date pair is
// ever looked at.
TEST(CellTest, EqualComparesHeadsBeforeTails) {
  const Cell* a = list2(integer(1), date(5));
  const Cell* b = list2(integer(2), date(5));
  EXPECT_FALSE(equal(a, b));
}

TEST(CellDeathTest, DistinctDatesOrSpansHaveNoEquality) {
  struct Case {
    const char* name;
    const Cell* a;
    const Cell* b;
  };
  const Cell* d = date(5);
  const Case cases[] = {
      {"dates", d, date(5)},
      {"different dates", date(5), date(6)},
      {"spans", span_at(12, d), span_at(12, d)},
      {"dates inside lists", list2(integer(1), d), list2(integer(1), date(5))},
  };
  for (const Case& c : cases) {
    Outcome o = run_fatal([&] { equal(c.a, c.b); });
    EXPECT_EQ(o.status, 1) << c.name;
    EXPECT_EQ(o.out, "") << c.name;
    EXPECT_EQ(o.err, "Unexpected tag\n") << c.name;
  }
}

TEST(CellTest, DeepNestingInHeadsCompares) {
  const Cell* a = nil();
  const Cell* b = nil();
  for (int i = 0; i < 10000; i++) {
    a = list1(a);
    b = list1(b);
  }
  EXPECT_TRUE(equal(a, b));
}

}  // namespace
