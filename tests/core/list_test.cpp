// Lists and association lists: builders, access, sets, lookups, updates,
// their failures, and lists far longer than any stack could recurse over.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstring>
#include <functional>
#include <string>

#include "core/cell.h"
#include "core/list.h"
#include "support/cells.h"
#include "support/fatal_cases.h"
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

// A list the system built ends in a nil of its own place.
void expect_own_end(const Cell* list) {
  while (is_cons(list)) list = list->pair.tail;
  ASSERT_TRUE(is_nil(list));
  EXPECT_STREQ(list->file, "core/list.cpp");
  EXPECT_EQ(list->character, 0);
}

TEST(ListTest, BuildersAndGettersKeepOrder) {
  const Cell* list = letters("abcdefghij");
  const Cell* nine = list9(nth(0, list), nth(1, list), nth(2, list), nth(3, list), nth(4, list),
                           nth(5, list), nth(6, list), nth(7, list), nth(8, list));
  EXPECT_EQ(printed(nine), "(a b c d e f g h i)");
  expect_own_end(nine);
  const Cell* (*const getters[])(const Cell*) = {first, second, third,   fourth, fifth,
                                                 sixth, seventh, eighth, ninth,  tenth};
  for (int n = 0; n < 10; n++) EXPECT_EQ(symbol_name(getters[n](list))[0], 'a' + n);
  EXPECT_EQ(length(cons(sym("a"), cons(sym("b"), num(5)))), 2);
}

TEST(ListDeathTest, ShortListsEndWhereTheyRanOut) {
  const Cell* one = list1(symbol_source("x", 2, 3, SRC));
  const Cell* end = tail(one);
  const std::string at_end = position(end->file, end->line, 0);
  expect_fatal_cases({
      {"second", [&] { second(one); }, 1, "()\n", at_end + "head of non-cons\n"},
      {"tenth", [&] { tenth(one); }, 1, "", at_end + "tail of non-cons\n"},
      {"nth 1 of an improper list", [&] { nth(1, cons(num(1), integer_source(5, 4, 4, SRC))); },
       1, "5\n", position(SRC, 4, 4) + "head of non-cons\n"},
  });
}

TEST(ListTest, AppendAndReverseCopyOnlyWhatTheyMust) {
  const Cell* a = letters("ab");
  const Cell* b = letters("cd");
  const Cell* joined = append(a, b);
  EXPECT_EQ(printed(joined), "(a b c d)");
  EXPECT_EQ(tail(tail(joined)), b);
  EXPECT_EQ(printed(a), "(a b)");
  EXPECT_EQ(append(num(7), b), b);
  EXPECT_EQ(printed(append(cons(sym("a"), num(5)), b)), "(a c d)");
  EXPECT_EQ(printed(append(a, num(5))), "(a b . 5)");
  const Cell* pushed = revappend(letters("abc"), b);
  EXPECT_EQ(printed(pushed), "(c b a c d)");
  EXPECT_EQ(tail(tail(tail(pushed))), b);
  const Cell* reversed = reverse(a);
  EXPECT_EQ(printed(reversed), "(b a)");
  expect_own_end(reversed);
  EXPECT_EQ(printed(reverse(cons(sym("a"), cons(sym("b"), num(5))))), "(b a)");
}

TEST(ListTest, SetOperations) {
  const Cell* ab = letters("ab");
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
    const char* difference;
  };
  const Case cases[] = {
      {"", "", TRUE, TRUE, "()"},          {"", "ab", TRUE, FALSE, "()"},
      {"ab", "ba", TRUE, TRUE, "()"},      {"aab", "ab", TRUE, TRUE, "(a)"},
      {"abc", "ab", FALSE, FALSE, "(c)"},  {"ab", "abc", TRUE, FALSE, "()"},
      {"ab", "cd", FALSE, FALSE, "(a b)"}, {"abac", "aa", FALSE, FALSE, "(b c)"},
      {"abac", "a", FALSE, FALSE, "(b a c)"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(subset(letters(c.a), letters(c.b)), c.subset_ab) << c.a << " in " << c.b;
    EXPECT_EQ(same_elements(letters(c.a), letters(c.b)), c.same) << c.a << " ~ " << c.b;
    EXPECT_EQ(printed(list_difference(letters(c.a), letters(c.b))), c.difference)
        << c.a << " - " << c.b;
  }
}

