// Scrambled identifiers of the compact calculation program: two names that
// scramble alike would silently merge two variables of the program.
#include "codegen/identifiers.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

const std::string ALPHABET = "_abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

std::string scrambled(std::string name) {
  scrambleIdentifier(name.data(), static_cast<int>(name.size()));
  return name;
}

// Values worked out by hand: one character moves 17 along the non-digits,
// two follow the sum formula, longer names the generator seeded with the sum.
TEST(IdentifiersTest, ScrambledTextsWorkedOutByHand) {
  initIdentifierTable();
  const std::pair<const char*, const char*> cases[] = {
      {"t", "K"}, {"z", "Q"}, {"J", "_"},
      {"e2", "gq"},  // 5 + 55 = 60: first 60 mod 53 = 7, second (7 + 55 + 18) mod 63 = 17
      {"x_", "xP"},  // first 24, second (24 + 0 + 18) = 42
      {"month", "q9vZU"}, {"cashflow", "HMo88B4l"},
  };
  for (auto [name, text] : cases) EXPECT_EQ(scrambled(name), text) << name;
}

// Every two- and three-character identifier that starts with a letter, and
// longer ones: all distinct within one length, all valid names, and the
// remembered compact form is the scrambled one.
TEST(IdentifiersTest, EqualLengthNamesNeverCollide) {
  initIdentifierTable();
  const std::string letters = ALPHABET.substr(1, 52);
  std::vector<std::string> names;
  for (char a : letters) {
    for (char b : ALPHABET) {
      names.push_back(std::string{a, b});
      for (char c : ALPHABET) names.push_back(std::string{a, b, c});
    }
  }
  for (int i = 0; i < 20000; i++) names.push_back("prob_product_" + std::to_string(i));
  std::set<std::string> outputs;
  for (const std::string& name : names) {
    std::string out = scrambled(name);
    ASSERT_EQ(out.size(), name.size());
    ASSERT_EQ(out.find_first_not_of(ALPHABET), std::string::npos) << name;
    ASSERT_FALSE(out[0] >= '0' && out[0] <= '9') << name << " -> " << out;
    ASSERT_TRUE(outputs.insert(out).second) << name << " collides as " << out;
    std::string compact = name;
    compactIdentifier(compact.data(), static_cast<int>(compact.size()));
    ASSERT_EQ(compact, isKeptIdentifier(name.c_str()) ? name : out) << name;
  }
}

}  // namespace
