#include "codegen/valuation_program.h"

#include <vector>

#include "codegen/emitter.h"
#include "codegen/names.h"
#include "codegen/state_moves.h"
#include "codegen/surrender_code.h"
#include "core/list.h"
#include "core/printer.h"
#include "driver/diagnostics.h"
#include "driver/progress_channel.h"
#include "expr/ctext.h"
#include "expr/eval.h"
#include "expr/scalar.h"
#include "model/product_states.h"
#include "model/splits.h"

// ---- Policy product records ----

static const Cell* makeRecord(int32_t id, const Cell* name, const Cell* weight, const Cell* def,
                              const Cell* environment, int32_t policy) {
  return list6(cons(symbol("id"), integer(id)), cons(symbol("name"), name),
               cons(symbol("weight"), weight), cons(symbol("def"), def),
               cons(symbol("env"), environment), cons(symbol("policy"), integer(policy)));
}

const Cell* buildPolicyProducts(const Cell* portfolio, const Cell* products) {
  clearUsedAccounts();  // a new generation
  const Cell* records = nil();
  int32_t id = 0;
  int32_t policyIndex = 0;
  const Cell* portfolioEnv = symbolize_keys(portfolio);
  for (const Cell* policies = aget_string(portfolio, "policies"); is_cons(policies);
       policies = policies->pair.tail, policyIndex++) {
    const Cell* policy = policies->pair.head;
    const Cell* policyEnv = append(symbolize_keys(policy), portfolioEnv);
    for (const Cell* items = aget_string(policy, "products"); is_cons(items);
         items = items->pair.tail) {
      const Cell* product = items->pair.head;
      const Cell* environment = append(symbolize_keys(product), policyEnv);
      const Cell* name = aget_string(product, "product_definition");
      const Cell* def = aget_named(products, string_value(name));
      const Cell* paySize = aget_named(def, "paySize");
      if (is_cons(paySize) && is_symbol_named(paySize->pair.head, "linear_combination")) {
        // Each term (COEFFICIENT (NAME ...)) is a record of its own.
        for (const Cell* terms = paySize->pair.tail; is_cons(terms); terms = terms->pair.tail) {
          const Cell* term = terms->pair.head;
          const Cell* termName = first(second(term));
          records =
              cons(makeRecord(id++, termName, first(term), aget(products, termName), environment,
                              policyIndex),
                   records);
        }
      } else {
        records = cons(makeRecord(id++, name, integer(1), def, environment, policyIndex), records);
      }
    }
  }
  send_progress(0.0);
  return records;
}

int isSurrenderProduct(const Cell* record) {
  return is_string_equal(aget_named(record, "name"), "product_surrender");
}

int32_t initialStateIndex(const Cell* record, const Cell* defs) {
  const Cell* def = aget_named(record, "def");
  const Cell* tuple =
      initialNodeTuple(aget_named(def, "splitAssoc"), defs, aget_named(record, "env"));
  return nodeTupleIndex(aget_named(def, "nodeTuples"), tuple);
}

// ---- Expiry ----

// The value of the left side of an expiry relation: a date or a span
// computed from C definitions and policy values.
static const Cell* evalExpiryTerm(const Cell* term, const Cell* cdefs, const Cell* defs,
                                  const Cell* environment) {
  if (is_symbol(term)) {
    const Cell* definition = aget(cdefs, term);
    if (is_nil(definition)) error_at(term, "unknown variable");
    return evalExpiryTerm(definition, cdefs, defs, environment);
  }
  if (is_cons(term)) {
    const Cell* op = term->pair.head;
    if (is_symbol_named(op, "t_span") || is_symbol_named(op, "t_date")) {
      return evalExpiryTerm(term->pair.tail, cdefs, defs, environment);
    }
    if (is_symbol_named(op, "v_span") || is_symbol_named(op, "v_date")) {
      return eval(second(term), defs, environment);
    }
    if (is_symbol_named(op, "-")) {
      return scalarSubtract(evalExpiryTerm(second(term), cdefs, defs, environment),
                            evalExpiryTerm(third(term), cdefs, defs, environment), term);
    }
    if (is_symbol_named(op, "+")) {
      return scalarAdd(evalExpiryTerm(second(term), cdefs, defs, environment),
                       evalExpiryTerm(third(term), cdefs, defs, environment), term);
    }
  }
  error_at(term, "malformed expiry");
}

