// Parts of the core library that no script reaches: the cell store giving
// whole blocks back, and helpers kept for programs built on the core.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "core/cell.h"
#include "core/list.h"
#include "core/printer.h"
#include "core/reader.h"
#include "support/process.h"

namespace {

std::string text(const Cell* c) {
  char* buffer = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&buffer, &size);
  write_cell(stream, c);
  fclose(stream);
  std::string result(buffer, size);
  free(buffer);
  return result;
}

// Cells made after a mark, across several blocks, are made again at the
// same places once released; the cells made before keep their values.
TEST(CellStoreTest, ReleasedBlocksAreMadeAgain) {
  const Cell* kept = integer(7);
  CellMark mark = mark_cells();
  const Cell* first = integer(1);
  for (int i = 0; i < 200000; i++) integer(i);
  release_cells(mark);
  EXPECT_EQ(integer(2), first);
  EXPECT_EQ(kept->whole, 7);
}

TEST(LibraryTest, HelpersNoScriptReaches) {
  const Cell* a = symbol("a");
  const Cell* nine = list9(a, a, a, a, a, a, integer(7), a, symbol("z"));
  EXPECT_EQ(text(nine), "(a a a a a a 7 a z)");
  EXPECT_EQ(seventh(nine)->whole, 7);
  EXPECT_EQ(text(adjoin(parse("(x y)"), symbol("z"))), "(z x y)");
  EXPECT_EQ(text(adjoin(parse("(x y)"), symbol("x"))), "(x y)");
  const Cell* alist = acons(symbol("a"), integer(1), acons(symbol("b"), integer(2), parse("()")));
  EXPECT_EQ(text(aremove(alist, a)), "((b . 2))");
  EXPECT_TRUE(ahas_named(alist, "b"));
  EXPECT_FALSE(ahas_named(alist, "c"));
  const Cell* zero = zero_at(parse("\n  x"));
  EXPECT_EQ(zero->whole, 0);
  EXPECT_EQ(zero->line, 2);
  EXPECT_EQ(text(symbolToString(a)), "\"a\"");
  EXPECT_TRUE(is_false(parse("()")));
  EXPECT_FALSE(is_false(a));
  EXPECT_EQ(date_value(date(24240)), 24240);
  EXPECT_EQ(to_real(integer(3)), 3.0);
  EXPECT_EQ(text(cons(a, integer(5))), "(a . 5)");
  Outcome o = run_fatal([] {
    print_cell(parse("(p q)"));
    date_value(parse("\n x"));
  });
  EXPECT_EQ(o.out, "(p q)");
  EXPECT_EQ(o.err, "File (from string) line 2 character 2\nvalue of non-date\n");
}

}  // namespace
