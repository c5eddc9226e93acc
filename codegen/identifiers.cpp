#include "codegen/identifiers.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/crt_rand.h"

const char IDENTIFIER_ALPHABET[] = "_abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

static unsigned char reverse_table[256];

static const char* const KEPT[] = {
    "void", "char", "LPVOID", "DWORD", "GetLastError", "FormatMessage",
    "FORMAT_MESSAGE_ALLOCATE_BUFFER", "FORMAT_MESSAGE_FROM_SYSTEM",
    "FORMAT_MESSAGE_IGNORE_INSERTS", "NULL", "MAKELANGID", "LANG_NEUTRAL", "SUBLANG_DEFAULT",
    "LPTSTR", "fprintf", "stderr", "ExitProcess", "double", "if", "return", "int", "floor",
    "exp", "fmin", "fmax", "pow", "for", "round", "sqrt", "M_PI", "goto", "main", "HANDLE",
    "WriteFile", "sizeof", "CreateFile", "GENERIC_WRITE", "OPEN_EXISTING",
    "INVALID_HANDLE_VALUE", "CloseHandle",
};

void initIdentifierTable() {
  memset(reverse_table, 255, sizeof reverse_table);
  for (int i = 0; i < ALPHABET_SIZE; i++) {
    reverse_table[static_cast<unsigned char>(IDENTIFIER_ALPHABET[i])] = static_cast<unsigned char>(i);
  }
}

int identifierIndex(unsigned char c) {
  return reverse_table[c];
}

int isKeptIdentifier(const char* name) {
  for (const char* kept : KEPT) {
    if (strcmp(name, kept) == 0) return 1;
  }
  return 0;
}

// The first index carries the sum of all indices, so names whose sums
// differ differ there; for one sum the rest is a bijection of the others.
void scrambleIndices(int* b, int n) {
  if (n == 1) {
    b[0] = (b[0] + 17) % ALPHABET_NON_DIGITS;
    return;
  }
  if (n < 1) return;
  int sum = 0;
  for (int i = 0; i < n; i++) sum += b[i];
  int seed = sum % ALPHABET_NON_DIGITS;
  b[0] = seed;
  if (n == 2) {
    b[1] = (seed + b[1] + 18) % ALPHABET_SIZE;
    return;
  }
  crt_srand(static_cast<uint32_t>(seed));
  int* c = b + 1;
  int k = n - 1;
  for (int i = 0; i < k; i++) {
    int r = crt_rand() % k;
    if (r != i) {
      int swap = c[i];
      c[i] = c[r];
      c[r] = swap;
    }
  }
  for (int i = 1; i < k; i++) {
    int r = crt_rand() % ALPHABET_SIZE;
    c[0] = (ALPHABET_SIZE + c[0] - r) % ALPHABET_SIZE;
    c[i] = (c[i] + r) % ALPHABET_SIZE;
  }
}

void scrambleIdentifier(char* name, int n) {
  std::vector<int> indices(n);
  for (int i = 0; i < n; i++) indices[i] = identifierIndex(static_cast<unsigned char>(name[i]));
  scrambleIndices(indices.data(), n);
  for (int i = 0; i < n; i++) name[i] = IDENTIFIER_ALPHABET[indices[i]];
}

// Each name has one slot, chosen by its hash; a newer name takes the slot
// over. Names too long for a slot are scrambled every time.
static constexpr int REMEMBERED_SLOTS = 4096;
static constexpr int REMEMBERED_LENGTH = 64;

struct RememberedName {
  int n;  // 0 while the slot is empty
  char name[REMEMBERED_LENGTH];
  char scrambled[REMEMBERED_LENGTH];  // its compact form
};

static RememberedName remembered[REMEMBERED_SLOTS];

static void compactUnremembered(char* name, int n) {
  if (!isKeptIdentifier(name)) scrambleIdentifier(name, n);
}

void compactIdentifier(char* name, int n) {
  if (n < 1 || n > REMEMBERED_LENGTH) {
    compactUnremembered(name, n);
    return;
  }
  uint32_t hash = 2166136261u;  // FNV-1a
  for (int i = 0; i < n; i++) hash = (hash ^ static_cast<unsigned char>(name[i])) * 16777619u;
  RememberedName& slot = remembered[hash % REMEMBERED_SLOTS];
  if (slot.n == n && memcmp(slot.name, name, n) == 0) {
    memcpy(name, slot.scrambled, n);
    return;
  }
  slot.n = n;
  memcpy(slot.name, name, n);
  compactUnremembered(name, n);
  memcpy(slot.scrambled, name, n);
}
