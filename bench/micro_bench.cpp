// Micro-benchmarks of talvon's hot paths, as the phase benchmark found
// them: the reader on a generated portfolio, the evaluator on the
// portfolio's definition, the passes that check the model, the emitter's
// compact line writer and the writing of a whole calculation program.
//
// Each run works on a portfolio of the second kind written by the generate
// code itself. The cells a repetition makes are given back after it, so
// memory stays flat however often a benchmark repeats.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "codegen/cashflow_task.h"
#include "codegen/emitter.h"
#include "codegen/identifiers.h"
#include "codegen/surrender_code.h"
#include "core/list.h"
#include "core/reader.h"
#include "driver/file_wrappers.h"
#include "expr/eval.h"
#include "generate/generate_task.h"
#include "model/products.h"
#include "model/splits.h"
#include "model/statements.h"

namespace {

const std::string MODEL = std::string(TALVON_SOURCE_DIR) + "/models/pension/model.tal";

// The path of a random portfolio B of `count` policies, written once.
std::string portfolioFile(int count) {
  std::string path = "/tmp/talvon_micro_bench_" + std::to_string(getpid()) + "_" +
                     std::to_string(count) + ".pf";
  if (access(path.c_str(), F_OK) == 0) return path;
  int mode = compactMode;
  compactMode = 0;
  writeRandomPortfolioB(count, path.c_str());
  compactMode = mode;
  return path;
}

// The model and one portfolio, read and checked as a run does.
struct Model {
  const Cell* cdefs;
  const Cell* defs;
  const Cell* states;
  const Cell* products;
};

Model buildModel(int count) {
  const Cell* statements = append(read_source(MODEL.c_str()), read_source(portfolioFile(count).c_str()));
  verifyStatements(statements);
  Model m;
  m.defs = statementsToDefs(statements);
  m.cdefs = statementsToCdefs(statements, m.defs);
  m.states = statementsToStates(m.cdefs, m.defs, statements, nil());
  m.products = statementsToProducts(m.cdefs, m.defs, statements, m.states);
  return m;
}

const Cell* evaluatedPortfolio(const Model& m) {
  return zeroSurrenderIntensity(eval(list1(symbol("portfolio")), m.defs, nil()));
}

void BM_ReadPortfolio(benchmark::State& state) {
  std::string path = portfolioFile(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    CellMark mark = mark_cells();
    benchmark::DoNotOptimize(read_source(path.c_str()));
    release_cells(mark);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ReadPortfolio)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);

void BM_CheckModel(benchmark::State& state) {
  int count = static_cast<int>(state.range(0));
  portfolioFile(count);
  for (auto _ : state) {
    CellMark mark = mark_cells();
    benchmark::DoNotOptimize(buildModel(count).products);
    release_cells(mark);
  }
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_CheckModel)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);

void BM_EvalPortfolio(benchmark::State& state) {
  Model m = buildModel(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    CellMark mark = mark_cells();
    benchmark::DoNotOptimize(evaluatedPortfolio(m));
    release_cells(mark);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_EvalPortfolio)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);

// The calculation program of the portfolio, written to /dev/null.
void BM_EmitProgram(benchmark::State& state) {
  Model m = buildModel(static_cast<int>(state.range(0)));
  const Cell* portfolio = evaluatedPortfolio(m);
  FILE* sink = open_file("fopen(null)", "/dev/null", "w");
  setOutputFile(sink);
  for (auto _ : state) {
    CellMark mark = mark_cells();
    emitCalculationProgram(portfolio, m.cdefs, m.defs, m.products, m.states, "-1");
    release_cells(mark);
  }
  setOutputFile(stdout);
  close_file("fclose(null)", sink);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_EmitProgram)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);

// A line of a product block as compact mode writes it: identifiers
// scrambled, the rest copied.
void BM_CompactLine(benchmark::State& state) {
  FILE* sink = open_file("fopen(null)", "/dev/null", "w");
  setOutputFile(sink);
  const char* line = "prob_product_1234_state_5+=prob_alive_to_dead*prob_3*weight_married;";
  for (auto _ : state) writeLine(line);
  setOutputFile(stdout);
  close_file("fclose(null)", sink);
}
BENCHMARK(BM_CompactLine);

// A fresh name scrambled each time: the table of remembered names misses.
void BM_ScrambleIdentifier(benchmark::State& state) {
  char name[] = "prob_product_1234_state_5";
  for (auto _ : state) {
    char copy[sizeof name];
    memcpy(copy, name, sizeof name);
    scrambleIdentifier(copy, static_cast<int>(sizeof name - 1));
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_ScrambleIdentifier);

void removePortfolios() {
  std::string pattern = "/tmp/talvon_micro_bench_" + std::to_string(getpid()) + "_";
  for (int count : {10, 100, 1000}) unlink((pattern + std::to_string(count) + ".pf").c_str());
}

}  // namespace

// The texts of released cells stay allocated, as talvon frees nothing; under
// the sanitizers that is no leak worth a report.
extern "C" const char* __asan_default_options() {
  return "detect_leaks=0";
}

int main(int argc, char** argv) {
  initIdentifierTable();
  // The generate code reads its tables as conf/NAME.txt.
  if (chdir(TALVON_SOURCE_DIR "/models") != 0) {
    perror("chdir(models)");
    return 1;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  removePortfolios();
  return 0;
}