TEST(ListTest, RemoveFirstSharesTheRestAfterTheMatch) {
  const Cell* aba = letters("aba");
  EXPECT_EQ(remove_first(aba, sym("a")), tail(aba));
  const Cell* abcd = letters("abcd");
  const Cell* without_b = remove_first(abcd, sym("b"));
  EXPECT_EQ(printed(without_b), "(a c d)");
  EXPECT_EQ(tail(without_b), tail(tail(abcd)));
  EXPECT_EQ(printed(abcd), "(a b c d)");
  const Cell* copy = remove_first(abcd, sym("z"));
  EXPECT_EQ(printed(copy), "(a b c d)");
  expect_own_end(copy);
  EXPECT_EQ(printed(remove_first(cons(sym("a"), num(5)), sym("z"))), "(a)");
}

TEST(AlistTest, LookupsFindTheFirstMatchByEqual) {
  const Cell* list = acons(sym("r1"), num(1), acons(sym("r2"), num(2), nil()));
  const Cell* hidden = acons(sym("r2"), num(9), list);
  EXPECT_EQ(integer_value(aget(hidden, sym("r2"))), 9);
  EXPECT_TRUE(is_nil(aget(list, sym("r3"))));
  const Cell* fallback = num(-1);
  EXPECT_EQ(integer_value(aget_default(fallback, list, sym("r2"))), 2);
  EXPECT_EQ(aget_default(fallback, list, sym("r3")), fallback);
  EXPECT_EQ(integer_value(aget_strict(list, sym("r1"))), 1);
  EXPECT_TRUE(ahas(list, sym("r2")));
  EXPECT_FALSE(ahas(list, sym("r3")));
  // An entry written (key v) has the one-element list (v) as its value.
  EXPECT_EQ(printed(aget(list1(list2(sym("k"), num(4))), sym("k"))), "(4)");
  // Keys of any kind: an integer key is not a real.
  const Cell* keyed =
      acons(list2(num(1), string("x")), sym("listed"), acons(num(1), sym("one"), nil()));
  EXPECT_EQ(printed(aget(keyed, list2(num(1), string("x")))), "listed");
  EXPECT_TRUE(is_nil(aget(keyed, real(1.0))));

  const Cell* mixed =
      acons(string("a"), num(1), acons(sym("a"), num(2), acons(sym("b"), num(3), nil())));
  EXPECT_EQ(integer_value(aget_named(mixed, "a")), 2);
  EXPECT_EQ(integer_value(aget_string(mixed, "a")), 1);
  EXPECT_TRUE(is_nil(aget_string(mixed, "b")));
  EXPECT_TRUE(ahas_named(mixed, "b"));
  EXPECT_FALSE(ahas_named(mixed, "ab"));
  EXPECT_EQ(printed(aremove_named(mixed, "a")), "((\"a\" . 1) (b . 3))");
}

TEST(AlistDeathTest, AgetStrictPrintsTheKeyThenEnds) {
  const Cell* rate = symbol_source("rate", 12, 5, SRC);
  const Cell* other = acons(sym("ratex"), num(1), acons(string("rate"), num(2), nil()));
  const std::string unknown = "aget_strict: Unknown variable\n";
  expect_fatal_cases({
      {"empty", [&] { aget_strict(nil(), rate); }, 1, "\nrate\n", position(SRC, 12, 5) + unknown},
      {"other keys", [&] { aget_strict(other, rate); }, 1, "\nrate\n",
       position(SRC, 12, 5) + unknown},
      {"list key", [&] { aget_strict(nil(), list2(string_source("k", 1, 2, SRC), num(3))); }, 1,
       "\n(\"k\" 3)\n", position(SRC, 1, 2) + unknown},
  });
}

