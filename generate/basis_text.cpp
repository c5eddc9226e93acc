#include "generate/basis_text.h"

#include <cmath>

#include "codegen/emitter.h"
#include "driver/diagnostics.h"
#include "driver/file_wrappers.h"

// The formulas are data: the evaluator parses them when the portfolio is
// used, so they are written as they stand.
static const char* const FEMALE_MARRIAGE =
    "if(span2years(age)<=12,0,0.13*10^(-((span2years(age)-24)^2)/20/(span2years(age)-12)))/12";
static const char* const FEMALE_DIVORCE =
    "if(span2years(age)<=12,0,0.02*10^(-((span2years(age)-12)^2)/2100))/12";
static const char* const FEMALE_SPOUSE_AGE =
    "gauss(span2years(age_spouse),0.915*span2years(age)+4,0.21-1/(span2years(age)-7))/12";
static const char* const MALE_MARRIAGE =
    "if(span2years(age)<=15,0,0.15*10^(-((span2years(age)-28)^2)/28/(span2years(age)-15)))/12";
static const char* const MALE_DIVORCE =
    "if(span2years(age)<=15,0,0.02*10^(-((span2years(age)-15)^2)/1600))/12";
static const char* const MALE_SPOUSE_AGE =
    "gauss(span2years(age_spouse),0.915*span2years(age)+4,0.21-1/(span2years(age)-10))/12";
static const char* const FREE_POLICY =
    "0.1 * if(span2years(age)<65,1/(span2years(age_policy)+10)/12,0)";
static const char* const FREE_POLICY_FRACTION =
    "if(span2years(age)<30,0,if(span2years(age)<65,(span2years(age)-30)/35,1))";
static const char* const RESERVE_PREMIUM_PAYING =
    "if(span2years(age)<30,0,if(span2years(age)<65,(span2years(age)-30)/35*1200000,1))";
static const char* const RESERVE_FREE_POLICY = "1200000";

struct TableFile {
  const char* name;
  int repetitions;
};

static const TableFile TABLES[] = {
    {"dfsa_yield", 1},
    {"dfsa_mortality_female", 0},
    {"dfsa_mortality_male", 0},
    {"dfsa_mortality_improvement_female", 0},
    {"dfsa_mortality_improvement_male", 0},
};

static const int PATH_SIZE = 100;
static const int NUMBER_LIMIT = 99;

int isTableSpace(int c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

double readTableNumber(FILE* file) {
  int c = read_char(nullptr, file);
  while (c != EOF && isTableSpace(c)) c = read_char(nullptr, file);
  if (c == EOF) return INFINITY;
  char buffer[NUMBER_LIMIT + 1];
  int n = 0;
  while (c != EOF && !isTableSpace(c)) {
    if (n >= NUMBER_LIMIT) die("buffer overflow");
    buffer[n++] = c == ',' ? '.' : static_cast<char>(c);
    c = read_char(nullptr, file);
  }
  buffer[n] = '\0';
  double x;
  if (sscanf(buffer, "%lf", &x) != 1) die("sscanf failed\n");
  return x;
}

void writeTableEntry(int repetitions, const char* name) {
  char path[PATH_SIZE];
  snprintf(path, sizeof path, "conf/%s.txt", name);
  FILE* table = open_file(nullptr, path, "r");
  FILE* out = outputFile();
  double x = readTableNumber(table);
  fprintf(out, "       (\"%s\" (parseEvalBig \"list(\n", name);
  fprintf(out, "        %20.16f", x);
  for (int i = 0; i < repetitions; i++) fprintf(out, ",\n        %20.16f", x);
  for (;;) {
    x = readTableNumber(table);
    // An infinite value (the end of the file, or "inf" written in it)
    // ends the table.
    if (std::isinf(x) || std::isnan(x)) break;
    fprintf(out, ",\n        %20.16f", x);
  }
  fprintf(out, ")\"))\n");
  close_file(nullptr, table);
}

static void formula_line(int indent, const char* text, const char* formula) {
  emitTemplate1(indent, text, string(formula));
}

// The alive->dead, active->disabled and disabled->active entries of one
// gender; the formula lines are the second level of their entry.
static void intensity_lines(const char* death, const char* disability) {
  emitLine(6, "(\"alive->dead\"");
  emitLine(7, "(parse");
  emitLine(8, death);
  emitLine(6, "(\"active->disabled\"");
  emitLine(7, "(parse");
  emitLine(8, disability);
  emitLine(6, "(\"disabled->active\"");
  emitLine(7, "(parse");
  emitLine(8, "\"0\"))");
}

static void marriage_lines(const char* marriage, const char* divorce, const char* spouse_age) {
  formula_line(6, "(\"unmarried->married\" (parse \"%\"))", marriage);
  formula_line(6, "(\"married->unmarried\" (parse \"%\"))", divorce);
  formula_line(6, "(\"age_distribution\" (parse \"%\"))", spouse_age);
}

void writeBasis() {
  emitLine(2, "(\"basis\"");
  emitLine(3, "(assoc");

  emitLine(4, "(\"female\"");
  emitLine(5, "(assoc");
  emitLine(6, "(\"waisen_factor\" (parse \"0.3\"))");
  intensity_lines("\"min(1,(0.0005+10^(5.728+0.038*span2years(age)-10))/12)\"))",
                  "\"min(1,(0.0004+10^(4.54+0.06*span2years(age)-10))/12)\"))");
  marriage_lines(FEMALE_MARRIAGE, FEMALE_DIVORCE, FEMALE_SPOUSE_AGE);
  emitLine(4, "))");

  emitLine(4, "(\"male\"");
  emitLine(5, "(assoc");
  emitLine(6, "(\"waisen_factor\" (parse \"0.05\"))");
  intensity_lines("\"min(1,(0.0005+10^(5.88+0.038*span2years(age)-10))/12)\"))",
                  "\"min(1,(0.0006+10^(4.71609+0.06*span2years(age)-10))/12)\"))");
  marriage_lines(MALE_MARRIAGE, MALE_DIVORCE, MALE_SPOUSE_AGE);
  emitLine(4, "))");

  emitLine(4, "(\"dfsa (Finanstilsynet)\"");
  emitLine(5, "(assoc");
  for (const TableFile& table : TABLES) writeTableEntry(table.repetitions, table.name);
  emitLine(4, "))");

  emitLine(4, "(\"yield_curve\" (parse \"dfsa_yield(t)\"))");
  formula_line(4, "(\"free_policy\" (parse \"%\"))", FREE_POLICY);
  formula_line(4, "(\"surrender\" (parse \"%\"))", FREE_POLICY);
  formula_line(4, "(\"free_policy_fraction\" (parse \"%\"))", FREE_POLICY_FRACTION);
  formula_line(4, "(\"reserve_premium_paying\" (parse \"%\"))", RESERVE_PREMIUM_PAYING);
  formula_line(4, "(\"reserve_free_policy\" (parse \"%\"))", RESERVE_FREE_POLICY);
  emitLine(2, "))");
}
