#include "codegen/emitter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "codegen/identifiers.h"
#include "core/list.h"
#include "support/process.h"

namespace {

const Cell* Sym(const char* name) { return symbol_source(name, 1, 1, "e.tal"); }
const Cell* Str(const char* text) { return string_source(text, 1, 2, "e.tal"); }
const Cell* Int(int32_t v) { return integer_source(v, 1, 3, "e.tal"); }
const Cell* Real(double v) { return real_source(v, 1, 4, "e.tal"); }
const Cell* Nil() { return nil_source(1, 5, "e.tal"); }

// The scrambled form of an identifier, as compact mode writes it.
std::string Sc(std::string name) {
  scrambleIdentifier(name.data(), static_cast<int>(name.size()));
  return name;
}

std::string flattened(const Cell* c, int space = 1000) {
  std::string buffer(space, '\x7f');
  int n = flattenToBuffer(c, buffer.data(), space);
  EXPECT_EQ(buffer.c_str(), buffer.substr(0, n)) << "count and terminator disagree";
  return buffer.substr(0, n);
}

// Output goes to a memory stream; the mode is restored after each test.
class Emitter : public ::testing::Test {
 protected:
  void SetUp() override {
    initIdentifierTable();
    saved_mode = compactMode;
    stream = open_memstream(&data, &size);
    setOutputFile(stream);
  }
  void TearDown() override {
    setOutputFile(stdout);
    fclose(stream);
    free(data);
    compactMode = saved_mode;
  }
  std::string written() {
    fflush(stream);
    return std::string(data, size);
  }
  std::string compact(const char* line) {
    compactMode = 1;
    writeLine(line);
    return written();
  }

