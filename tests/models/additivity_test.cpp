// A policy's value does not depend on the policies that share its run: a
// portfolio valued whole sends, per account pair and month and for the
// reserves, the sums of what its policies send valued one by one. Through
// the real talvon server, tcc and the front end's FIFOs.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/fifo_reader.h"
#include "support/process.h"
#include "support/results.h"

namespace {

const std::string SOURCE = TALVON_SOURCE_DIR;
const std::string MODEL = SOURCE + "/models/pension/model.tal";
const int MONTHS = 1440;

// Per account pair: the cashflows of the months, then the reserve.
using Flows = std::map<std::pair<int, int>, std::vector<double>>;

Flows value(const std::string& portfolio) {
  TempDir dir;
  mkdir(dir.file("work").c_str(), 0700);
  mkdir(dir.file("bin").c_str(), 0700);
  write_scrambled(dir.file("work/m.bin"), read_file(MODEL));
  write_scrambled(dir.file("work/p.bin"), portfolio);
  write_scrambled(dir.file("work/r.bin"), "(define (task) (cashflow (portfolio)))\n");
  FifoReader progress(dir.file("progress"));
  FifoReader results(dir.file("results"));
  Outcome o = run_program(
      {TALVON_EXE, "server", "m.bin", "p.bin", "r.bin", progress.path, results.path}, "",
      dir.file("work"));
  EXPECT_EQ(o.status, 0) << o.out << o.err;
  progress.finish();
  Flows flows;
  for (const ResultRecord& r : decode_results(results.finish())) {
    flows[{r.x, r.y}].push_back(r.value);
  }
  for (const auto& [pair, values] : flows) EXPECT_EQ(values.size(), size_t(MONTHS + 1));
  return flows;
}

// The portfolios of one policy each. After "policies", a policy starts at
// a line indented four spaces with "("; the policies end at the last line,
// "))))".
std::vector<std::string> onePolicyEach(const std::string& text) {
  std::vector<size_t> starts;
  for (size_t at = text.find("\n    (", text.find("(\"policies\"")); at != std::string::npos;
       at = text.find("\n    (", at + 1)) {
    starts.push_back(at + 1);
  }
  size_t end = text.rfind("\n))))") + 1;
  starts.push_back(end);
  std::vector<std::string> portfolios;
  for (size_t i = 0; i + 1 < starts.size(); i++) {
    portfolios.push_back(text.substr(0, starts[0]) + text.substr(starts[i], starts[i + 1] - starts[i]) +
                         text.substr(end));
  }
  return portfolios;
}

// The second random portfolio that the generate task writes.
std::string generated(int count) {
  TempDir dir;
  write_file(dir.file("p.tal"), "(define (portfolio) (assoc (\"policies\" ())))\n");
  write_file(dir.file("r.tal"),
             "(define (task) (generate " + std::to_string(count) + " \"a.bpf\" \"b.bpf\"))\n");
  Outcome o = run_program({TALVON_RUN_EXE, "-q", "-o", dir.file("out"), MODEL, dir.file("p.tal"),
                           dir.file("r.tal")});
  EXPECT_EQ(o.status, 0) << o.err;
  return read_file(dir.file("out/b.bpf"));
}

std::string replaced(std::string text, const std::string& old, const std::string& by) {
  return text.replace(text.find(old), old.size(), by);
}

TEST(AdditivityTest, WholePortfolioIsTheSumOfItsPolicies) {
  const std::string mixed = read_file(SOURCE + "/tests/models/additivity/mixed.tal");
  const std::pair<const char*, std::string> portfolios[] = {
      {"generated", generated(5)},
      {"mixed", mixed},
      {"mixed, seven states",
       replaced(mixed, "(\"seven_state\" (parseBool ()))", "(\"seven_state\" (parseBool 0))")},
  };
  for (const auto& [what, text] : portfolios) {
    Flows whole = value(text);
    std::vector<std::string> policies = onePolicyEach(text);
    ASSERT_GT(policies.size(), 2u) << what;
    Flows sums, magnitudes;
    for (const std::string& policy : policies) {
      for (const auto& [pair, values] : value(policy)) {
        sums[pair].resize(MONTHS + 1);
        magnitudes[pair].resize(MONTHS + 1);
        for (size_t i = 0; i < values.size() && i <= size_t(MONTHS); i++) {
          sums[pair][i] += values[i];
          magnitudes[pair][i] += std::fabs(values[i]);
        }
      }
    }
    ASSERT_EQ(whole.size(), sums.size()) << what;
    for (const auto& [pair, values] : whole) {
      const std::vector<double>& sum = sums[pair];
      ASSERT_EQ(sum.size(), values.size()) << what << " " << pair.first << "->" << pair.second;
      for (size_t i = 0; i < values.size(); i++) {
        double scale = std::max(std::fabs(values[i]), magnitudes[pair][i]);
        ASSERT_LE(std::fabs(values[i] - sum[i]), 1e-12 * scale)
            << what << " " << pair.first << "->" << pair.second
            << (i < size_t(MONTHS) ? " month " + std::to_string(i) : " reserve");
      }
    }
  }
}

}  // namespace
