#include "codegen/basis_code.h"

#include <cstdio>

#include "codegen/emitter.h"
#include "core/list.h"
#include "expr/ctext.h"

namespace {

const Cell* dfsa_tables(const Cell* portfolio) {
  return aget_string(aget_string(portfolio, "basis"), "dfsa (Finanstilsynet)");
}

// Entries go straight to the output file, one number at a time, so that a
// table of any length fits.
void emit_table_entries(const Cell* entries) {
  for (const Cell* e = entries; is_cons(e); e = tail(e)) {
    double value = real_value(head(e));
    if (nonFiniteText(value) != nullptr) {
      fprintf(outputFile(), compactMode ? "%s, " : "  %s,\n", nonFiniteText(value));
    } else if (compactMode) {
      fprintf(outputFile(), "%18.16f, ", value);
    } else {
      fprintf(outputFile(), "  %18.16f,\n", value);
    }
  }
}

void emit_function_of_age(const char* head_line, const Cell* name, const Cell* expression,
                          const Cell* accumulator) {
  emitTemplate1(0, head_line, name);
  emitLine(2, "double result;");
  const Cell* result = symbol("result");
  emitAssignments(2, bindCtext(result, expression, nil(), nil(), nil(), accumulator));
  emitLine(2, "return result;}");
  emitBlankLine();
}

// The sexes in the order their functions are written, with the names
// that stand for them in the calculation program.
struct Sex {
  const char* key;  // in the basis
  const char* capitalized;
  const char* other;
  const char* alive_dead;
  const char* gamma;
  const char* sigma;
  const char* g;
};

const Sex SEXES[] = {
    {"male", "Male", "female", "alive_dead_male", "gamma_male", "sigma_male", "g_male"},
    {"female", "Female", "male", "alive_dead_female", "gamma_female", "sigma_female", "g_female"},
};

void emit_functions_of_age(const Cell* basis, const Sex& sex) {
  const Cell* intensities = aget_string(basis, sex.key);
  emitAgeFunction(symbol(sex.alive_dead), aget(intensities, string("alive->dead")));
  emitAgeFunction(symbol(sex.gamma), aget(intensities, string("unmarried->married")));
  emitAgeFunction(symbol(sex.sigma), aget(intensities, string("married->unmarried")));
  emitAgeSpouseFunction(symbol(sex.g), aget(intensities, string("age_distribution")));
}

void emit_compute_function(const Sex& sex) {
  emitTemplate1(0, "void computeCollectiveMortality%(){", symbol(sex.capitalized));
  emitCollectiveMortalityBody(symbol(sex.key), symbol(sex.other));
  emitLine(0, "}");
  emitBlankLine();
}

void emit_cached_accessor(const Sex& sex) {
  const Cell* name = symbol(sex.capitalized);
  const Cell* key = symbol(sex.key);
  emitTemplate1(0, "double collectiveMortality%(double age){", name);
  // The table ends at 120 years: nobody outlives it, so an age past it (or
  // no number at all) is certain death; an age below 0 reads age 0.
  emitLine(0, "  if(!(age<MONTH_LIMIT-0.5)) return 1.0;");
  emitLine(0, "  if(age<0) age=0;");
  emitLine(0, "  int age1=round(age);");
  emitTemplate1(0, "  double result=one_alive_both_dead_%[age1];", key);
  emitLine(0, "  if(result>=0) return result;");
  emitTemplate1(0, "  computeCollectiveMortality%();", name);
  emitTemplate1(0, "  return one_alive_both_dead_%[age1];}", key);
  emitBlankLine();
}

// A line of the compute function's body: its text (nullptr for a blank
// line) and what fills its hole.
enum Hole { NONE, INSURED, SPOUSE };
struct BodyLine {
  const char* text;
  Hole hole;
};

const BodyLine COLLECTIVE_MORTALITY_BODY[] = {
    {"int month,monthSpouse;", NONE},
    {"double intensity,probability;", NONE},
    {"double alive_none[MONTH_LIMIT];", NONE},
    {"double dead_none[MONTH_LIMIT];", NONE},
    {"double alive_alive[MONTH_LIMIT][MONTH_LIMIT];", NONE},
    {"double dead_alive[MONTH_LIMIT][MONTH_LIMIT];", NONE},
    {"double spouse_mortality[MONTH_LIMIT];", NONE},
    {nullptr, NONE},
    {"// Initialize for insured age 0 months", NONE},
    {"alive_none[0]=1;", NONE},
    {"dead_none[0]=0;", NONE},
    {"for(monthSpouse=0;monthSpouse<MONTH_LIMIT;monthSpouse++){", NONE},
    {"  alive_alive[0][monthSpouse]=0;", NONE},
    {"  dead_alive[0][monthSpouse]=0;}", NONE},
    {"for(month=0;month<MONTH_LIMIT;month++){", NONE},
    {"  alive_alive[month][0]=0;", NONE},
    {"  dead_alive[month][0]=0;}", NONE},
    {nullptr, NONE},
    {"// The final collective mortality (which is not computed)", NONE},
    {"one_alive_both_dead_%[MONTH_LIMIT-1]=0.0;", INSURED},
    {nullptr, NONE},
    {"// Tabulate spouse intensity", NONE},
    {"for(month=0;month<MONTH_LIMIT;month++){", NONE},
    {"  spouse_mortality[month]=alive_dead_%(month);}", SPOUSE},
    {nullptr, NONE},
    {"// Move the age of the insured forward one month at a time", NONE},
    {"for(month=1;month<MONTH_LIMIT;month++){", NONE},
    {nullptr, NONE},
    {"  // Move probabilities one month forward without any transitions", NONE},
    {"  alive_none[month]=alive_none[month-1];", NONE},
    {"  dead_none[month]=dead_none[month-1];", NONE},
    {"  for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){", NONE},
    {"    alive_alive[month][monthSpouse]=", NONE},
    {"      alive_alive[month-1][monthSpouse-1];", NONE},
    {"    dead_alive[month][monthSpouse]=", NONE},
    {"      dead_alive[month-1][monthSpouse-1];}", NONE},
    {nullptr, NONE},
    {"  // Take the mortality of the insured into account", NONE},
    {"  intensity=alive_dead_%(month-1);", INSURED},
    {"  probability=intensity*alive_none[month-1];", NONE},
    {"  alive_none[month]-=probability;", NONE},
    {"  dead_none[month]+=probability;", NONE},
    {"  for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){", NONE},
    {"    probability=intensity*alive_alive[month-1][monthSpouse-1];", NONE},
    {"    alive_alive[month][monthSpouse]-=probability;", NONE},
    {"    dead_alive[month][monthSpouse]+=probability;}", NONE},
    {nullptr, NONE},
    {"  // Take the mortality of the spouse into account", NONE},
    {"  for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){", NONE},
    {"    intensity=spouse_mortality[monthSpouse-1];", NONE},
    {"    probability=intensity*alive_alive[month-1][monthSpouse-1];", NONE},
    {"    alive_alive[month][monthSpouse]-=probability;", NONE},
    {"    alive_none[month]+=probability;", NONE},
    {"    probability=intensity*dead_alive[month-1][monthSpouse-1];", NONE},
    {"    dead_alive[month][monthSpouse]-=probability;", NONE},
    {"    dead_none[month]+=probability;}", NONE},
    {nullptr, NONE},
    {"  // Take the divorse intensity into account", NONE},
    {"  intensity=sigma_%(month-1);", INSURED},
    {"  for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){", NONE},
    {"    probability=intensity*alive_alive[month-1][monthSpouse-1];", NONE},
    {"    alive_alive[month][monthSpouse]-=probability;", NONE},
    {"    alive_none[month]+=probability;}", NONE},
    {nullptr, NONE},
    {"  // Take the marriage intensity into account", NONE},
    {"  intensity=gamma_%(month-1);", INSURED},
    {"  for(monthSpouse=1;monthSpouse<MONTH_LIMIT;monthSpouse++){", NONE},
    {"    double i=g_%(month,monthSpouse);", INSURED},
    {"    probability=intensity*i*alive_none[month-1];", NONE},
    {"    alive_none[month]-=probability;", NONE},
    {"    alive_alive[month][monthSpouse]+=probability;}", NONE},
    {nullptr, NONE},
    {"  double one_alive=1.0-dead_none[month-1];", NONE},
    {"  if(one_alive<0.0000000001) one_alive=0.0000000001;", NONE},
    {"  intensity=(dead_none[month]-dead_none[month-1])/one_alive;", NONE},
    {"  if(intensity<0.0) intensity=0.0;", NONE},
    {"  if(intensity>1.0) intensity=1.0;", NONE},
    {"  one_alive_both_dead_%[month-1]=intensity;", INSURED},
    {"}", NONE},
};

}  // namespace

