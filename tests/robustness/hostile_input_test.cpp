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

// Deep nesting, huge tokens, integers past 32 bits and control bytes, each
// through `talvon echo -`: its exact output, or its message and position.
TEST(HostileInputDeathTest, EchoedInput) {
  const size_t depth = 100000;
  const std::string symbol = repeat("abcdefgh", 512 * 1024);  // 4 MiB
  uint32_t sevens = 0;  // a million sevens, wrapped in 32 bits
  for (int i = 0; i < (1 << 20); i++) sevens = sevens * 10u + 7u;
  const std::string code = "Character code=";
  const struct {
    std::string input;
    int status;
    std::string out, err;
  } cases[] = {
      // The innermost list meets the end first, just after its parenthesis.
      {repeat("(", depth), 1, "", position("-", 1, 100000) + "end of file in list\n"},
      // A file's one outer list is unwrapped, and the printer adds it back.
      {repeat("(", depth) + "x" + repeat(")", depth), 0,
       repeat("(", depth) + "x" + repeat(")", depth) + "\n", ""},
      {repeat(")", depth), 1, "", position("-", 1, 1) + "unexpected left parenthesis\n"},
      {"(" + symbol + " \"" + symbol + "\")", 0, "((" + symbol + " \"" + symbol + "\"))\n", ""},
      {repeat("7", 1 << 20), 0, "(" + std::to_string(static_cast<int32_t>(sevens)) + ")\n", ""},
      {"-2147483649", 0, "(2147483647)\n", ""},
      {"99999999999", 0, "(1215752191)\n", ""},
      {"4294967296.25", 0, "(0.250000)\n", ""},
      {std::string("(a\0b)", 5), 1, code + "0\n", position("-", 1, 3) + "Invalid character\n"},
      {"(a \x1b[31m)", 1, code + "27\n", position("-", 1, 4) + "Invalid character\n"},
      {"; comment \x7f ok\n\"\x1f\"", 1, code + "31\n", position("-", 2, 2) + "Invalid character\n"},
      // DEL and bytes above 127 are ordinary characters of a file.
      {"(a\x7f \xc8\xff)", 0, "((a\x7f \xc8\xff))\n", ""},
  };
  for (const auto& c : cases) {
    Outcome o = echo(c.input);
    EXPECT_EQ(o.status, c.status) << c.input.substr(0, 20);
    EXPECT_EQ(o.out, c.out) << c.input.substr(0, 20);
    EXPECT_EQ(o.err, c.err) << c.input.substr(0, 20);
  }
  // In a text a NUL ends the text.
  EXPECT_TRUE(equal(parse(std::string("(a b)\0(c)", 9).c_str()), parse("(a b)")));
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
    ASSERT_TRUE(o.status == 0 || o.status == 1) << round;
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
