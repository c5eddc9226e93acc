#include "model/c_names.h"

#include <cstring>

#include "codegen/identifiers.h"
#include "core/cell.h"

// What the program declares in main or at file scope, and what it calls;
// the C names that compact mode keeps are added by isKeptIdentifier.
static const char* const PROGRAM_NAMES[] = {
    "prob", "probTransfer", "paySize", "fp_fraction", "payWeight", "cashflow", "reserve",
    "yield", "x", "y", "p_ppa", "delta_ppa", "quotient_ppa", "month", "fd", "addr", "argc",
    "argv", "accumulate", "one_over_sqrt_two_pi", "one_alive_both_dead_male",
    "one_alive_both_dead_female", "gauss", "alive_dead_male", "alive_dead_female",
    "gamma_male", "gamma_female", "sigma_male", "sigma_female", "g_male", "g_female",
    "computeCollectiveMortalityMale", "computeCollectiveMortalityFemale",
    "collectiveMortalityMale", "collectiveMortalityFemale", "dfsa_yield",
    "dfsa_mortality_female", "dfsa_mortality_improvement_female",
    "dfsa_mortality_improvement_male", "dfsa_mortality_male", "xmit", "xmit_int",
    "xmit_double", "ErrorExit", "pdie", "die", "MONTH_LIMIT",
    // the socket connection's
    "socket", "connect", "htons", "htonl", "write", "close", "AF_INET", "SOCK_STREAM",
    "INADDR_LOOPBACK", "struct", "sockaddr_in", "sockaddr", "sin_family", "sin_addr", "s_addr",
    "sin_port", "ssize_t", "perror", "exit",
};

static const char* const PROGRAM_PREFIXES[] = {"prob_", "weight_", "dfsa_"};

int isIdentifierPart(const char* name) {
  for (const char* p = name; *p != '\0'; p++) {
    if (strchr(IDENTIFIER_ALPHABET, *p) == nullptr) return FALSE;
  }
  return TRUE;
}

int isCIdentifier(const char* name) {
  return name[0] != '\0' && !(name[0] >= '0' && name[0] <= '9') && isIdentifierPart(name);
}

int isProgramName(const char* name) {
  if (isKeptIdentifier(name)) return TRUE;
  for (const char* known : PROGRAM_NAMES) {
    if (strcmp(name, known) == 0) return TRUE;
  }
  for (const char* prefix : PROGRAM_PREFIXES) {
    if (strncmp(name, prefix, strlen(prefix)) == 0) return TRUE;
  }
  return FALSE;
}
