// The basis functions of the calculation program: their exact text, and
// what they compute once the real tcc has built them against talvon's
// windows.h and they run with the raised stack.
#include "codegen/basis_code.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "codegen/emitter.h"
#include "codegen/identifiers.h"
#include "core/infix_parser.h"
#include "core/list.h"
#include "core/reader.h"
#include "driver/diagnostics.h"
#include "platform/child_process.h"
#include "platform/compat_include.h"
#include "support/emitted.h"
#include "support/model_script.h"
#include "support/process.h"

namespace {

std::string readable(const std::function<void()>& body) { return emitted(false, body); }

// The intensities of one sex as infix texts, in the basis's own form.
struct Intensities {
  const char* alive_dead;
  const char* marriage;
  const char* divorce;
  const char* age_distribution;
};

using Table = std::pair<const char*, std::vector<double>>;

const Cell* sex_basis(const Intensities& sex) {
  const Cell* entries = nil();
  entries = acons(string("age_distribution"), parseExpr0(sex.age_distribution), entries);
  entries = acons(string("married->unmarried"), parseExpr0(sex.divorce), entries);
  entries = acons(string("unmarried->married"), parseExpr0(sex.marriage), entries);
  entries = acons(string("waisen_factor"), parseExpr0("0.3"), entries);
  return acons(string("alive->dead"), parseExpr0(sex.alive_dead), entries);
}

const Cell* portfolio_with(const Intensities& male, const Intensities& female,
                           const std::vector<Table>& tables) {
  const Cell* dfsa = nil();
  for (const Table& table : tables) {
    const Cell* values = nil();
    for (size_t i = table.second.size(); i-- > 0;) values = cons(real(table.second[i]), values);
    dfsa = acons(string(table.first), values, dfsa);
  }
  const Cell* basis = nil();
  basis = acons(string("dfsa (Finanstilsynet)"), dfsa, basis);
  basis = acons(string("female"), sex_basis(female), basis);
  basis = acons(string("male"), sex_basis(male), basis);
  basis = acons(string("yield_curve"), parseExpr0("0.01"), basis);
  return acons(string("policies"), nil(), acons(string("basis"), basis, nil()));
}

const Intensities NOTHING_HAPPENS = {"0", "0", "0", "0"};

const std::vector<Table> SMALL_TABLES = {
    {"dfsa_mortality_male", {0.25}},
    {"dfsa_yield", {1.0, 2.0, 3.0}},
    {"dfsa_mortality_female", {0.5, 0.75}},
    {"dfsa_mortality_improvement_female", {-0.01}},
    {"dfsa_mortality_improvement_male", {12.5, 0.0}},
};

// Every table in its fixed order, with dfsa_mortality_improvement_female
// absent, as the calculation program must hold them.
TEST(BasisCodeTest, TablesTextInReadableMode) {
  std::vector<Table> tables = SMALL_TABLES;
  tables.erase(tables.begin() + 3);
  const Cell* portfolio = portfolio_with(NOTHING_HAPPENS, NOTHING_HAPPENS, tables);
  EXPECT_EQ(readable([&] { emitBasisTables(portfolio); }),
            read_file(TALVON_SOURCE_DIR "/tests/codegen/expected/basis_tables.c"));
}

TEST(BasisCodeDeathTest, ATableEntryMustBeAReal) {
  const Cell* portfolio =
      acons(string("basis"),
            list1(cons(string("dfsa (Finanstilsynet)"),
                       list1(cons(string("dfsa_yield"), parse("(1.0 2 3.0)"))))),
            nil());
  Outcome o = run_fatal([&] { readable([&] { emitTable(portfolio, string("dfsa_yield")); }); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, position("(from string)", 1, 6) + "value of non-real\n");
}

TEST(BasisCodeDeathTest, AMissingIntensityEndsTheRunInItsTranslation) {
  const Cell* portfolio = acons(
      string("basis"),
      list1(cons(string("male"), list1(cons(string("alive->dead"), parseExpr0("0.01"))))), nil());
  Outcome o = run_fatal([&] { readable([&] { emitBasisFunctions(portfolio); }); });
  EXPECT_EQ(o.status, 1);
  // The missing entry is the nil that the lookup gives.
  EXPECT_TRUE(ownPosition(o.err, "core/list.cpp", "ctermToCtext: Unknown atom")) << o.err;
}

TEST(BasisCodeDeathTest, AFunctionOfAgeKnowsNoOtherVariable) {
  Outcome o =
      run_fatal([] { readable([] { emitAgeFunction(symbol("f"), parse("age_spouse")); }); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "age_spouse\n");
  EXPECT_EQ(o.err, position("(from string)", 1, 1) + "Unknown C variable\n");
}

TEST(BasisCodeTest, BasisFunctionsTextInReadableMode) {
  Intensities male = {"min(1,0.0005+age/12000)", "0", "0.001", "gauss(age_spouse,age-36,60)"};
  Intensities female = {"span2years(age)/1000", "0", "0", "0"};
  const Cell* portfolio = portfolio_with(male, female, SMALL_TABLES);
  EXPECT_EQ(readable([&] { emitBasisFunctions(portfolio); }),
            read_file(TALVON_SOURCE_DIR "/tests/codegen/expected/basis_functions.c"));
}

// The calculation program around the basis: its includes and MONTH_LIMIT,
// the basis code, and a main that marks the caches and runs `checks`.
std::string program_text(const Cell* portfolio, const std::string& checks) {
  return "#include <stdio.h>\n"
         "#include <stdlib.h>\n"
         "#include <math.h>\n"
         "#include <windows.h>\n"
         "\n"
         "#define MONTH_LIMIT 1440\n"
         "\n" +
         readable([&] {
           emitBasisTables(portfolio);
           emitBasisFunctions(portfolio);
         }) +
         "int main(int argc,char **argv){\n"
         "  one_over_sqrt_two_pi=1.0/sqrt(2.0*M_PI);\n"
         "  int month;\n"
         "  for(month=0;month<MONTH_LIMIT;month++){\n"
         "    one_alive_both_dead_male[month]=-1.0;\n"
         "    one_alive_both_dead_female[month]=-1.0;}\n" +
         checks + "  return 0;}\n";
}

std::string talvon_dir() {
  std::string exe = TALVON_EXE;
  return exe.substr(0, exe.rfind('/'));
}

// Builds the text with tcc as the back end does, then runs it with the
// calculation program's stack; gives what the program wrote.
Outcome build_and_run(const std::string& text) {
  TempDir dir;
  write_file(dir.file("tx"), text);
  std::vector<std::string> compile =
      tcc_command(compat_include_dir_near(talvon_dir()), dir.file("tmp"), dir.file("tx"));
  Outcome built = run_fatal([&] {
    ChildExit e = run_child(compile);
    if (!e.started) system_error_exit("tcc: CreateProcess failed");
    exit(e.status);
  });
  EXPECT_EQ(built.status, 0) << built.out << built.err;
  EXPECT_EQ(built.out + built.err, "");
  return run_fatal([&] {
    ChildExit e = run_child({dir.file("tmp")}, CALCULATION_STACK_BYTES);
    if (!e.started) system_error_exit("tmp: CreateProcess failed");
    exit(e.status);
  });
}

// Prints the cache of one sex: its least and greatest entry over the first
// 50 years, the entry of month 1439, and the entries at two ages. (Late in
// life the mass still alive is so small that the quotient loses digits.)
const char* const PRINT_CACHE =
    "void show(double *cache){\n"
    "  double low=cache[0],high=cache[0];\n"
    "  int m;\n"
    "  for(m=0;m<600;m++){\n"
    "    if(cache[m]<low) low=cache[m];\n"
    "    if(cache[m]>high) high=cache[m];}\n"
    "  printf(\"%.9f %.9f %.1f %.9f %.9f\\n\",low,high,cache[MONTH_LIMIT-1],\n"
    "    cache[12],cache[600]);}\n";

std::string with_show(const std::string& program) {
  size_t main_at = program.find("int main(");
  return program.substr(0, main_at) + PRINT_CACHE + program.substr(main_at);
}

// The tables interpolate by month, gauss is cut off beyond ten deviations,
// and no intensities give no collective mortality.
TEST(BasisProgramTest, TablesGaussAndNoCollectiveMortality) {
  const Cell* portfolio = portfolio_with(NOTHING_HAPPENS, NOTHING_HAPPENS, SMALL_TABLES);
  Outcome o = build_and_run(
      with_show(program_text(portfolio,
                             "  printf(\"%.6f %.6f\\n\",gauss(0,0,1),gauss(3,1,2));\n"
                             "  printf(\"%d %d %d %d\\n\",gauss(10,0,1)>0,gauss(10.0001,0,1)==0.0,\n"
                             "    gauss(-20,0,2)>0,gauss(-20.01,0,2)==0.0);\n"
                             "  double t[]={-5,0,6,7.5,12,18,24,30,1000};\n"
                             "  int i;\n"
                             "  for(i=0;i<9;i++) printf(\"%.4f \",dfsa_yield(t[i]));\n"
                             "  printf(\"| %.4f %.4f %.4f %.4f\\n\",\n"
                             "    dfsa_mortality_male(500),dfsa_mortality_female(6),\n"
                             "    dfsa_mortality_improvement_male(3),\n"
                             "    dfsa_mortality_improvement_female(-1));\n"
                             "  printf(\"%.1f\\n\",collectiveMortalityMale(30));\n"
                             "  show(one_alive_both_dead_male);\n"
                             "  printf(\"%.1f\\n\",collectiveMortalityFemale(1439));\n"
                             "  show(one_alive_both_dead_female);\n")));
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(o.out,
            "0.398942 0.120985\n1 1 1 1\n"
            "1.0000 1.0000 1.5000 1.6250 2.0000 2.5000 3.0000 3.0000 3.0000 "
            "| 0.2500 0.6250 9.3750 -0.0100\n"
            "0.0\n"
            "0.000000000 0.000000000 0.0 0.000000000 0.000000000\n"
            "0.0\n"
            "0.000000000 0.000000000 0.0 0.000000000 0.000000000\n");
}

TEST(BasisProgramTest, AMarriedInsuredDiesAloneOnlyWhenTheSpouseDies) {
  // Men marry at 5% a month, spread evenly over all ages of a wife.
  Intensities male = {"0.01", "if(age<240,0,0.05)", "0", "1/1439"};
  Intensities immortal_wives = {"0", "0", "0", "0"};
  Intensities short_lived_wives = {"1", "0", "0", "0"};
  const char* const checks =
      "  collectiveMortalityMale(0);\n"
      "  show(one_alive_both_dead_male);\n"
      "  printf(\"%.12f %.12f\\n\",one_alive_both_dead_male[239],\n"
      "    one_alive_both_dead_male[300]);\n";
  // The cache's least, greatest and last entry, months 12 and 600, then
  // months 239 and 300.
  auto cache = [&](const Intensities& wives) {
    Outcome o = build_and_run(with_show(program_text(portfolio_with(male, wives, {}), checks)));
    EXPECT_EQ(o.status, 0) << o.err;
    std::vector<double> v(7);
    EXPECT_EQ(sscanf(o.out.c_str(), "%lf %lf %lf %lf %lf\n%lf %lf", &v[0], &v[1], &v[2], &v[3],
                     &v[4], &v[5], &v[6]),
              7)
        << o.out;
    return v;
  };
  // Unmarried men die at their own rate; married ones leave a widow.
  std::vector<double> v = cache(immortal_wives);
  EXPECT_DOUBLE_EQ(v[3], 0.01);
  EXPECT_DOUBLE_EQ(v[5], 0.01);
  EXPECT_GT(v[6], 0.0);
  EXPECT_LT(v[6], 0.001);
  EXPECT_LT(v[4], 1e-9);
  EXPECT_GE(v[0], 0.0);
  EXPECT_EQ(v[2], 0.0);
  // A wife who dies within her first month turns him single again at once.
  v = cache(short_lived_wives);
  EXPECT_DOUBLE_EQ(v[5], 0.01);
  EXPECT_GT(v[6], 0.009);
  EXPECT_EQ(v[2], 0.0);
}

}  // namespace
