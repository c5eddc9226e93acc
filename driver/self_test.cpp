#include "driver/self_test.h"

#include <cstdio>
#include <cstdlib>

#include "codegen/emitter.h"
#include "core/infix_parser.h"
#include "core/list.h"
#include "core/reader.h"
#include "expr/ctext.h"
#include "model/product_states.h"
#include "model/products.h"
#include "model/splits.h"
#include "model/statements.h"

static int32_t checks = 0;

void announceCheck(const char* text) {
  checks++;
  printf("%5d %s\n", checks, text);
  fflush(stdout);  // shown even if the check kills the process
}

void checkAssertion(const char* text, const std::function<int()>& holds) {
  announceCheck(text);
  if (!holds()) {
    puts("\nTest failed");
    exit(1);
  }
}

struct InfixCheck {
  const char* announced;
  const char* expected;
  const char* infix;
};

// Each announced text is the check written out as code.
static const InfixCheck INFIX_CHECKS[] = {
    {R"T(equal(parse("a"),parseExpr0("a")))T", R"T(a)T", R"T(a)T"},
    {R"T(equal(parse("(a x)"),parseExpr0("a(x)")))T", R"T((a x))T", R"T(a(x))T"},
    {R"T(equal(parse("(a x y)"),parseExpr0("a(x,y)")))T", R"T((a x y))T", R"T(a(x,y))T"},
    {R"T(equal(parse("(a x y z)"),parseExpr0("a(x,y,z)")))T", R"T((a x y z))T", R"T(a(x,y,z))T"},
    {R"T(equal(parse("(a x y z)"),parseExpr0(" a ( x , y , z ) ")))T", R"T((a x y z))T", R"T( a ( x , y , z ) )T"},
    {R"T(equal(parse("(- 0 x)"),parseExpr0("-x")))T", R"T((- 0 x))T", R"T(-x)T"},
    {R"T(equal(parse("(- 0 x)"),parseExpr0(" - x ")))T", R"T((- 0 x))T", R"T( - x )T"},
    {R"T(equal(parse("(^ x (^ y z))"),parseExpr0("x^y^z")))T", R"T((^ x (^ y z)))T", R"T(x^y^z)T"},
    {R"T(equal(parse("(^ x (^ y z))"),parseExpr0(" x ^ y ^ z ")))T", R"T((^ x (^ y z)))T", R"T( x ^ y ^ z )T"},
    {R"T(equal(parse("(* x y)"),parseExpr0("x*y")))T", R"T((* x y))T", R"T(x*y)T"},
    {R"T(equal(parse("(/ (* x y) z)"),parseExpr0("x*y/z")))T", R"T((/ (* x y) z))T", R"T(x*y/z)T"},
    {R"T(equal(parse("(/ (* x y) z)"),parseExpr0(" x * y / z ")))T", R"T((/ (* x y) z))T", R"T( x * y / z )T"},
    {R"T(equal(parse("(- (+ x y) z)"),parseExpr0("x+y-z")))T", R"T((- (+ x y) z))T", R"T(x+y-z)T"},
    {R"T(equal(parse("(- (+ x y) z)"),parseExpr0(" x + y - z ")))T", R"T((- (+ x y) z))T", R"T( x + y - z )T"},
    {R"T(equal(parse("(+ (* 1 2) (* 3 4))"),parseExpr0("1*2+3*4")))T", R"T((+ (* 1 2) (* 3 4)))T", R"T(1*2+3*4)T"},
    {R"T(equal(parse("(/ (* 1 (+ 2 3)) 4)"),parseExpr0("1*(2+3)/4")))T", R"T((/ (* 1 (+ 2 3)) 4))T", R"T(1*(2+3)/4)T"},
    {R"T(equal(parse("(* (- 0 \"a\") (- 0 1.2))"),parseExpr0("-\"a\"*-1.2")))T", R"T((* (- 0 "a") (- 0 1.2)))T", R"T(-"a"*-1.2)T"},
};

static void checkCells() {
  const Cell* r1 = real(1.0);
  const Cell* r2 = real(2.0);
  const Cell* i1 = integer(1);
  const Cell* i2 = integer(2);
  const Cell* s2 = symbol("s2");
  const Cell* assoc = acons(r1, i1, acons(r2, i2, nil()));

  announceCheck(R"T(TRUE==(1))T");
  announceCheck(R"T(FALSE==(0))T");
  checkAssertion(R"T(equal(nil_source(4014,0,"talvon"),nil_source(4014,0,"talvon")))T", [] { return equal(nil(), nil()); });
  checkAssertion(R"T(!equal(cons(real_source(1,4016,0,"talvon"),symbol_source("abc",4016,0,"talvon")),cons(integer_source(1,4017,0,"talvon"),symbol_source("abc",4017,0,"talvon"))))T",
        [] { return !equal(cons(real(1.0), symbol("abc")), cons(integer(1), symbol("abc"))); });
  checkAssertion(R"T(equal(aget(assoc,r2),i2))T", [&] { return equal(aget(assoc, r2), i2); });
  assoc = aset(assoc, r2, s2);
  checkAssertion(R"T(equal(aget(assoc,r2),s2))T", [&] { return equal(aget(assoc, r2), s2); });
  checkAssertion(R"T(equal(parse("((abc 1) ((\"def\")))"),list2( list2(symbol_source("abc",4024,0,"talvon"),integer_source(1,4024,0,"talvon")), list1(list1(string_source("def",4025,0,"talvon"))))))T",
        [] {
          return equal(parse("((abc 1) ((\"def\")))"),
                       list2(list2(symbol("abc"), integer(1)), list1(list1(string("def")))));
        });
  checkAssertion(R"T(equal(parse("(a b c)"),productDefToStates(parse("(when (or (and a b) (and b c)))"))))T",
        [] { return equal(parse("(a b c)"), productDefToStates(parse("(when (or (and a b) (and b c)))"))); });
  for (const InfixCheck& c : INFIX_CHECKS) {
    checkAssertion(c.announced, [&] { return equal(parse(c.expected), parseExpr0(c.infix)); });
  }
}

// The C text of one expression, with the model's C-level names it uses.
static void showTranslation(const Cell* cdefs, const Cell* defs) {
  const Cell* environment =
      acons(symbol("date_validity"), date(7), acons(symbol("time_birth"), date(7), nil()));
  const Cell* expression = parse("(+ (* age 2) (^ x (v_date time_birth)))");
  const Cell* accumulator = acons(symbol("x"), integer(2), nil());
  const Cell* result = bindCtext(symbol("abc"), expression, cdefs, defs, environment, accumulator);
  for (; is_cons(result); result = result->pair.tail) {
    char text[1000];
    flattenToBuffer(tail(result->pair.head), text, sizeof text);
    printf("%s = %s\n", symbol_name(head(result->pair.head)), text);
  }
}

void selfTest() {
  const Cell* run = read_scrambled_source("run.bin");
  const Cell* portfolio = read_scrambled_source("../../../portfolios/portfolios/random7_30.pf");
  const Cell* source = read_scrambled_source("source.bin");
  const Cell* statements = append(source, append(portfolio, run));

  verifyStatements(statements);
  const Cell* defs = statementsToDefs(statements);
  const Cell* cdefs = statementsToCdefs(statements, defs);
  const Cell* states = statementsToStates(cdefs, defs, statements, nil());
  statementsToProducts(cdefs, defs, statements, states);

  checkCells();
  showTranslation(cdefs, defs);
}