  int saved_mode = 1;
  FILE* stream = nullptr;
  char* data = nullptr;
  size_t size = 0;
};

using EmitterDeathTest = Emitter;

TEST_F(Emitter, FlattensEachKindOfCell) {
  struct Case {
    const char* what;
    const Cell* cell;
    const char* text;
  } cases[] = {
      {"nil", Nil(), ""},
      {"symbol", Sym("prob_"), "prob_"},
      {"string without quotes", Str("a \"b\" %d"), "a \"b\" %d"},
      {"smallest integer", Int(INT32_MIN), "-2147483648"},
      {"real 1.5", Real(1.5), "1.500000"},
      {"just below half a millionth", Real(0.00000049), "0.000000"},
      {"date as its month count", date_source(12 * 2019 + 10, 1, 1, "e.tal"), "24238"},
      {"span as its month count", span_source(-5, 1, 1, "e.tal"), "-5"},
      {"nested list", list3(Sym("x"), list2(Sym("y"), list1(Int(2))), Sym("z")), "xy2z"},
      {"improper list", cons(Sym("a"), Int(7)), "a7"},
  };
  for (const Case& c : cases) EXPECT_EQ(flattened(c.cell), c.text) << c.what;
}

TEST_F(Emitter, FlattensLongListsWithoutDeepRecursion) {
  const int count = 60000;
  const Cell* list = Nil();
  for (int i = 0; i < count; i++) list = cons(Sym(i % 2 ? "b" : "a"), list);
  std::string text = flattened(list, count + 1);
  ASSERT_EQ(text.size(), static_cast<size_t>(count));
  EXPECT_EQ(text.substr(0, 4), "baba");
}

// The space counts the terminator: a text fills it exactly or overflows.
TEST_F(EmitterDeathTest, FlattenFillsTheSpaceExactlyOrOverflows) {
  struct Case {
    const Cell* cell;
    int space;
    const char* text;  // nullptr: overflow
  } cases[] = {
      {Sym("abcd"), 5, "abcd"},  {list2(Sym("ab"), Sym("cd")), 5, "abcd"}, {Nil(), 0, ""},
      {Sym("abcde"), 5, nullptr}, {list2(Sym("ab"), Sym("cde")), 5, nullptr},
      {Real(1.5), 8, nullptr},   {Str(""), 0, nullptr},
      {Int(-1234), 5, nullptr},  {list2(Sym("ab"), Int(100)), 5, nullptr},
  };
  for (const Case& c : cases) {
    if (c.text) {
      EXPECT_EQ(flattened(c.cell, c.space), c.text);
      continue;
    }
    Outcome o = run_fatal([&] {
      char buffer[16];
      flattenToBuffer(c.cell, buffer, c.space);
    });
    EXPECT_EQ(o.status, 1) << c.space;
    EXPECT_EQ(o.out, "") << c.space;
    EXPECT_EQ(o.err, "flattenToBuffer overflow\n") << c.space;
  }
}

TEST_F(Emitter, ReadableModeWriters) {
  compactMode = 0;
  emitIndent(4);
  emitBlankLine();
  emitLine(2, "x=1; // one");
  emitTemplate2(4, "double %=%;", list2(Sym("prob_"), Int(3)), Real(0.5));
  emitTemplate(0, "no holes", Nil());
  emitTemplate1(1, "%", Nil());
  emitTemplate(0, "%+%", list2(Str("100%"), Str("%d")));
  declareDouble(2, Sym("prob"));
  emitAssign(0, list2(Sym("prob_"), Int(1)), Str("fmax(0,y)"));
  declareDoubleInit(4, Sym("yield"), Real(0.25));
  emitComment(2, Str("state 3"));
  EXPECT_EQ(written(),
            "    \n"
            "  x=1; // one\n"
            "    double prob_3=0.500000;\n"
            "no holes\n"
            " \n"
            "100%+%d\n"
            "  double prob;\n"
            "prob_1=fmax(0,y);\n"
            "    double yield=0.250000;\n"
            "  // state 3\n");
}

// One case per rule of compact mode: names scrambled alike at every
// occurrence, MONTH_LIMIT inlined, includes kept on their own line, strings,
// numbers, blanks and C's own names kept, comments dropped.
TEST_F(Emitter, CompactLines) {
  compactMode = 1;
  EXPECT_NE(Sc("reserve"), "reserve");
  EXPECT_EQ(Sc("reserve").size(), 7u);
  struct Case {
    const char* line;
    std::string text;
  } cases[] = {
      {"  double e2=e*e;", "double " + Sc("e2") + "=" + Sc("e") + "*" + Sc("e") + "; "},
      {"for(month=0;month<MONTH_LIMIT;month++){",
       "for(" + Sc("month") + "=0;" + Sc("month") + "<1440;" + Sc("month") + "++){ "},
      {"#define MONTH_LIMIT 1440", ""},
      {"#include <math.h>", "#include <math.h>\n"},
      {"x=\"//a\"+\"b c\";", Sc("x") + "=\"//a\"+\"b c\"; "},
      {"_x=t;", "_" + Sc("x") + "=K; "},
      {"a[12]=3.5e2;", Sc("a") + "[12]=3.5" + Sc("e2") + "; "},
      {"    // only a comment", " "},
      {"a  b", Sc("a") + "  " + Sc("b") + " "},
      {"double M_PI if goto main", "double M_PI if goto main "},
      {"Double ifs", Sc("Double") + " " + Sc("ifs") + " "},
  };
  for (const Case& c : cases) {
    size_t before = written().size();
    writeLine(c.line);
    EXPECT_EQ(written().substr(before), c.text) << c.line;
  }
}

// Lines longer than a template line come from the socket variant's writer:
// they are written whole, however long.
TEST_F(Emitter, CompactLinesOfAnyLength) {
  compactMode = 1;
  std::string line = "  ";
  std::string text;
  for (int i = 0; i < 400; i++) {
    std::string name = "prob_" + std::to_string(i);
    line += name + "+";
    text += Sc(name) + "+";
  }
  line += "MONTH_LIMIT; // end";
  text += "1440;  ";  // the blank before the comment, then the comment's
  writeLine(line.c_str());
  EXPECT_EQ(written(), text);
}

TEST_F(Emitter, AssignmentsComeOutOldestFirst) {
  compactMode = 0;
  const Cell* acc = Nil();
  acc = acons(Sym("a"), Str("1"), acc);
  acc = acons(list2(Sym("prob_"), Int(2)), list2(Sym("prob_"), Int(2)), acc);  // skipped
  acc = acons(Sym("b"), Str("a+1"), acc);
  acc = acons(Sym("same"), Str("same"), acc);  // a symbol is not a string: written
  acc = acons(Sym("c"), list3(Sym("b"), Str("*"), Real(2)), acc);
  emitAssignments(2, acc);
  EXPECT_EQ(written(),
            "  a=\n    1;\n"
            "  b=\n    a+1;\n"
            "  same=\n    same;\n"
            "  c=\n    b*2.000000;\n");
  // Long accumulators are walked, not recursed over.
  acc = Nil();
  for (int i = 0; i < 20000; i++) acc = acons(Int(i), Int(i + 1), acc);
  emitAssignments(0, acc);
  std::string text = written();
  EXPECT_EQ(text.substr(text.size() - 16), "19999=\n  20000;\n");
}

TEST_F(EmitterDeathTest, TemplateArgumentCount) {
  struct Case {
    const char* text;
    const Cell* arguments;
    const char* message;
  } cases[] = {
      {"%=%;", list3(Sym("a"), Sym("b"), Sym("c")), "Unused arguments\n"},
      {"%=%;", list1(Sym("a")), "Too few arguments\n"},
  };
  for (const Case& c : cases) {
    Outcome o = run_fatal([&] { emitTemplate(2, c.text, c.arguments); });
    EXPECT_EQ(o.status, 1) << c.text;
    EXPECT_EQ(o.out, std::string(c.text) + "\n") << c.text;
    EXPECT_EQ(o.err, c.message) << c.text;
  }
}

TEST_F(EmitterDeathTest, TemplateLineOverflow) {
  std::string fits(999, 'a');
  std::string literal(1000, 'a');
  std::string hole = std::string(500, 'a') + "%" + std::string(499, 'b');
  std::string arg(300, 'c');
  struct Case {
    const char* what;
    std::string text;
    const Cell* arguments;
    const char* message;
  } cases[] = {
      {"literal of 1000", literal, nil(), "LX buffer overflow\n"},
      {"rest after a long argument", hole, list1(Str(arg.c_str())), "LX buffer overflow\n"},
      {"argument too long", "x%", list1(Str(literal.c_str())), "flattenToBuffer overflow\n"},
      {"fits", fits, nil(), ""},
      {"fits around a hole", hole, list1(Nil()), ""},
  };
  for (const Case& c : cases) {
    Outcome o = run_fatal([&] {
      compactMode = 0;
      emitTemplate(0, c.text.c_str(), c.arguments);
    });
    EXPECT_EQ(o.status, c.message[0] ? 1 : 0) << c.what;
    EXPECT_EQ(o.out, "") << c.what;
    EXPECT_EQ(o.err, c.message) << c.what;
  }
}

TEST_F(EmitterDeathTest, IdentifierOfMoreThan999Characters) {
  std::string longest(999, 'v');
  std::string too_long(1000, 'v');
  Outcome ok = run_fatal([&] { compact(("x=" + longest + ";").c_str()); });
  EXPECT_EQ(ok.status, 0);
  Outcome o = run_fatal([&] { compact(("x=" + too_long + ";").c_str()); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.err, "o: buffer overflow\n");
}

}  // namespace