TEST(AlistTest, UpdatesShareWhatTheyDoNotChange) {
  const Cell* list = acons(sym("r1"), num(1), acons(sym("r2"), num(2), acons(sym("r3"), num(3), nil())));
  const Cell* key = sym("r2");
  const Cell* set = aset(list, key, string("s2"));
  EXPECT_EQ(printed(set), "((r1 . 1) (r2 . \"s2\") (r3 . 3))");
  EXPECT_EQ(head(second(set)), key);
  EXPECT_EQ(first(set), first(list));
  EXPECT_EQ(tail(tail(set)), tail(tail(list)));
  EXPECT_EQ(printed(list), "((r1 . 1) (r2 . 2) (r3 . 3))");
  const Cell* added = aset(list1(first(list)), sym("k"), sym("v"));
  EXPECT_EQ(printed(added), "((r1 . 1) (k . v))");
  expect_own_end(added);
  const Cell* twice = acons(sym("a"), num(1), acons(sym("b"), num(2), acons(sym("a"), num(3), nil())));
  EXPECT_EQ(printed(aset(twice, sym("a"), num(4))), "((a . 4) (b . 2) (a . 3))");
  EXPECT_EQ(aremove(twice, sym("a")), tail(twice));
  const Cell* middle = aremove(twice, sym("b"));
  EXPECT_EQ(printed(middle), "((a . 1) (a . 3))");
  EXPECT_EQ(tail(middle), tail(tail(twice)));
  EXPECT_EQ(printed(akeys(twice)), "(a b a)");
  expect_own_end(akeys(twice));

  const Cell* value = list1(num(2019));
  const Cell* policies =
      acons(string_source("from", 3, 9, SRC), value, acons(string("to"), num(1), nil()));
  const Cell* symbolized = symbolize_keys(policies);
  EXPECT_EQ(printed(symbolized), "((from 2019) (to . 1))");
  const Cell* from = head(first(symbolized));
  EXPECT_TRUE(is_symbol(from));
  EXPECT_EQ(from->line, 3);
  EXPECT_EQ(from->character, 9);
  EXPECT_EQ(tail(first(symbolized)), value);
}

TEST(AlistDeathTest, EntriesMustBePairsAndKeysStrings) {
  const Cell* bad = integer_source(5, 7, 2, SRC);
  const Cell* list = acons(sym("a"), num(1), cons(bad, nil()));
  const std::string not_pair = position(SRC, 7, 2) + "head of non-cons\n";
  expect_fatal_cases({
      {"aget", [&] { aget(list, sym("z")); }, 1, "5\n", not_pair},
      {"aget_named", [&] { aget_named(list, "z"); }, 1, "5\n", not_pair},
      {"aget_string", [&] { aget_string(list, "z"); }, 1, "5\n", not_pair},
      {"aset", [&] { aset(list, sym("z"), nil()); }, 1, "5\n", not_pair},
      {"aremove", [&] { aremove(list, sym("z")); }, 1, "5\n", not_pair},
      {"akeys", [&] { akeys(list); }, 1, "5\n", not_pair},
      {"symbolize_keys of a symbol key",
       [&] {
         const Cell* b = symbol_source("b", 8, 1, SRC);
         symbolize_keys(acons(string("a"), num(1), acons(b, num(2), nil())));
       },
       1, "", position(SRC, 8, 1) + "value of non-string\n"},
  });
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

  EXPECT_EQ(integer_value(nth(N - 1, numbers)), N - 1);
  const Cell* twice = append(numbers, numbers);
  EXPECT_EQ(length(twice), 2 * N);
  const Cell* reversed = reverse(numbers);
  EXPECT_EQ(length(revappend(numbers, numbers)), 2 * N);
  EXPECT_TRUE(equal(reverse(reversed), numbers));
  EXPECT_FALSE(equal(numbers, reversed));
  EXPECT_FALSE(member(numbers, num(N)));
  EXPECT_EQ(length(adjoin(numbers, num(N))), N + 1);
  EXPECT_EQ(length(remove_first(numbers, num(N))), N);
  EXPECT_EQ(length(list_difference(twice, numbers)), N);
  EXPECT_TRUE(same_elements(same, list1(sym("s"))));
  EXPECT_FALSE(subset(numbers, list1(num(0))));

  EXPECT_EQ(integer_value(aget_strict(alist, num(N - 1))), -(N - 1));
  EXPECT_EQ(integer_value(aget_default(nil(), alist, num(N - 1))), -(N - 1));
  EXPECT_EQ(integer_value(aget_string(strings, "last")), -1);
  EXPECT_TRUE(ahas(alist, num(N - 1)));
  EXPECT_TRUE(ahas_named(alist, "last"));
  EXPECT_EQ(integer_value(aget_named(aset(alist, sym("last"), num(7)), "last")), 7);
  EXPECT_EQ(length(aset(alist, sym("new"), num(7))), N + 2);
  EXPECT_EQ(length(aremove(alist, sym("last"))), N);
  EXPECT_EQ(length(aremove_named(alist, "last")), N);
  EXPECT_EQ(length(akeys(alist)), N + 1);
  EXPECT_EQ(integer_value(aget_named(symbolize_keys(strings), "last")), -1);
  std::string text = printed(numbers);
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

TEST(LongListTest, EveryOperationWalksAHundredThousandElements) {
  on_small_stack(every_operation_on_long_lists);
}

}  // namespace
