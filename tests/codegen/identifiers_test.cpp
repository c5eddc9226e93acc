// Scrambled identifiers of the compact calculation program.
#include "codegen/identifiers.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "platform/crt_rand.h"

namespace {

const std::string ALPHABET = "_abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

std::string scrambled(std::string name) {
  scrambleIdentifier(name.data(), static_cast<int>(name.size()));
  return name;
}

class Identifiers : public ::testing::Test {
 protected:
  void SetUp() override { initIdentifierTable(); }
};

TEST_F(Identifiers, TableMapsEachIdentifierByteToItsIndexAndOthersTo255) {
  const std::pair<int, int> cases[] = {{'_', 0}, {'a', 1}, {'A', 27}, {'0', 53}, {'9', 62},
                                       {0, 255}, {' ', 255}, {'$', 255}, {0xe9, 255}};
  for (auto [byte, index] : cases) EXPECT_EQ(identifierIndex(byte), index) << byte;
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
  for (const char* name : kept) EXPECT_TRUE(isKeptIdentifier(name)) << name;
  // Comparison is exact: no prefixes, no case folding, nothing else of C.
  const char* others[] = {"", "Double", "doubles", "dou", "FormatMessageA", "while", "printf",
                          "t", "M_PI_2"};
  for (const char* name : others) EXPECT_FALSE(isKeptIdentifier(name)) << name;
}

// Values worked out by hand: one character moves 17 along the non-digits,
// two follow the sum formula, longer names the generator seeded with the sum.
TEST_F(Identifiers, ScrambledTextsWorkedOutByHand) {
  const std::pair<const char*, const char*> cases[] = {
      {"t", "K"}, {"a", "r"}, {"z", "Q"}, {"J", "_"},
      {"e2", "gq"},  // 5 + 55 = 60: first 60 mod 53 = 7, second (7 + 55 + 18) mod 63 = 17
      {"Z9", "hy"},  // 52 + 62 = 114: first 8, second (8 + 62 + 18) mod 63 = 25
      {"x_", "xP"},  // first 24, second (24 + 0 + 18) = 42
      {"abc", "f7h"}, {"month", "q9vZU"}, {"cashflow", "HMo88B4l"},
      {"prob_product_12_state_3", "gZPykWzcRSKxUY2YzvPSQBI"},
  };
  for (auto [name, text] : cases) EXPECT_EQ(scrambled(name), text) << name;
  // The result does not depend on what the shared generator did before.
  crt_srand(12345);
  for (int i = 0; i < 7; i++) crt_rand();
  EXPECT_EQ(scrambled("cashflow"), "HMo88B4l");
}

// Every two- and three-character identifier that starts with a letter, and
// longer ones: all distinct within one length, all valid names.
TEST_F(Identifiers, EqualLengthNamesNeverCollide) {
  const std::string letters = ALPHABET.substr(1, 52);
  std::vector<std::string> names;
  for (char a : letters) {
    for (char b : ALPHABET) {
      names.push_back(std::string{a, b});
      for (char c : ALPHABET) names.push_back(std::string{a, b, c});
    }
  }
  for (int i = 0; i < 20000; i++) {
    std::string name(1, letters[i % 52]);
    for (int n = i / 52; name.size() < 6; n /= 63) name += ALPHABET[n % 63];
    names.push_back(name);
  }
  std::set<std::string> outputs;
  for (const std::string& name : names) {
    std::string out = scrambled(name);
    ASSERT_EQ(out.size(), name.size());
    ASSERT_EQ(out.find_first_not_of(ALPHABET), std::string::npos) << name;
    ASSERT_FALSE(out[0] >= '0' && out[0] <= '9') << name << " -> " << out;
    ASSERT_TRUE(outputs.insert(out).second) << name << " collides as " << out;
  }
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
