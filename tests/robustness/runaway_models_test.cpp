// Models that pass every check must not end in a crash, a runaway, a
// calculation program that tcc rejects or a silent wrong number: each ends
// with its message at its place, or gets the meaning a modeller expects.
// All through the real talvon (and talvon-run where numbers are read).
#include <gtest/gtest.h>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "support/annuity_run.h"
#include "support/process.h"

namespace {

const std::string& M = ANNUITY_MODEL;  // 3 lines
const std::string& P = ANNUITY_PORTFOLIO;  // 11 lines
const std::string R = "(define (task) (cashflow (portfolio)))\n";
const std::string CDEF_NAME =
    "cdef: the name must be a C name (letters, digits, _) that is no C keyword and no name of "
    "the calculation program (prob_..., weight_..., x, y, yield, ...)\n";
const std::string NESTED_CALLS = "eval: calls nested too deep: endless recursion of a definition?\n";

std::string with(const std::string& text, const std::string& from, const std::string& to) {
  std::string s = text;
  s.replace(s.find(from), from.size(), to);
  return s;
}

TEST(RunawayModelsDeathTest, EndWithTheirMessageAndLeaveNoProgram) {
  const struct {
    std::string model, portfolio, run, err;
  } cases[] = {
      // A cdef given again in terms of its earlier self.
      {M + "(cdef t_span w (v_span (span 0 1)))\n(cdef t_span w (+ w w))\n", P, R,
       position("m.bin", 5, 7) +
           "cdef: defined in terms of itself (a name has one definition, its last: give the new "
           "one a name of its own)\n"},
      // Endless recursion of a definition, in the run script and in the portfolio.
      {M, P, "(define (f n) 0)\n(define (f n) (f n))\n(define (task) (cashflow (f 1)))\n",
       position("r.bin", 2, 16) + NESTED_CALLS},
      {M, P + "(define (portfolio) (portfolio))\n", R, position("p.bin", 12, 22) + NESTED_CALLS},
      // Shapes whose C text tcc would reject, refused at the check.
      {with(M, "0.01)", "0.01) (intensity alive alive 0.5)"), P, R,
       position("m.bin", 2, 88) +
           "An intensity from a state to itself is not written: staying is 1 less the state's "
           "other intensities\n"},
      {with(M, "0.01)", "0.01) (intensity alive dead 0.02)"), P, R,
       position("m.bin", 2, 88) + "A second intensity between the same two states: write their sum as one\n"},
      {with(M, "0.01)", "0.01) (intensity dead alive 0.01))\n(split () alive (a b) (init (quote a))"),
       P, R,
       position("m.bin", 3, 11) +
           "A split of a state that an intensity enters needs (weight CHILD EXPRESSION) for every "
           "child but one\n"},
      {M + "(cdef t_span x (v_span (span 0 1)))\n", P, R, position("m.bin", 4, 14) + CDEF_NAME},
      {M + "(cdef t_span int (v_span (span 0 1)))\n", P, R, position("m.bin", 4, 14) + CDEF_NAME},
      {M + "(split () dead (a-b c) (init (quote c)))\n", P, R,
       position("m.bin", 4, 17) + "Split children must be names of letters, digits and _\n"},
  };
  for (const auto& c : cases) {
    AnnuityRun run(c.model, c.portfolio, c.run);
    Outcome o = run.exec();
    EXPECT_EQ(o.status, 1) << c.err;
    EXPECT_EQ(o.err, c.err);
    EXPECT_EQ(run.files("bin"), std::vector<std::string>{}) << c.err;
  }
}

// Finite recursion a million calls deep still works; a value that is no
// finite number, and a model without a cdef t, give programs that compile.
TEST(RunawayModelsTest, RunToTheEnd) {
  const std::string count =
      "(define (count n) 0)\n(define (count n) (if (= n 0) 0 (+ 1 (count (- n 1)))))\n";
  const struct {
    std::string model, portfolio;
  } cases[] = {
      {M, count + with(P, "(\"from\" 1)", "(\"from\" (- (count 1000000) 999999))")},
      {with(M, "0.01)", "(v_real (- (/ 1.0 0.0) (/ 1.0 0.0))))"),
       with(P, "(list 1.0)", "(list (/ -1.0 0.0))")},
      // The month loop's t is declared also when no cdef defines it.
      {with(M, "(cdef t_span t (v_span (span 0 0)))\n", ""), P},
  };
  for (const auto& c : cases) {
    AnnuityRun run(c.model, c.portfolio);
    Outcome o = run.exec();
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.err, "");
  }
}