int32_t expiryMonth(const Cell* expiry, const Cell* cdefs, const Cell* defs,
                    const Cell* environment) {
  const Cell* op = first(expiry);
  if (is_symbol_named(op, "=")) return NEVER_EXPIRES;
  const Cell* right = third(expiry);
  if (!is_cons(right) || !is_symbol_named(right->pair.head, "v_span")) {
    error_at(right, "malformed expiry");
  }
  const Cell* end = eval(second(right), defs, environment);
  if (!is_span(end)) error_at(right, "malformed expiry");
  const Cell* start = evalExpiryTerm(second(expiry), cdefs, defs, environment);
  const Cell* months = scalarSubtract(end, start, expiry);
  if (!is_span(months)) error_at(expiry, "malformed expiry");
  return span_value(months) + (is_symbol_named(op, "<=") ? 1 : 0);
}

// The months of the calculation program's loop.
static const int MONTHS = 1440;

// One bucket per month of the loop and one after them all: a record that
// outlives the loop must come before one that expires in its last month,
// whose goto would skip it there.
const Cell* orderByExpiry(const Cell* records, const Cell* cdefs, const Cell* defs) {
  std::vector<std::vector<const Cell*>> buckets(MONTHS + 1);
  for (; is_cons(records); records = records->pair.tail) {
    const Cell* record = records->pair.head;
    int32_t month = expiryMonth(aget_named(aget_named(record, "def"), "expiry"), cdefs, defs,
                                aget_named(record, "env"));
    if (month < 0) month = 0;
    if (month > MONTHS) month = MONTHS;
    buckets[month].push_back(record);
  }
  // Built from the back: the lowest bucket ends the list.
  const Cell* ordered = nil();
  for (const std::vector<const Cell*>& bucket : buckets) {
    for (auto it = bucket.rbegin(); it != bucket.rend(); ++it) ordered = cons(*it, ordered);
  }
  return ordered;
}

// ---- Used accounts ----

static int usedAccounts[ACCOUNT_COUNT][ACCOUNT_COUNT];

void clearUsedAccounts() {
  for (int x = 0; x < ACCOUNT_COUNT; x++) {
    for (int y = 0; y < ACCOUNT_COUNT; y++) usedAccounts[x][y] = FALSE;
  }
}

void markAccountUsed(int x, int y) { usedAccounts[x][y] = TRUE; }

int isAccountUsed(int x, int y) { return usedAccounts[x][y]; }

double declarationProgress(int k, int n) { return 0.06 + 0.1 * k / n; }

double monthBodyProgress(int k, int n) { return 0.16 + 0.5 * k / n; }

// ---- Conversions per policy ----

static int32_t recordPolicy(const Cell* record) {
  return integer_value(aget_named(record, "policy"));
}

// By policy index, whether the policy has a surrender block, for records of
// several policies. Empty for the records of one policy: its blocks share
// quotient_ppa and delta_ppa with no copies, as they read its values anyway.
static std::vector<char> policySurrenders(const Cell* records) {
  std::vector<char> surrenders;
  int several = FALSE;
  for (const Cell* r = records; is_cons(r); r = r->pair.tail) {
    int32_t policy = recordPolicy(r->pair.head);
    if (policy != recordPolicy(records->pair.head)) several = TRUE;
    if (policy >= static_cast<int32_t>(surrenders.size())) surrenders.resize(policy + 1, FALSE);
    if (getsSurrenderBlock(r->pair.head)) surrenders[policy] = TRUE;
  }
  if (!several) surrenders.clear();
  return surrenders;
}

