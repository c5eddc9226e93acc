// Building terms and definition tables for tests of the expression checks
// and translations.
#pragma once

#include <vector>

#include "core/cell.h"

// The list of `items`, in order.
const Cell* list_of(const std::vector<const Cell*>& items);

// The term with its outermost pair at a place of its own (outer.tal, line
// 9, character 99), so that a fault at the term and one at its operator can
// be told apart.
const Cell* relocated(const Cell* term);

// A table name -> (a . b) from the text "((name a b) ...)", the first item
// standing first as the newest entry does; b is the integer 0 when missing.
const Cell* entries_of(const char* text);
