#include "codegen/surrender_code.h"

#include "codegen/emitter.h"
#include "codegen/names.h"
#include "core/list.h"

const Cell* zeroSurrenderIntensity(const Cell* portfolio) {
  if (is_nil(aget_string(portfolio, "seven_state"))) return portfolio;
  const Cell* basis = aget_string(portfolio, "basis");
  basis = aset(basis, string("surrender"), real(0.0));
  return aset(portfolio, string("basis"), basis);
}

int recordFlag(const Cell* record, const char* key) {
  return !is_nil(aget_named(aget_named(record, "env"), key));
}

// Only the string counts: a symbol of that name is an ordinary product.
static int isSurrender(const Cell* record) {
  return is_string_equal(aget_named(record, "name"), "product_surrender");
}

int getsNoCode(const Cell* record) {
  return isSurrender(record) && recordFlag(record, "seven_state");
}

int getsSurrenderBlock(const Cell* record) {
  return isSurrender(record) && !recordFlag(record, "seven_state");
}

int getsFreePolicySide(const Cell* record) {
  return !isSurrender(record) && !recordFlag(record, "seven_state") &&
         !recordFlag(record, "survives_free_policy");
}

void emitSecurePpa(int indent, const Cell* record) {
  emitLine(indent, "// Secure probability of being premium paying active");
  emitTemplate1(indent, "p_ppa=%;", stateProbName(record, 0));
  emitBlankLine();
}

// One move of the surrender block: the product of the factors and the
// copy of the source state, out of it and, through `into`, into the target.
struct SurrenderMove {
  int from;
  int to;
  const char* into;  // the conversion lets only fp_fraction arrive
  int pays;
  const char* factors[5];  // the first starts the line; ends at null
};

static const char* const ALL = "prob_product_%_state_%+=prob;";
static const char* const FRACTION = "prob_product_%_state_%+=prob*fp_fraction;";

static const char* const CUSTOMER = "prob=prob_customer_to_customer";
static const char* const SURRENDER = "prob=prob_customer_to_surrender";
static const char* const ALIVE = "    *prob_alive_to_alive";
static const char* const DEAD = "    *prob_alive_to_dead";
static const char* const ACTIVE = "    *prob_active_to_active";
static const char* const DISABLED = "    *prob_active_to_disabled";
static const char* const PAYING = "    *prob_premium_paying_to_premium_paying";
static const char* const FREE = "    *prob_premium_paying_to_free_policy";

static const SurrenderMove surrenderMoves[] = {
    {0, 1, FRACTION, 0, {CUSTOMER, ALIVE, ACTIVE, FREE, nullptr}},
    {0, 2, ALL, 0, {CUSTOMER, ALIVE, DISABLED, PAYING, nullptr}},
    {0, 4, ALL, 0, {CUSTOMER, DEAD, PAYING, nullptr}},
    {0, 6, ALL, 1, {SURRENDER, nullptr}},
    {1, 3, ALL, 0, {CUSTOMER, ALIVE, DISABLED, nullptr}},
    {1, 5, ALL, 0, {CUSTOMER, DEAD, nullptr}},
    {1, 6, ALL, 1, {SURRENDER, nullptr}},
    {2, 4, ALL, 0, {CUSTOMER, DEAD, PAYING, nullptr}},
    {3, 5, ALL, 0, {CUSTOMER, DEAD, nullptr}},
};

static void emitSurrenderMove(int indent, const Cell* id, const SurrenderMove& move) {
  for (int f = 0; move.factors[f] != nullptr; f++) emitLine(indent, move.factors[f]);
  emitTemplate1(indent, "    *prob_%;", integer(move.from));
  emitTemplate2(indent, "prob_product_%_state_%-=prob;", id, integer(move.from));
  emitTemplate2(indent, move.into, id, integer(move.to));
  if (move.pays) emitLine(indent, "probTransfer+=prob;");
}

void emitSurrenderMoves(int indent, const Cell* record) {
  const Cell* id = aget_named(record, "id");
  emitLine(indent, "// Move surrender product probabiliites");
  emitLine(indent, "probTransfer=0;");
  for (const SurrenderMove& move : surrenderMoves) emitSurrenderMove(indent, id, move);
}

// Recurses on heads only, so only as deep as the tuples nest.
static int containsActive(const Cell* c) {
  for (; is_cons(c); c = tail(c)) {
    if (containsActive(head(c))) return 1;
  }
  return is_symbol_named(c, "active");
}

void emitPpToFp(int indent, const Cell* record) {
  const Cell* tuples = aget_named(aget_named(record, "def"), "nodeTuples");
  emitLine(indent, "// Move probability from pp to fp");
  if (!containsActive(tuples)) {
    emitTemplate1(indent, "%-=delta_ppa;", stateProbName(record, 0));
    emitTemplate1(indent, "%+=delta_ppa*fp_fraction;", fpStateProbName(record, 0));
    return;
  }
  int32_t k = 0;
  for (; is_cons(tuples); tuples = tail(tuples), k++) {
    if (!containsActive(head(tuples))) continue;
    emitTemplate2(indent, "%-=quotient_ppa*%;", stateProbName(record, k), tempProbName(k));
    emitTemplate2(indent, "%+=quotient_ppa*fp_fraction*%;", fpStateProbName(record, k),
                  tempProbName(k));
  }
}

void emitDeltaQuotient(int indent) {
  emitLine(indent, "// Compute delta_ppa and quotient_ppa");
  emitLine(indent, "quotient_ppa=prob_customer_to_customer");
  emitLine(indent, "            *prob_alive_to_alive");
  emitLine(indent, "            *prob_active_to_active");
  emitLine(indent, "            *prob_premium_paying_to_free_policy;");
  emitLine(indent, "delta_ppa=quotient_ppa*p_ppa;");
  emitBlankLine();
}

void emitPolicyConversionDeclarations(int indent, const Cell* record) {
  declareDoubleInit(indent, policyQuotientName(record), integer(0));
  declareDoubleInit(indent, policyDeltaName(record), integer(0));
}

void emitKeepPolicyConversion(int indent, const Cell* record) {
  emitLine(indent, "// Keep them for this policy's blocks");
  emitAssign(indent, policyQuotientName(record), symbol("quotient_ppa"));
  emitAssign(indent, policyDeltaName(record), symbol("delta_ppa"));
  emitBlankLine();
}

void emitLoadPolicyConversion(int indent, const Cell* record, int policyHasSurrender) {
  emitLine(indent, "// The conversion of this policy");
  emitAssign(indent, symbol("quotient_ppa"),
             policyHasSurrender ? policyQuotientName(record) : integer(0));
  emitAssign(indent, symbol("delta_ppa"), policyHasSurrender ? policyDeltaName(record) : integer(0));
}