// The copies of each policy with a surrender block, declared once.
static void emitPolicyConversionsDeclarations(const Cell* records) {
  std::vector<char> undeclared = policySurrenders(records);
  if (undeclared.empty()) return;
  for (const Cell* r = records; is_cons(r); r = r->pair.tail) {
    if (!getsSurrenderBlock(r->pair.head) || !undeclared[recordPolicy(r->pair.head)]) continue;
    undeclared[recordPolicy(r->pair.head)] = FALSE;
    CellMark mark = mark_cells();
    emitPolicyConversionDeclarations(2, r->pair.head);
    release_cells(mark);
  }
}

// ---- Declarations of main ----

static const Cell* recordDef(const Cell* record) { return aget_named(record, "def"); }

static int32_t stateCount(const Cell* record) {
  return length(aget_named(recordDef(record), "nodeTuples"));
}

static void emitStateDeclarations(const Cell* record, const Cell* defs) {
  int32_t initial = initialStateIndex(record, defs);
  int surrender = isSurrenderProduct(record);
  int sevenState = recordFlag(record, "seven_state");
  int premiumPaying = recordFlag(record, "premium_paying_initially");
  // An ordinary product that is premium paying initially starts on its
  // free-policy side.
  int startsFree = !sevenState && !surrender && premiumPaying;
  const Cell* nodeTuples = aget_named(recordDef(record), "nodeTuples");
  emitStateComments(2, nodeTuples, record);
  int32_t count = length(nodeTuples);
  for (int32_t k = 0; k < count; k++) {
    declareDoubleInit(2, stateProbName(record, k), integer(k == initial && !startsFree ? 1 : 0));
  }
  if (!sevenState && !surrender) {
    for (int32_t k = 0; k < count; k++) {
      declareDoubleInit(2, fpStateProbName(record, k),
                        integer(k == initial && premiumPaying ? 1 : 0));
    }
  }
  emitBlankLine();
}

// The split records of the state model, each once: the first record of
// each chain, skipping a repeat of the one taken before. Pushed, so they
// come out in the reverse of the walk.
static const Cell* modelSplits(const Cell* states) {
  const Cell* splits = nil();
  const Cell* previous = nullptr;
  for (; is_cons(states); states = states->pair.tail) {
    const Cell* chain = tail(states->pair.head);
    if (!is_cons(chain)) continue;
    const Cell* split = chain->pair.head;
    if (previous != nullptr && equal(split, previous)) continue;
    splits = cons(split, splits);
    previous = split;
  }
  return splits;
}

static void emitSplitDeclarations(const Cell* states) {
  const Cell* splits = modelSplits(states);
  emitLine(2, "// transition probabilities");
  for (const Cell* s = splits; is_cons(s); s = s->pair.tail) {
    const Cell* split = s->pair.head;
    for (const Cell* i = splitIntensities(split); is_cons(i); i = i->pair.tail) {
      declareDouble(2, transitionProbName(first(i->pair.head), second(i->pair.head)));
    }
    for (const Cell* c = splitChildren(split); is_cons(c); c = c->pair.tail) {
      declareDouble(2, transitionProbName(c->pair.head, c->pair.head));
    }
  }
  emitBlankLine();
  emitLine(2, "// weights");
  for (const Cell* s = splits; is_cons(s); s = s->pair.tail) {
    const Cell* split = s->pair.head;
    if (!is_cons(splitWeights(split))) continue;
    for (const Cell* c = splitChildren(split); is_cons(c); c = c->pair.tail) {
      declareDouble(2, weightName(c->pair.head));
    }
  }
  emitBlankLine();
}

static void emitCdefDeclarations(const Cell* cdefs) {
  emitLine(2, "// derived quantities");
  for (; is_cons(cdefs); cdefs = cdefs->pair.tail) {
    const Cell* entry = cdefs->pair.head;
    const Cell* type = head(tail(entry));
    if (!is_symbol_named(type, "t_date") && !is_symbol_named(type, "t_span")) {
      print_cell_line(type);
      error_at(entry, "cannot declare variable of the given type");
    }
    emitTemplate1(2, "int %;", head(entry));
  }
}