void emitBasisTables(const Cell* portfolio) {
  static const char* const NAMES[] = {
      "dfsa_yield",
      "dfsa_mortality_female",
      "dfsa_mortality_improvement_female",
      "dfsa_mortality_improvement_male",
      "dfsa_mortality_male",
  };
  for (const char* name : NAMES) emitTable(portfolio, string(name));
}

void emitTable(const Cell* portfolio, const Cell* name) {
  const Cell* entries = aget(dfsa_tables(portfolio), name);
  emitTemplate1(0, "double %_array[]={", name);
  emit_table_entries(entries);
  emitLine(0, "};");
  emitBlankLine();

  emitTemplate1(0, "double %(double t){", name);
  int32_t count = length(entries);
  if (count == 0) {
    // Nothing to interpolate: an absent table reads as 0 everywhere.
    emitLine(0, "  return 0.0;}");
    emitBlankLine();
    return;
  }
  const Cell* last = integer(count - 1);
  emitTemplate1(0, "  if(t<=0) return %_array[0];", name);
  emitLine(0, "  int t0=floor(t);");
  emitLine(0, "  int year=t0/12;");
  emitTemplate3(0, "  if(year>=%) return %_array[%];", last, name, last);
  emitLine(0, "  double month=(t-12*year)/12.0;");
  emitTemplate1(0, "  return %_array[year]*(1.0-month)+", name);
  emitTemplate1(0, "    %_array[year+1]*month;}", name);
  emitBlankLine();
}

