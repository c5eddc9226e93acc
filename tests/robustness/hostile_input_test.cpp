// Hostile input: deep nesting, huge tokens, wrapping integers, control
// bytes, garbage, truncated and wrongly scrambled files, overlong generated
// names, a portfolio of 100,000 policies and definitions that look cyclic.
// Each ends with its message or works; none may crash talvon. Readers run
// through the real executable, which has the stack the recursion on
// nesting depth needs.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "codegen/valuation_program.h"
#include "core/list.h"
#include "core/reader.h"
#include "expr/eval.h"
#include "support/annuity_run.h"
#include "support/model_script.h"
#include "support/process.h"

namespace {

Outcome echo(const std::string& input) {
  return run_program({TALVON_EXE, "echo", "-"}, input);
}

std::string repeat(const std::string& part, size_t n) {
  std::string text;
  text.reserve(part.size() * n);
  for (size_t i = 0; i < n; i++) text += part;
  return text;
}

bool endedByItself(const Outcome& o) {
  return o.status == 0 || o.status == 1;
}

TEST(HostileInputDeathTest, DeepNesting) {
  const size_t depth = 100000;
  Outcome open = echo(repeat("(", depth));
  EXPECT_EQ(open.status, 1);
  // The innermost list meets the end first; its position is just after
  // its parenthesis, and the end itself is not counted.
  EXPECT_EQ(open.err, position("-", 1, 100000) + "end of file in list\n");

  Outcome closed = echo(repeat("(", depth) + "x" + repeat(")", depth));
  EXPECT_EQ(closed.status, 0) << closed.err;
  // A file's one outer list is unwrapped, and the printer adds it back.
  EXPECT_EQ(closed.out, repeat("(", depth) + "x" + repeat(")", depth) + "\n");

  Outcome unopened = echo(repeat(")", depth));
  EXPECT_EQ(unopened.status, 1);
  EXPECT_EQ(unopened.err, position("-", 1, 1) + "unexpected left parenthesis\n");
}

TEST(HostileInputDeathTest, DeepInfixNesting) {
  const size_t depth = 100000;
  std::string prefix = "(define (x) (parse \"";  // the text starts at character 21
  {
    AnnuityRun run(prefix + repeat("(", depth) + "\"))\n", "");
    Outcome o = run.exec();
    EXPECT_EQ(o.status, 1);
    // The innermost "(" is followed by the closing quote: no operand.
    EXPECT_EQ(o.err, position("m.bin", 1, 21 + depth) + "unexpected character\n");
  }
  {
    // Well nested, the text is checked, then the portfolio is missing.
    AnnuityRun run(prefix + repeat("(", depth) + "1" + repeat(")", depth) + "\"))\n", "");
    Outcome o = run.exec();
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "\n(portfolio)\n");
    EXPECT_EQ(o.err, position("r.bin", 1, 27) + "verifyCompoundExpression: Unknown operator\n");
  }
}

TEST(HostileInputTest, MegabyteTokensAndStrings) {
  std::string symbol = repeat("abcdefgh", 512 * 1024);  // 4 MiB
  Outcome o = echo("(" + symbol + " \"" + symbol + "\")");
  ASSERT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(o.out, "((" + symbol + " \"" + symbol + "\"))\n");

  Outcome digits = echo(repeat("7", 1 << 20));
  EXPECT_EQ(digits.status, 0);
  // Integers wrap in 32 bits: the value of a million sevens mod 2^32.
  uint32_t value = 0;
  for (int i = 0; i < (1 << 20); i++) value = value * 10u + 7u;
  EXPECT_EQ(digits.out, "(" + std::to_string(static_cast<int32_t>(value)) + ")\n");
}

TEST(HostileInputTest, IntegersPast32Bits) {
  const struct {
    const char* token;
    const char* printed;
  } cases[] = {
      {"4294967297", "1"},
      {"2147483648", "-2147483648"},
      {"-2147483649", "2147483647"},
      {"99999999999", "1215752191"},
      {"4294967296.25", "0.250000"},
  };
  for (const auto& c : cases) {
    Outcome o = echo(c.token);
    EXPECT_EQ(o.status, 0) << c.token;
    EXPECT_EQ(o.out, std::string("(") + c.printed + ")\n") << c.token;
  }
}

TEST(HostileInputDeathTest, NulAndControlBytes) {
  const struct {
    std::string input;
    int code;
    int character;
  } cases[] = {
      {std::string("(a\0b)", 5), 0, 3},
      {"(a \x1b[31m)", 27, 4},
      {"; comment \x7f ok\n\"\x1f\"", 31, 2},
  };
  for (const auto& c : cases) {
    Outcome o = echo(c.input);
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "Character code=" + std::to_string(c.code) + "\n");
    EXPECT_EQ(o.err, position("-", c.input[0] == ';' ? 2 : 1, c.character) +
                         "Invalid character\n");
  }
  // DEL and bytes above 127 are ordinary characters of a file.
  Outcome o = echo("(a\x7f \xc8\xff)");
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.out, "((a\x7f \xc8\xff))\n");
  // In a text a NUL ends the text.
  EXPECT_TRUE(equal(parse(std::string("(a b)\0(c)", 9).c_str()), parse("(a b)")));
}