void emitMainDeclarations(const Cell* records, const Cell* cdefs, const Cell* defs,
                          const Cell* states) {
  static const char* const scalars[][2] = {
      {"prob", "// amount of probability to move from one state to another"},
      {"probTransfer", "// the probability by which money shall be moved"},
      {"paySize", "// the amount of money which shall be moved"},
      {"fp_fraction", "// the free policy fraction"},
      {"payWeight", "// the weight of the product"},
  };
  for (const auto& scalar : scalars) {
    emitLine(2, scalar[1]);
    declareDouble(2, symbol(scalar[0]));
    emitBlankLine();
  }
  emitLine(2, "// the total cashflow");
  emitTemplate3(2, "double %[%][%];", symbol("cashflow"), integer(ACCOUNT_COUNT),
                integer(ACCOUNT_COUNT));
  emitBlankLine();
  emitLine(2, "// the total reserve");
  emitTemplate3(2, "double %[%][%];", symbol("reserve"), integer(ACCOUNT_COUNT),
                integer(ACCOUNT_COUNT));
  emitLine(2, "double yield;");
  emitLine(2, "int x,y;");
  emitTemplate2(2, "for(x=0;x<%;x++) for(y=0;y<%;y++)", integer(ACCOUNT_COUNT),
                integer(ACCOUNT_COUNT));
  emitLine(2, "  reserve[x][y]=0;");
  emitBlankLine();

  // A block that runs before any surrender block of the month finds no
  // conversion.
  emitLine(2, "// The probability of being premium paying active");
  emitLine(2, "double p_ppa;");
  emitLine(2, "double delta_ppa=0;");
  emitLine(2, "double quotient_ppa=0;");
  emitPolicyConversionsDeclarations(records);
  emitBlankLine();

  int n = length(records);
  int k = 0;
  int32_t mostStates = 0;
  for (const Cell* r = records; is_cons(r); r = r->pair.tail) {
    const Cell* record = r->pair.head;
    send_progress(declarationProgress(++k, n));
    if (getsNoCode(record)) continue;
    // The names made for a record's lines are forgotten once written.
    CellMark mark = mark_cells();
    emitStateDeclarations(record, defs);
    if (stateCount(record) > mostStates) mostStates = stateCount(record);
    release_cells(mark);
  }

  emitLine(2, "// temporary probabilities");
  for (int32_t i = 0; i < mostStates; i++) {
    declareDouble(2, tempProbName(i));
    declareDouble(2, tempFpProbName(i));
  }
  emitBlankLine();
  emitSplitDeclarations(states);
  emitCdefDeclarations(cdefs);
}

// ---- The month body ----

static int32_t accountNumber(const Cell* value) {
  int32_t account = integer_value(value);
  if (account < 0 || account >= ACCOUNT_COUNT) die("Account out of range");
  return account;
}

