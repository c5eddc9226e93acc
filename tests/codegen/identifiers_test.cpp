#include "codegen/identifiers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "platform/crt_rand.h"

namespace {

const std::string ALPHABET = "_abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
const std::string LETTERS = ALPHABET.substr(1, 52);

// The scrambling worked out again from the generator's formula alone, so
// the system's code is checked against a separate reading of the rules.
struct Generator {
  uint32_t state;
  int next() {
    state = state * 214013u + 2531011u;
    return static_cast<int>((state >> 16) & 0x7fff);
  }
};

std::string expected_scramble(const std::string& name) {
  std::vector<int> b;
  for (char c : name) b.push_back(static_cast<int>(ALPHABET.find(c)));
  int n = static_cast<int>(b.size());
  if (n == 1) return std::string(1, ALPHABET[(b[0] + 17) % 53]);
  int sum = 0;
  for (int v : b) sum += v;
  b[0] = sum % 53;
  if (n == 2) {
    b[1] = (b[0] + b[1] + 18) % 63;
  } else {
    Generator g{static_cast<uint32_t>(b[0])};
    int k = n - 1;
    for (int i = 0; i < k; i++) {
      int r = g.next() % k;
      std::swap(b[1 + i], b[1 + r]);
    }
    for (int i = 1; i < k; i++) {
      int r = g.next() % 63;
      b[1] = (63 + b[1] - r) % 63;
      b[1 + i] = (b[1 + i] + r) % 63;
    }
  }
  std::string out;
  for (int v : b) out += ALPHABET[v];
  return out;
}

std::string scrambled(std::string name) {
  scrambleIdentifier(name.data(), static_cast<int>(name.size()));
  return name;
}

class Identifiers : public ::testing::Test {
 protected:
  void SetUp() override { initIdentifierTable(); }
};

TEST_F(Identifiers, TableMapsEveryByteToItsIndexOr255) {
  EXPECT_EQ(std::string(IDENTIFIER_ALPHABET), ALPHABET);
  for (int byte = 0; byte < 256; byte++) {
    size_t at = byte == 0 ? std::string::npos : ALPHABET.find(static_cast<char>(byte));
    int want = at == std::string::npos ? 255 : static_cast<int>(at);
    EXPECT_EQ(identifierIndex(static_cast<unsigned char>(byte)), want) << byte;
  }
  EXPECT_EQ(identifierIndex('_'), 0);
  EXPECT_EQ(identifierIndex('a'), 1);
  EXPECT_EQ(identifierIndex('A'), 27);
  EXPECT_EQ(identifierIndex('0'), 53);
  EXPECT_EQ(identifierIndex('9'), 62);
}

TEST_F(Identifiers, KeepsExactlyTheFortyNames) {
  const char* kept[] = {
      "void", "char", "LPVOID", "DWORD", "GetLastError", "FormatMessage",
      "FORMAT_MESSAGE_ALLOCATE_BUFFER", "FORMAT_MESSAGE_FROM_SYSTEM",
      "FORMAT_MESSAGE_IGNORE_INSERTS", "NULL", "MAKELANGID", "LANG_NEUTRAL", "SUBLANG_DEFAULT",
      "LPTSTR", "fprintf", "stderr", "ExitProcess", "double", "if", "return", "int", "floor",
      "exp", "fmin", "fmax", "pow", "for", "round", "sqrt", "M_PI", "goto", "main", "HANDLE",
      "WriteFile", "sizeof", "CreateFile", "GENERIC_WRITE", "OPEN_EXISTING",
      "INVALID_HANDLE_VALUE", "CloseHandle",
  };
  EXPECT_EQ(sizeof kept / sizeof kept[0], 40u);
  for (const char* name : kept) EXPECT_TRUE(isKeptIdentifier(name)) << name;
  // Comparison is exact: no prefixes, no case folding, nothing else of C.
  const char* others[] = {"", "Double", "doubles", "dou", "FormatMessageA", "CreateFileA",
                          "while", "else", "printf", "log", "fabs", "t", "month", "M_PI_2"};
  for (const char* name : others) EXPECT_FALSE(isKeptIdentifier(name)) << name;
}

TEST_F(Identifiers, OneCharacterMovesSeventeenAlongTheNonDigits) {
  for (int i = 0; i < 63; i++) {
    int b = i;
    scrambleIndices(&b, 1);
    EXPECT_EQ(b, (i + 17) % 53) << i;
  }
  struct Case {
    const char* name;
    const char* scrambled;
  } cases[] = {{"t", "K"}, {"a", "r"}, {"e", "v"}, {"x", "O"}, {"z", "Q"}, {"Z", "p"},
               {"J", "_"}};
  for (const Case& c : cases) EXPECT_EQ(scrambled(c.name), c.scrambled) << c.name;
}

TEST_F(Identifiers, TwoCharactersFollowTheSumFormula) {
  struct Case {
    const char* name;
    const char* scrambled;
  } cases[] = {
      {"e2", "gq"},  // 5 + 55 = 60: first 60 mod 53 = 7, second (7 + 55 + 18) mod 63 = 17
      {"ab", "cw"},  // first 3, second (3 + 2 + 18) = 23
      {"Z9", "hy"},  // 52 + 62 = 114: first 8, second (8 + 62 + 18) mod 63 = 25
      {"x_", "xP"},  // first 24, second (24 + 0 + 18) = 42
  };
  for (const Case& c : cases) EXPECT_EQ(scrambled(c.name), c.scrambled) << c.name;
}

TEST_F(Identifiers, LongerNamesFollowTheGenerator) {
  // Values worked out by hand from the generator's formula.
  EXPECT_EQ(scrambled("abc"), "f7h");
  EXPECT_EQ(scrambled("month"), "q9vZU");
  EXPECT_EQ(scrambled("cashflow"), "HMo88B4l");
  EXPECT_EQ(scrambled("prob_product_12_state_3"), "gZPykWzcRSKxUY2YzvPSQBI");

  std::vector<std::string> names = {"abc", "t_0", "ZZZ", "z99", "month", "paySize",
                                    "prob_product_12_fp_state_3", "one_alive_both_dead_male",
                                    std::string(999, 'q'), std::string(200, 'A') + "_9"};
  for (const std::string& name : names) {
    EXPECT_EQ(scrambled(name), expected_scramble(name)) << name;
  }
}

TEST_F(Identifiers, SameNameSameTextWhateverTheGeneratorDidBefore) {
  std::string first = scrambled("reserve");
  crt_srand(12345);
  for (int i = 0; i < 7; i++) crt_rand();
  scrambled("cashflow");
  EXPECT_EQ(scrambled("reserve"), first);
}

// Every two- and three-character identifier that starts with a letter, and a
// sample of longer ones: all distinct within one length, all valid names.
TEST_F(Identifiers, EqualLengthNamesNeverCollide) {
  std::vector<std::string> names;
  for (char a : LETTERS)
    for (char b : ALPHABET) names.push_back(std::string{a, b});
  for (char a : LETTERS)
    for (char b : ALPHABET)
      for (char c : ALPHABET) names.push_back(std::string{a, b, c});
  Generator g{7};
  for (int i = 0; i < 20000; i++) {
    std::string name(1, LETTERS[g.next() % 52]);
    for (int j = 0; j < 5; j++) name += ALPHABET[g.next() % 63];
    names.push_back(name);
  }
  std::set<std::string> inputs, outputs;
  for (const std::string& name : names) {
    if (!inputs.insert(name).second) continue;
    std::string out = scrambled(name);
    ASSERT_EQ(out.size(), name.size());
    ASSERT_EQ(out.find_first_not_of(ALPHABET), std::string::npos) << name;
    ASSERT_FALSE(out[0] >= '0' && out[0] <= '9') << name << " -> " << out;
    ASSERT_TRUE(outputs.insert(out).second) << name << " collides as " << out;
  }
  EXPECT_EQ(outputs.size(), inputs.size());
}

// The remembered form of a name is the one scrambling gives, also after
// other names have taken its slot, and kept names stay as they are.
TEST_F(Identifiers, CompactIdentifiersAreKeptOrScrambled) {
  std::vector<std::string> names = {"t", "e2", "double", "main", "prob_alive_to_dead",
                                    "prob_product_12_state_3", std::string(64, 'a'),
                                    std::string(65, 'b'), std::string(999, 'c')};
  for (int i = 0; i < 10000; i++) names.push_back("prob_product_" + std::to_string(i));
  for (int pass = 0; pass < 2; pass++) {
    for (const std::string& name : names) {
      std::string compact = name;
      compactIdentifier(compact.data(), static_cast<int>(compact.size()));
      std::string want = isKeptIdentifier(name.c_str()) ? name : scrambled(name);
      ASSERT_EQ(compact, want) << name << " in pass " << pass;
    }
  }
}

TEST_F(Identifiers, ARememberedNameLeavesTheGeneratorAlone) {
  std::string name = "weight_married";
  compactIdentifier(name.data(), static_cast<int>(name.size()));
  crt_srand(99);
  int expected = crt_rand();
  crt_srand(99);
  name = "weight_married";
  compactIdentifier(name.data(), static_cast<int>(name.size()));
  EXPECT_EQ(name, scrambled("weight_married"));
  crt_srand(99);
  name = "weight_married";
  compactIdentifier(name.data(), static_cast<int>(name.size()));
  EXPECT_EQ(crt_rand(), expected);
}

}  // namespace
