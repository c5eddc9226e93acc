// Lists and association lists: builders, access, sets, lookups, updates,
// their failures, and lists far longer than any stack could recurse over.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "core/cell.h"
#include "core/list.h"
#include "core/printer.h"
#include "support/cells.h"
#include "support/process.h"

namespace {

const char* SRC = "l.tal";

const Cell* sym(const char* name) { return symbol(name); }
const Cell* num(int value) { return integer(value); }

// The list of one-letter symbols spelled by `letters`.
const Cell* letters(const char* letters) {
  static char names[26][2];
  const Cell* list = nil();
  for (int i = static_cast<int>(strlen(letters)); i-- > 0;) {
    char* name = names[letters[i] - 'a'];
    name[0] = letters[i];
    list = cons(symbol(name), list);
  }
  return list;
}

void expect_own_nil(const Cell* c) {
  ASSERT_TRUE(is_nil(c));
  EXPECT_STREQ(c->file, "core/list.cpp");
  EXPECT_EQ(c->character, 0);
}

const Cell* last_tail(const Cell* list) {
  while (is_cons(list)) list = list->pair.tail;
  return list;
}

TEST(ListTest, BuildersKeepOrderAndEndInTheirOwnNil) {
  const Cell* a = sym("a");
  const Cell* b = sym("b");
  const Cell* c = sym("c");
  const Cell* d = sym("d");
  const Cell* e = sym("e");
  const Cell* f = sym("f");
  const Cell* g = sym("g");
  const Cell* h = sym("h");
  const Cell* i = sym("i");
  const Cell* lists[] = {list1(a),
                         list2(a, b),
                         list3(a, b, c),
                         list4(a, b, c, d),
                         list5(a, b, c, d, e),
                         list6(a, b, c, d, e, f),
                         list7(a, b, c, d, e, f, g),
                         list8(a, b, c, d, e, f, g, h),
                         list9(a, b, c, d, e, f, g, h, i)};
  const char* expected[] = {"(a)",           "(a b)",           "(a b c)",
                            "(a b c d)",     "(a b c d e)",     "(a b c d e f)",
                            "(a b c d e f g)", "(a b c d e f g h)", "(a b c d e f g h i)"};
  for (int n = 0; n < 9; n++) {
    EXPECT_EQ(printed(lists[n]), expected[n]);
    EXPECT_EQ(first(lists[n]), a);
    EXPECT_EQ(length(lists[n]), n + 1);
    expect_own_nil(last_tail(lists[n]));
  }
}

TEST(ListTest, NthAndFirstToTenth) {
  const Cell* list = letters("abcdefghij");
  const Cell* (*const getters[])(const Cell*) = {first,   second, third,  fourth, fifth,
                                                 sixth,   seventh, eighth, ninth,  tenth};
  for (int n = 0; n < 10; n++) {
    const Cell* expected = nth(n, list);
    EXPECT_EQ(std::string(symbol_name(expected)), std::string(1, static_cast<char>('a' + n)));
    EXPECT_EQ(getters[n](list), expected);
  }
  const Cell* x = sym("x");
  EXPECT_EQ(first(list1(x)), x);
}

TEST(ListDeathTest, ShortListsEndWhereTheyRanOut) {
  const Cell* one = list1(symbol_source("x", 2, 3, SRC));
  const Cell* end = tail(one);
  const std::string at_end = position(end->file, end->line, 0);
  struct Case {
    const char* name;
    std::function<void()> call;
    std::string out;
    std::string err;
  };
  const Case cases[] = {
      {"second", [&] { second(one); }, "()\n", at_end + "head of non-cons\n"},
      {"third", [&] { third(one); }, "", at_end + "tail of non-cons\n"},
      {"tenth", [&] { tenth(one); }, "", at_end + "tail of non-cons\n"},
      {"nth 1 of an improper list", [&] { nth(1, cons(num(1), integer_source(5, 4, 4, SRC))); },
       "5\n", position(SRC, 4, 4) + "head of non-cons\n"},
      {"first of an atom", [&] { first(symbol_source("atom", 6, 1, SRC)); }, "atom\n",
       position(SRC, 6, 1) + "head of non-cons\n"},
  };
  for (const Case& c : cases) {
    Outcome o = run_fatal(c.call);
    EXPECT_EQ(o.status, 1) << c.name;
    EXPECT_EQ(o.out, c.out) << c.name;
    EXPECT_EQ(o.err, c.err) << c.name;
  }
}

TEST(ListTest, LengthCountsOnlyPairs) {
  EXPECT_EQ(length(nil()), 0);
  EXPECT_EQ(length(num(5)), 0);
  EXPECT_EQ(length(letters("abc")), 3);
  EXPECT_EQ(length(cons(sym("a"), cons(sym("b"), num(5)))), 2);
  EXPECT_EQ(length(list2(nil(), nil())), 2);
}

TEST(ListTest, AppendCopiesTheFirstAndSharesTheSecond) {
  const Cell* a = letters("ab");
  const Cell* b = letters("cd");
  const Cell* joined = append(a, b);
  EXPECT_EQ(printed(joined), "(a b c d)");
  EXPECT_EQ(tail(tail(joined)), b);
  EXPECT_NE(joined, a);
  EXPECT_EQ(printed(a), "(a b)");  // unchanged
  EXPECT_EQ(first(joined), first(a));
  EXPECT_EQ(append(nil(), b), b);
  EXPECT_EQ(append(num(7), b), b);
  const Cell* improper = cons(sym("a"), num(5));
  EXPECT_EQ(printed(append(improper, b)), "(a c d)");
  EXPECT_EQ(printed(append(a, num(5))), "(a b . 5)");
}

TEST(ListTest, RevappendAndReverse) {
  const Cell* b = letters("xy");
  const Cell* pushed = revappend(letters("abc"), b);
  EXPECT_EQ(printed(pushed), "(c b a x y)");
  EXPECT_EQ(tail(tail(tail(pushed))), b);
  EXPECT_EQ(revappend(nil(), b), b);
  const Cell* list = letters("abc");
  const Cell* reversed = reverse(list);
  EXPECT_EQ(printed(reversed), "(c b a)");
  EXPECT_EQ(printed(list), "(a b c)");
  expect_own_nil(last_tail(reversed));
  expect_own_nil(reverse(nil()));
  EXPECT_EQ(printed(reverse(cons(sym("a"), cons(sym("b"), num(5))))), "(b a)");
}

TEST(ListTest, SetOperations) {
  const Cell* ab = letters("ab");
  EXPECT_TRUE(member(ab, sym("b")));
  EXPECT_FALSE(member(ab, sym("c")));
  EXPECT_FALSE(member(nil(), nil()));
  EXPECT_TRUE(member(list1(list1(num(1))), list1(num(1))));  // by equal
  EXPECT_FALSE(member(list1(num(1)), real(1.0)));
  EXPECT_FALSE(member(cons(sym("a"), sym("b")), sym("b")));  // the tail is no element

  EXPECT_EQ(adjoin(ab, sym("a")), ab);
  const Cell* more = adjoin(ab, sym("c"));
  EXPECT_EQ(printed(more), "(c a b)");
  EXPECT_EQ(tail(more), ab);

  struct Case {
    const char* a;
    const char* b;
    int subset_ab;
    int same;
  };
  const Case cases[] = {
      {"", "", TRUE, TRUE},        {"", "ab", TRUE, FALSE},     {"ab", "ba", TRUE, TRUE},
      {"aab", "ab", TRUE, TRUE},   {"abc", "ab", FALSE, FALSE}, {"ab", "abc", TRUE, FALSE},
      {"ab", "cd", FALSE, FALSE},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(subset(letters(c.a), letters(c.b)), c.subset_ab) << c.a << " in " << c.b;
    EXPECT_EQ(same_elements(letters(c.a), letters(c.b)), c.same) << c.a << " ~ " << c.b;
  }
}

TEST(ListTest, RemoveFirstAndListDifference) {
  const Cell* aba = letters("aba");
  const Cell* removed = remove_first(aba, sym("a"));
  EXPECT_EQ(printed(removed), "(b a)");
  EXPECT_EQ(removed, tail(aba));  // nothing before it: the rest is shared

  const Cell* abcd = letters("abcd");
  const Cell* without_b = remove_first(abcd, sym("b"));
  EXPECT_EQ(printed(without_b), "(a c d)");
  EXPECT_NE(without_b, abcd);
  EXPECT_EQ(tail(without_b), tail(tail(abcd)));
  EXPECT_EQ(printed(abcd), "(a b c d)");

  const Cell* copy = remove_first(abcd, sym("z"));
  EXPECT_EQ(printed(copy), "(a b c d)");
  EXPECT_NE(copy, abcd);
  expect_own_nil(last_tail(copy));
  EXPECT_EQ(printed(remove_first(cons(sym("a"), num(5)), sym("z"))), "(a)");
  EXPECT_TRUE(is_nil(remove_first(nil(), sym("a"))));

  struct Case {
    const char* a;
    const char* b;
    const char* expected;
  };
  const Case cases[] = {
      {"abac", "aa", "(b c)"}, {"abac", "a", "(b a c)"}, {"abc", "", "(a b c)"},
      {"abc", "zb", "(a c)"}, {"ab", "abab", "()"},     {"", "a", "()"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(printed(list_difference(letters(c.a), letters(c.b))), c.expected)
        << c.a << " - " << c.b;
  }
  const Cell* kept = letters("ab");
  EXPECT_EQ(list_difference(kept, nil()), kept);
}

TEST(AlistTest, LookupsFindTheFirstMatch) {
  const Cell* r1 = sym("r1");
  const Cell* r2 = sym("r2");
  const Cell* i1 = num(1);
  const Cell* i2 = num(2);
  const Cell* list = acons(r1, i1, acons(r2, i2, nil()));
  EXPECT_EQ(printed(list), "((r1 . 1) (r2 . 2))");
  EXPECT_EQ(aget(list, r1), i1);
  EXPECT_EQ(aget(list, sym("r2")), i2);  // by equal, not by cell
  EXPECT_TRUE(is_nil(aget(list, sym("r3"))));
  expect_own_nil(aget(nil(), r1));

  const Cell* hidden = acons(sym("r2"), num(9), list);
  EXPECT_EQ(integer_value(aget(hidden, r2)), 9);
  EXPECT_EQ(length(hidden), 3);

  const Cell* fallback = num(-1);
  EXPECT_EQ(aget_default(fallback, list, r2), i2);
  EXPECT_EQ(aget_default(fallback, list, sym("r3")), fallback);
  EXPECT_EQ(aget_strict(list, sym("r1")), i1);
  EXPECT_TRUE(ahas(list, sym("r2")));
  EXPECT_FALSE(ahas(list, sym("r3")));

  // An entry written (key v) has the one-element list (v) as its value.
  const Cell* written = list1(list2(sym("k"), num(4)));
  EXPECT_EQ(printed(aget(written, sym("k"))), "(4)");

  // Keys of any kind, compared with equal: an integer key is not a real.
  const Cell* keyed =
      acons(list2(num(1), string("x")), sym("listed"), acons(num(1), sym("one"), nil()));
  EXPECT_EQ(printed(aget(keyed, list2(num(1), string("x")))), "listed");
  EXPECT_EQ(printed(aget(keyed, num(1))), "one");
  EXPECT_TRUE(is_nil(aget(keyed, real(1.0))));
}

TEST(AlistTest, NamedAndStringLookups) {
  const Cell* list =
      acons(string("a"), num(1), acons(sym("a"), num(2), acons(sym("b"), num(3), nil())));
  EXPECT_EQ(integer_value(aget_named(list, "a")), 2);
  EXPECT_EQ(integer_value(aget_string(list, "a")), 1);
  EXPECT_TRUE(is_nil(aget_string(list, "b")));
  EXPECT_TRUE(is_nil(aget_named(list, "c")));
  EXPECT_TRUE(ahas_named(list, "b"));
  EXPECT_FALSE(ahas_named(list, "ab"));
  EXPECT_EQ(printed(aremove_named(list, "a")), "((\"a\" . 1) (b . 3))");
  EXPECT_EQ(printed(aremove_named(list, "z")), "((\"a\" . 1) (a . 2) (b . 3))");
}

TEST(AlistDeathTest, AgetStrictPrintsTheKeyThenEnds) {
  const Cell* key = symbol_source("rate", 12, 5, SRC);
  struct Case {
    const char* name;
    const Cell* list;
  };
  const Case cases[] = {
      {"empty list", nil()},
      {"other keys", acons(sym("ratex"), num(1), acons(string("rate"), num(2), nil()))},
  };
  for (const Case& c : cases) {
    Outcome o = run_fatal([&] { aget_strict(c.list, key); });
    EXPECT_EQ(o.status, 1) << c.name;
    EXPECT_EQ(o.out, "\nrate\n") << c.name;
    EXPECT_EQ(o.err, position(SRC, 12, 5) + "aget_strict: Unknown variable\n") << c.name;
  }
  Outcome o = run_fatal([&] { aget_strict(nil(), list2(string_source("k", 1, 2, SRC), num(3))); });
  EXPECT_EQ(o.out, "\n(\"k\" 3)\n");
  EXPECT_EQ(o.err, position(SRC, 1, 2) + "aget_strict: Unknown variable\n");
}

TEST(AlistTest, AsetReplacesInPlaceOrAppendsAtTheEnd) {
  const Cell* r1 = sym("r1");
  const Cell* r2 = sym("r2");
  const Cell* r3 = sym("r3");
  const Cell* list = acons(r1, num(1), acons(r2, num(2), acons(r3, num(3), nil())));
  const Cell* key = sym("r2");
  const Cell* s2 = string("s2");
  const Cell* set = aset(list, key, s2);
  EXPECT_EQ(printed(set), "((r1 . 1) (r2 . \"s2\") (r3 . 3))");
  EXPECT_EQ(aget(set, r2), s2);
  EXPECT_EQ(head(second(set)), key);  // the given key cell
  EXPECT_EQ(first(set), first(list));  // entries before it are shared
  EXPECT_NE(set, list);
  EXPECT_EQ(tail(tail(set)), tail(tail(list)));  // the rest is shared
  EXPECT_EQ(printed(list), "((r1 . 1) (r2 . 2) (r3 . 3))");

  const Cell* single = acons(sym("a"), num(1), nil());
  const Cell* added = aset(single, sym("k"), sym("v"));
  EXPECT_EQ(printed(added), "((a . 1) (k . v))");
  EXPECT_EQ(first(added), first(single));
  expect_own_nil(last_tail(added));
  EXPECT_EQ(printed(aset(nil(), sym("k"), sym("v"))), "((k . v))");

  // Only the first of two equal keys is replaced.
  const Cell* twice = acons(sym("a"), num(1), acons(sym("a"), num(2), nil()));
  EXPECT_EQ(printed(aset(twice, sym("a"), num(3))), "((a . 3) (a . 2))");
}

TEST(AlistTest, AremoveAkeysAndSymbolizeKeys) {
  const Cell* list =
      acons(sym("a"), num(1), acons(sym("b"), num(2), acons(sym("a"), num(3), nil())));
  const Cell* removed = aremove(list, sym("a"));
  EXPECT_EQ(printed(removed), "((b . 2) (a . 3))");
  EXPECT_EQ(removed, tail(list));
  const Cell* middle = aremove(list, sym("b"));
  EXPECT_EQ(printed(middle), "((a . 1) (a . 3))");
  EXPECT_EQ(tail(middle), tail(tail(list)));
  EXPECT_TRUE(equal(aremove(list, sym("z")), list));
  EXPECT_EQ(printed(akeys(list)), "(a b a)");
  expect_own_nil(last_tail(akeys(list)));
  EXPECT_TRUE(is_nil(akeys(nil())));

  const Cell* key = string_source("from", 3, 9, SRC);
  const Cell* value = list1(num(2019));
  const Cell* policies = acons(key, value, acons(string("to"), num(1), nil()));
  const Cell* symbolized = symbolize_keys(policies);
  EXPECT_EQ(printed(symbolized), "((from 2019) (to . 1))");
  const Cell* from = head(first(symbolized));
  EXPECT_TRUE(is_symbol(from));
  EXPECT_EQ(from->line, 3);
  EXPECT_EQ(from->character, 9);
  EXPECT_EQ(tail(first(symbolized)), value);
  EXPECT_TRUE(is_string(head(first(policies))));
}

TEST(AlistDeathTest, EntriesMustBePairsAndKeysStrings) {
  const Cell* bad = integer_source(5, 7, 2, SRC);
  const Cell* list = acons(sym("a"), num(1), cons(bad, nil()));
  const std::string not_pair = position(SRC, 7, 2) + "head of non-cons\n";
  struct Case {
    const char* name;
    std::function<void()> call;
    std::string out;
    std::string err;
  };
  const Case cases[] = {
      {"aget", [&] { aget(list, sym("z")); }, "5\n", not_pair},
      {"aget_default", [&] { aget_default(nil(), list, sym("z")); }, "5\n", not_pair},
      {"aget_named", [&] { aget_named(list, "z"); }, "5\n", not_pair},
      {"aget_string", [&] { aget_string(list, "z"); }, "5\n", not_pair},
      {"ahas", [&] { ahas(list, sym("z")); }, "5\n", not_pair},
      {"ahas_named", [&] { ahas_named(list, "z"); }, "5\n", not_pair},
      {"aset", [&] { aset(list, sym("z"), nil()); }, "5\n", not_pair},
      {"aremove", [&] { aremove(list, sym("z")); }, "5\n", not_pair},
      {"aremove_named", [&] { aremove_named(list, "z"); }, "5\n", not_pair},
      {"akeys", [&] { akeys(list); }, "5\n", not_pair},
      {"symbolize_keys", [&] { symbolize_keys(acons(string("a"), num(1), cons(bad, nil()))); },
       "5\n", not_pair},
      {"symbolize_keys of a symbol key",
       [&] {
         const Cell* b = symbol_source("b", 8, 1, SRC);
         symbolize_keys(acons(string("a"), num(1), acons(b, num(2), nil())));
       },
       "", position(SRC, 8, 1) + "value of non-string\n"},
  };
  for (const Case& c : cases) {
    Outcome o = run_fatal(c.call);
    EXPECT_EQ(o.status, 1) << c.name;
    EXPECT_EQ(o.out, c.out) << c.name;
    EXPECT_EQ(o.err, c.err) << c.name;
  }
  // A match before the bad entry is found without reaching it.
  EXPECT_EQ(integer_value(aget(list, sym("a"))), 1);
}

void every_operation_on_long_lists() {
  const int N = 100000;
  const Cell* numbers = nil();
  const Cell* alist = nil();
  const Cell* strings = nil();
  const Cell* same = nil();
  for (int i = N; i-- > 0;) {
    numbers = cons(num(i), numbers);
    alist = acons(num(i), num(-i), alist);
    strings = acons(string("k"), num(i), strings);
    same = cons(sym("s"), same);
  }
  strings = append(strings, acons(string("last"), num(-1), nil()));
  alist = append(alist, acons(sym("last"), num(-1), nil()));

  EXPECT_EQ(length(numbers), N);
  EXPECT_EQ(integer_value(nth(N - 1, numbers)), N - 1);
  const Cell* twice = append(numbers, numbers);
  EXPECT_EQ(length(twice), 2 * N);
  const Cell* reversed = reverse(numbers);
  EXPECT_EQ(integer_value(first(reversed)), N - 1);
  EXPECT_EQ(length(revappend(numbers, numbers)), 2 * N);
  EXPECT_TRUE(equal(reverse(reversed), numbers));
  EXPECT_FALSE(equal(numbers, reversed));
  EXPECT_TRUE(member(numbers, num(N - 1)));
  EXPECT_FALSE(member(numbers, num(N)));
  EXPECT_EQ(adjoin(numbers, num(N - 1)), numbers);
  EXPECT_EQ(length(adjoin(numbers, num(N))), N + 1);
  EXPECT_EQ(length(remove_first(numbers, num(N - 1))), N - 1);
  EXPECT_EQ(length(remove_first(numbers, num(N))), N);
  EXPECT_TRUE(is_nil(list_difference(numbers, numbers)));
  EXPECT_EQ(length(list_difference(twice, numbers)), N);
  EXPECT_TRUE(subset(same, list1(sym("s"))));
  EXPECT_TRUE(same_elements(same, list1(sym("s"))));
  EXPECT_FALSE(subset(numbers, list1(num(0))));

  EXPECT_EQ(integer_value(aget(alist, num(N - 1))), -(N - 1));
  EXPECT_EQ(integer_value(aget_strict(alist, num(N - 1))), -(N - 1));
  EXPECT_EQ(integer_value(aget_default(nil(), alist, num(N - 1))), -(N - 1));
  EXPECT_EQ(integer_value(aget_named(alist, "last")), -1);
  EXPECT_EQ(integer_value(aget_string(strings, "last")), -1);
  EXPECT_TRUE(ahas(alist, num(N - 1)));
  EXPECT_TRUE(ahas_named(alist, "last"));
  const Cell* set = aset(alist, sym("last"), num(7));
  EXPECT_EQ(length(set), N + 1);
  EXPECT_EQ(integer_value(aget_named(set, "last")), 7);
  EXPECT_EQ(length(aset(alist, sym("new"), num(7))), N + 2);
  EXPECT_EQ(length(aremove(alist, sym("last"))), N);
  EXPECT_EQ(length(aremove_named(alist, "last")), N);
  EXPECT_EQ(length(akeys(alist)), N + 1);
  const Cell* symbolized = symbolize_keys(strings);
  EXPECT_EQ(length(symbolized), N + 1);
  EXPECT_EQ(integer_value(aget_named(symbolized, "last")), -1);

  std::string text = printed(numbers);
  EXPECT_EQ(text.substr(0, 7), "(0 1 2 ");
  EXPECT_EQ(text.substr(text.size() - 7), " 99999)");
}

// Runs `body` on a thread with a stack of one megabyte: an operation that
// recursed once per element of a long list would overflow it.
void on_small_stack(const std::function<void()>& body) {
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setstacksize(&attr, 1 << 20);
  pthread_t thread;
  auto run = [](void* arg) -> void* {
    (*static_cast<const std::function<void()>*>(arg))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attr, run, const_cast<std::function<void()>*>(&body)), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attr);
}

// Lists as long as a large portfolio go through every operation, and the
// walks cost no stack per element.
TEST(LongListTest, EveryOperationWalksAHundredThousandElements) {
  on_small_stack(every_operation_on_long_lists);
}

}  // namespace