// Whatever the bytes, the reader ends with one of its own messages.
TEST(HostileInputDeathTest, BinaryGarbage) {
  const std::vector<std::string> messages = {
      "Invalid character\n",   "unexpected left parenthesis\n", "unexpected character\n",
      "end of file in list\n", "end of file in string\n",       "malformed number\n",
      "malformed fraction\n"};
  std::mt19937 random(20240601);
  for (int round = 0; round < 40; round++) {
    std::string bytes(1 + random() % 2000, '\0');
    for (char& b : bytes) b = static_cast<char>(random() % 256);
    Outcome o = echo(bytes);
    ASSERT_TRUE(endedByItself(o)) << round;
    if (o.status == 0) continue;
    size_t line = o.err.find('\n');
    ASSERT_NE(line, std::string::npos);
    EXPECT_EQ(o.err.rfind("File - line ", 0), 0u) << o.err;
    std::string message = o.err.substr(line + 1);
    EXPECT_NE(std::find(messages.begin(), messages.end(), message), messages.end()) << message;
  }
}

TEST(HostileInputDeathTest, TruncatedAndWronglyScrambledFiles) {
  {
    AnnuityRun run(ANNUITY_MODEL.substr(0, 60), "");
    Outcome o = run.exec();
    EXPECT_EQ(o.status, 1);
    // Cut inside "(alive de" on line 2.
    EXPECT_EQ(o.err, position("m.bin", 2, 16) + "end of file in list\n");
  }
  {
    // Scrambled for another base name: the bytes come out as noise.
    AnnuityRun run(ANNUITY_MODEL, "");
    write_scrambled(run.dir.file("other.bin"), ANNUITY_MODEL);
    rename(run.dir.file("other.bin").c_str(), run.dir.file("work/m.bin").c_str());
    Outcome o = run.exec();
    EXPECT_EQ(o.status, 1);
    EXPECT_NE(o.err.find("\nInvalid character\n"), std::string::npos) << o.err;
  }
  {
    AnnuityRun run(ANNUITY_MODEL, "");
    write_file(run.dir.file("work/m.bin"), "");
    write_file(run.dir.file("work/p.bin"), "");
    Outcome o = run.exec();
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "\n(portfolio)\n");
    EXPECT_EQ(o.err, position("r.bin", 1, 27) + "verifyCompoundExpression: Unknown operator\n");
  }
}

// A generated name that cannot fit in a line of the program: the model's
// state names enter the names of the program's variables.
TEST(HostileInputDeathTest, OverlongIdentifierInGeneratedText) {
  std::string state = repeat("s", 1000);
  std::string model = "(cdef t_span t (v_span (span 0 0)))\n(split () all (" + state +
                      " dead) (init (quote " + state + ")) (intensity " + state +
                      " dead 0.01))\n(product_definition (annuity) (= 0 0) (while " + state +
                      " 1.0))\n";
  AnnuityRun run(model);
  Outcome o = run.exec();
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, "flattenToBuffer overflow\n");
  // Nothing of the unfinished program stays.
  struct stat info;
  EXPECT_NE(stat(run.dir.file("bin/tx").c_str(), &info), 0);
}

TEST(HostileInputDeathTest, CyclicLookingDefinitions) {
  const struct {
    std::vector<std::string> lines;
    std::string out;
    std::string err;
  } cases[] = {
      // A definition sees only those before it: no cycle can be closed.
      {{"(define (f) (g))", "(define (g) (f))"},
       "\n(g)\n",
       at(2, 14) + "verifyCompoundExpression: Unknown operator\n"},
      {{"(define (f x) (f x))"},
       "\n(f x)\n",
       at(2, 16) + "verifyCompoundExpression: Unknown operator\n"},
      {{"(cdef t_span a b)", "(cdef t_span b a)"}, "b\n", at(2, 16) + "verifyCExpr: Unknown variable\n"},
      {{"(cdef t_span a a)"}, "a\n", at(2, 16) + "verifyCExpr: Unknown variable\n"},
  };
  for (const auto& c : cases) {
    Outcome o = run_fatal([&] { runPasses(script(c.lines)); });
    EXPECT_EQ(o.status, 1) << c.lines[0];
    EXPECT_EQ(o.out, c.out) << c.lines[0];
    EXPECT_EQ(o.err, c.err) << c.lines[0];
  }
  // A cdef used twice over is translated once: diamonds are not cycles.
  Model m = runPasses(script({"(cdef t_span a (v_span (span 1 0)))", "(cdef t_span b (+ a a))",
                              "(cdef t_span c (+ b b))", "(cdef t_span d (+ c c))"}));
  EXPECT_EQ(length(m.cdefs), 4);
}

// 100,000 policies are read, checked and evaluated, and their records
// built; lists that long are walked with loops. (Valued end to end with
// tcc they take about a minute and a half, too long for a test.)
TEST(HostileInputTest, PortfolioOf100000Policies) {
  const int policies = 100000;
  std::string policy =
      "(assoc (\"products\" (list (assoc (\"product_definition\" \"annuity\") (\"from\" 1) "
      "(\"to\" 2)))))\n";
  std::vector<std::string> lines = {
      "(cdef t_span t (v_span (span 0 0)))",
      "(split () all (alive dead) (init (quote alive)) (intensity alive dead 0.01))",
      "(product_definition (annuity) (= 0 0) (while alive 1.0))",
      "(define (portfolio) (assoc (\"policies\" (list " + repeat(policy, policies) + "))))"};
  Model m = runPasses(script(lines));
  const Cell* portfolio = eval(parse("(portfolio)"), m.defs, nil());
  EXPECT_EQ(length(aget_string(portfolio, "policies")), policies);
  const Cell* records = buildPolicyProducts(portfolio, m.products);
  EXPECT_EQ(length(records), policies);
  EXPECT_EQ(length(orderByExpiry(records, m.cdefs, m.defs)), policies);
}

}  // namespace
