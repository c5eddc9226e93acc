// The statement kinds, value definitions and cdefs, and the five passes.
#include "model/statements.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <string>
#include <vector>

#include "core/list.h"
#include "core/reader.h"
#include "support/cells.h"
#include "support/model_script.h"
#include "support/process.h"

namespace {

TEST(StatementsTest, WindowsOnlyGiveFourEmptyLists) {
  Model m = runPasses(script({"(window 1 2)", "(window)", "(window (a b) \"c\")"}));
  EXPECT_EQ(printed(list4(m.defs, m.cdefs, m.states, m.products)), "(() () () ())");
}

TEST(StatementsTest, DefsAndCdefsStandLastFirstAndShareTheStatementCells) {
  const Cell* statements = script({
      "(define (f) 42)",
      "(window)",
      "(define (g a b) (list a b))",
      "(define (f x) x)",
      "(cdef t_date d (v_date (date 2019 1)))",
      "(cdef t_date e d)",
      "(cdef t_span s (- e d))",
  });
  Model m = runPasses(statements);
  EXPECT_EQ(printed(m.defs), "((f (x) . x) (g (a b) list a b) (f () . 42))");
  EXPECT_EQ(printed(m.cdefs), "((s t_span - e d) (e t_date . d) (d t_date v_date (date 2019 1)))");
  // Nothing is copied: the body is the statement's own cell.
  const Cell* g = third(statements);
  EXPECT_EQ(tail(aget(m.defs, symbol("g"))), third(g));
  EXPECT_EQ(head(aget(m.defs, symbol("g"))), tail(second(g)));
}

TEST(StatementsDeathTest, FaultsReportedAtTheirCell) {
  struct Fault {
    std::vector<std::string> lines;
    std::string err;
    std::string out;
  };
  const Fault faults[] = {
      {{"(define (f) 1)", "(frobnicate 1)"}, at(3, 2) + "Unknown statement type\n", ""},
      // The kind check runs over the whole list before any other check.
      {{"(define (f) y)", "(Define (g) 1)"}, at(3, 2) + "Unknown statement type\n", ""},
      {{"(define (f) 1)", "x"}, at(3, 1) + "head of non-cons\n", "x\n"},
      {{"(define x 1)"}, at(2, 9) + "Malformed value lhs\n", ""},
      {{"(define (f x))"}, at(2, 10) + "Value definitions take two arguments\n", ""},
      {{"(define (f x 1 \"y\") x)"},
       at(2, 14) + "First argument of value def must be list of symbols\n", ""},
      {{"(define (f x) y)"}, at(2, 15) + "Unbound symbol\n", "\ny\n"},
      // Bodies see only earlier definitions, not their own.
      {{"(define (g) (f 1))", "(define (f x) x)"},
       at(2, 14) + "verifyCompoundExpression: Unknown operator\n", "\n(f 1)\n"},
      {{"(cdef t_date)"}, at(2, 7) + "'cdef' takes three arguments\n", ""},
      {{"(cdef (t_date) x 1)"}, at(2, 8) + "Type must be atom\n", ""},
      {{"(cdef t_real x 1)"}, at(2, 7) + "Type must be t_date or t_span\n", ""},
      {{"(cdef t_date 5 (v_date 1))"}, at(2, 7) + "Malformed lhs of 'cdef'\n", ""},
      {{"(cdef t_date d (v_date 1))", "(cdef t_span s d)"}, at(3, 7) + "cdef: type mismatch\n", ""},
      // A cdef sees only the cdefs before it.
      {{"(cdef t_date a b)", "(cdef t_date b (v_date 1))"},
       at(2, 16) + "verifyCExpr: Unknown variable\n", "b\n"},
  };
  for (const Fault& f : faults) {
    const Cell* statements = script(f.lines);
    Outcome o = run_fatal([&] { runPasses(statements); });
    EXPECT_EQ(o.status, 1) << f.lines.back();
    EXPECT_EQ(o.err, f.err) << f.lines.back();
    EXPECT_EQ(o.out, f.out) << f.lines.back();
  }
}

// Faults at an empty list, whose position lies in talvon's own source.
TEST(StatementsDeathTest, FaultsAtTheEmptyListEndingAStatement) {
  struct Case {
    std::string line, message, out;
  } cases[] = {
      {"()", "head of non-cons", "()\n"},
      {"(define)", "Value definitions take two arguments", ""},
      {"(define () 1)", "Malformed value lhs", ""},
      {"(cdef)", "'cdef' takes three arguments", ""},
  };
  for (const Case& c : cases) {
    const Cell* statements = script({c.line});
    Outcome o = run_fatal([&] { runPasses(statements); });
    EXPECT_EQ(o.status, 1) << c.line;
    EXPECT_TRUE(ownPosition(o.err, "core/reader.cpp", c.message)) << c.line << o.err;
    EXPECT_EQ(o.out, c.out) << c.line;
  }
}

// A long statement list is walked, not recursed over: it fits a normal
// 8 MB stack through every pass.
void* passLongList(void* result) {
  std::string text = "(\n";
  for (int i = 0; i < 20000; i++) {
    text += "(define (f" + std::to_string(i) + " x) (list x " + std::to_string(i) + "))\n";
  }
  text += "(window))";
  *static_cast<const Cell**>(result) = runPasses(parse(text.c_str())).defs;
  return nullptr;
}

TEST(StatementsTest, TwentyThousandDefinesOnAnEightMegabyteStack) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 8u * 1024u * 1024u);
  pthread_t thread;
  const Cell* defs = nullptr;
  ASSERT_EQ(pthread_create(&thread, &attributes, passLongList, &defs), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  ASSERT_NE(defs, nullptr);
  EXPECT_EQ(length(defs), 20000);
  EXPECT_EQ(printed(head(head(defs))), "f19999");
  EXPECT_EQ(printed(aget(defs, symbol("f123"))), "((x) list x 123)");
}

}  // namespace