void emitGauss() {
  emitLine(0, "// Gauss distribution");
  emitLine(0, "double one_over_sqrt_two_pi;");
  emitLine(0, "double gauss(double x,double mean,double stddev){");
  emitLine(0, "  double e=(x-mean)/stddev;");
  emitLine(0, "  double e2=e*e;");
  emitLine(0, "  if(e2>100) return 0.0;");
  emitLine(0, "  return exp((-0.5)*e*e)*one_over_sqrt_two_pi/stddev;}");
  emitBlankLine();
}

void emitAgeFunction(const Cell* name, const Cell* expression) {
  const Cell* age = symbol("age");
  emit_function_of_age("double %(double age){", name, expression, acons(age, age, nil()));
}

void emitAgeSpouseFunction(const Cell* name, const Cell* expression) {
  const Cell* age = symbol("age");
  const Cell* age_spouse = symbol("age_spouse");
  emit_function_of_age("double %(double age,double age_spouse){", name, expression,
                       acons(age_spouse, age_spouse, acons(age, age, nil())));
}

void emitBasisFunctions(const Cell* portfolio) {
  emitLine(0, "// Collective mortality");
  emitLine(0, "double one_alive_both_dead_male[MONTH_LIMIT];");
  emitLine(0, "double one_alive_both_dead_female[MONTH_LIMIT];");
  emitBlankLine();
  emitGauss();
  const Cell* basis = aget_string(portfolio, "basis");
  for (const Sex& sex : SEXES) emit_functions_of_age(basis, sex);
  for (const Sex& sex : SEXES) emit_compute_function(sex);
  for (const Sex& sex : SEXES) emit_cached_accessor(sex);
}

void emitCollectiveMortalityBody(const Cell* insured, const Cell* spouse) {
  for (const BodyLine& line : COLLECTIVE_MORTALITY_BODY) {
    if (line.text == nullptr) {
      emitBlankLine();
    } else if (line.hole == NONE) {
      emitLine(2, line.text);
    } else {
      emitTemplate1(2, line.text, line.hole == INSURED ? insured : spouse);
    }
  }
}