static void emitRecordBlock(int indent, const Cell* record, const Cell* cdefs, const Cell* defs,
                            const std::vector<char>& policySurrender) {
  const Cell* environment = aget_named(record, "env");
  const Cell* def = recordDef(record);
  const Cell* fpFraction = aget_string(aget_named(environment, "basis"), "free_policy_fraction");
  const Cell* nodeTuples = aget_named(def, "nodeTuples");
  int32_t count = length(nodeTuples);
  initialStateIndex(record, defs);  // an unknown initial state ends the run here
  int32_t from = accountNumber(aget_named(environment, "from"));
  int32_t to = accountNumber(aget_named(environment, "to"));
  markAccountUsed(from, to);
  int surrender = getsSurrenderBlock(record);
  int freePolicy = getsFreePolicySide(record);

  emitTemplate1(indent, "if(t>=%) goto accumulate;",
                integer(expiryMonth(aget_named(def, "expiry"), cdefs, defs, environment)));
  if (surrender) emitSecurePpa(indent, record);
  if (freePolicy && !policySurrender.empty()) {
    emitLoadPolicyConversion(indent, record, policySurrender[recordPolicy(record)]);
  }
  emitStateComments(indent, nodeTuples, record);

  const Cell* accumulator =
      bindCtext(symbol("paySize"), aget_named(def, "paySize"), cdefs, defs, environment, nil());
  accumulator = bindCtext(symbol("fp_fraction"), fpFraction, cdefs, defs, environment, accumulator);
  emitTemplate1(indent, "payWeight=%;", aget_named(record, "weight"));
  accumulator =
      splitAssignments(aget_named(def, "splitAssoc"), cdefs, defs, environment, accumulator);
  emitAssignments(indent, accumulator);

  emitLine(indent, "// Copy pp probabilities to temporary variables");
  for (int32_t k = 0; k < count; k++) {
    emitAssign(indent, tempProbName(k), stateProbName(record, k));
  }
  if (freePolicy) {
    emitLine(indent, "// Copy fp probabilities to temporary variables");
    for (int32_t k = 0; k < count; k++) {
      emitAssign(indent, tempFpProbName(k), fpStateProbName(record, k));
    }
  }
  if (surrender) {
    emitSurrenderMoves(indent, record);
  } else {
    emitMoves(indent, record, accumulator, Side::premiumPaying);
  }
  if (freePolicy) {
    emitMoves(indent, record, accumulator, Side::freePolicy);
    emitPpToFp(indent, record);
  }
  emitLine(indent, "// Transfer money from account to account");
  emitTemplate2(indent, "cashflow[%][%]+=payWeight*paySize*probTransfer;", integer(from),
                integer(to));
  emitBlankLine();
  if (surrender) emitDeltaQuotient(indent);
  if (surrender && !policySurrender.empty()) emitKeepPolicyConversion(indent, record);
}

void emitMonthBody(int indent, const Cell* records, const Cell* cdefs, const Cell* defs) {
  emitTemplate2(indent, "for(x=0;x<%;x++) for(y=0;y<%;y++)", integer(ACCOUNT_COUNT),
                integer(ACCOUNT_COUNT));
  emitLine(indent, "  cashflow[x][y]=0;");
  emitBlankLine();
  int n = length(records);
  int k = 0;
  std::vector<char> policySurrender = policySurrenders(records);
  for (const Cell* r = orderByExpiry(records, cdefs, defs); is_cons(r); r = r->pair.tail) {
    send_progress(monthBodyProgress(++k, n));
    if (getsNoCode(r->pair.head)) continue;
    // A block's C texts, names and terms are forgotten once written.
    CellMark mark = mark_cells();
    emitRecordBlock(indent, r->pair.head, cdefs, defs, policySurrender);
    release_cells(mark);
  }
}

// ---- Reserves ----

void emitReserveAccumulation(const Cell* portfolio, const Cell* cdefs, const Cell* defs) {
  const int indent = 4;
  emitLine(indent, "accumulate:");
  emitLine(indent, "// Accumulate reserve");
  const Cell* environment = symbolize_keys(portfolio);
  const Cell* yieldCurve = aget_string(aget_named(environment, "basis"), "yield_curve");
  emitAssignments(indent, bindCtext(symbol("yield"), yieldCurve, cdefs, defs, environment, nil()));
  // A yearly rate in percent, discounting over t/12 years.
  emitLine(indent, "yield=pow(1.0+yield*0.01,t/12.0);");
  for (int x = 0; x < ACCOUNT_COUNT; x++) {
    for (int y = 0; y < ACCOUNT_COUNT; y++) {
      if (!isAccountUsed(x, y)) continue;
      emitTemplate4(indent, "reserve[%][%]+=cashflow[%][%]/yield;", integer(x), integer(y),
                    integer(x), integer(y));
    }
  }
}
