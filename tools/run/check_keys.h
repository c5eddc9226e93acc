// The keys a portfolio may carry, and the checks of the keys and flags
// that it does carry. A key is known when the valuation or the model
// reads it: the valuation reads its own keys at their own level; the model
// reads its variables from a product, its policy or the portfolio alike.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "core/cell.h"

enum class Level { portfolio, policy, product, basis };

struct KeyCatalogue {
  std::vector<std::string> model_reads;  // variables the model's expressions read
  std::vector<std::string> basis_keys;   // keys of the basis and its parts
  std::vector<std::string> known[4];     // the known keys of each level
  std::set<std::string> known_set[4];
};

// From the statements of all three scripts.
KeyCatalogue key_catalogue(const Cell* statements);


// Reports every key of the association list that nothing reads: an error
// with the known key it was probably meant to be, else a warning. `owner`
// names the list in messages. Gives the known keys that were suggested.
std::vector<std::string> check_keys(const Cell* alist, Level level, const KeyCatalogue& catalogue,
                                    const std::string& owner);

// Warns of a flag whose value reads as false to a person but counts as
// true here (every value but () is true).
void check_flags(const Cell* alist, const std::string& owner);

// The keys that the valuation itself reads in the basis: the four
// intensities of each sex, the five tables and the curves.
void check_basis(const Cell* basis, const Cell* where);

// The entry (key . value) of a key, or null.
const Cell* entry_of(const Cell* alist, const char* key);