// Shapes that get the meaning a modeller expects, valued by talvon-run.
TEST(RunawayModelsTest, ShapesWithTheirExpectedMeaning) {
  const std::string annuity = "\"annuity\"";
  const struct {
    std::string model, product, reserve;
  } cases[] = {
      {M, "annuity", "85.11"},
      // A coefficient that is an expression is valued like any C-level term.
      {M + "(product_definition (half) (= 0 0) (linear_combination ((v_real (* 0.25 2)) (annuity))))\n",
       "half", "42.55"},
      // A cdef given again: its last definition is the one variable.
      {M + "(cdef t_span w (v_span (span 0 1)))\n(cdef t_span w (v_span (span 0 2)))\n"
           "(product_definition (w6) (= 0 0) (while alive (span2years w)))\n",
       "w6", "14.18"},
  };
  for (const auto& c : cases) {
    TempDir dir;
    write_file(dir.file("m.tal"), c.model);
    write_file(dir.file("p.tal"), with(P, annuity, "\"" + c.product + "\""));
    Outcome o = run_program({TALVON_RUN_EXE, "-q", "-o", dir.file("out"), dir.file("m.tal"),
                             dir.file("p.tal")});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out.substr(0, o.out.find("\n\n")), "from  to  flow  reserve\n   1   2          " + c.reserve)
        << c.product;
  }
}

// The two-life collective mortality past its table of 120 years is 1.0: a
// 40-year-old whose mortality it is dies at 120, where it used to read
// the other table's markers and grow without bound.
TEST(RunawayModelsTest, CollectiveMortalityPastTheTableIsCertainDeath) {
  TempDir dir;
  write_file(dir.file("m.tal"),
             with(M, "0.01)", "(collective_mortality_male (+ (v_span (span 40 0)) t)))"));
  write_file(dir.file("p.tal"), P);
  Outcome o = run_program({TALVON_RUN_EXE, "-q", "-o", dir.file("out"), dir.file("m.tal"),
                           dir.file("p.tal")});
  ASSERT_EQ(o.status, 0) << o.err;
  std::string cashflows = read_file(dir.file("out/cashflows.csv"));
  EXPECT_EQ(cashflows.find("\n959,1,2,0\n"), std::string::npos);
  EXPECT_NE(cashflows.find("\n960,1,2,0\n"), std::string::npos);
  EXPECT_NE(cashflows.find("\n1439,1,2,0\n"), std::string::npos);
}

// The socket variant, when the front end takes the connection and closes
// it: the calculation program reports its write() failure.
TEST(RunawayModelsTest, SocketClosedByTheFrontEndIsReported) {
  int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
  std::thread front_end([&] { close(accept(listener, nullptr, nullptr)); });
  AnnuityRun run;
  Outcome o = run.server("-1", std::to_string(ntohs(address.sin_port)));
  front_end.join();
  close(listener);
  EXPECT_EQ(o.status, 0);  // the program's own status is not talvon's
  EXPECT_EQ(o.err.rfind("write(): ", 0), 0u) << o.err;
}

// A fault whose end record cannot be written (the front end has gone):
// the fault's own message first, then the lost record's.
TEST(RunawayModelsDeathTest, LostEndRecordFollowsTheFault) {
  AnnuityRun run("(bogus)\n");
  Outcome o = run.server("/dev/full", "-1");
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, position("m.bin", 1, 2) + "Unknown statement type\ntalvon: WriteFile failed\n");
}

}  // namespace
