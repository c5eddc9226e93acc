// Lists and association lists: talvon's only containers. No operation
// changes a list it is given; results share what did not change. A list
// ends at its first cell that is not a pair. All walks are loops, so lists
// of any length cost no stack.
#pragma once

#include <cstdint>

#include "core/cell.h"

const Cell* list1(const Cell* a);
const Cell* list2(const Cell* a, const Cell* b);
const Cell* list3(const Cell* a, const Cell* b, const Cell* c);
const Cell* list4(const Cell* a, const Cell* b, const Cell* c, const Cell* d);
const Cell* list5(const Cell* a, const Cell* b, const Cell* c, const Cell* d, const Cell* e);
const Cell* list6(const Cell* a, const Cell* b, const Cell* c, const Cell* d, const Cell* e,
                  const Cell* f);
const Cell* list7(const Cell* a, const Cell* b, const Cell* c, const Cell* d, const Cell* e,
                  const Cell* f, const Cell* g);
const Cell* list8(const Cell* a, const Cell* b, const Cell* c, const Cell* d, const Cell* e,
                  const Cell* f, const Cell* g, const Cell* h);
const Cell* list9(const Cell* a, const Cell* b, const Cell* c, const Cell* d, const Cell* e,
                  const Cell* f, const Cell* g, const Cell* h, const Cell* i);

// Takes the tail n times, then the head; a short list ends the run at the
// cell where it ran out.
const Cell* nth(int32_t n, const Cell* list);
const Cell* first(const Cell* list);
const Cell* second(const Cell* list);
const Cell* third(const Cell* list);
const Cell* fourth(const Cell* list);
const Cell* fifth(const Cell* list);
const Cell* sixth(const Cell* list);
const Cell* seventh(const Cell* list);
const Cell* eighth(const Cell* list);
const Cell* ninth(const Cell* list);
const Cell* tenth(const Cell* list);

int32_t length(const Cell* list);
const Cell* append(const Cell* a, const Cell* b);  // b itself is the last tail
const Cell* revappend(const Cell* a, const Cell* b);
const Cell* reverse(const Cell* list);

// Lists as sets; membership is `equal`.
int member(const Cell* list, const Cell* x);
const Cell* adjoin(const Cell* list, const Cell* x);
const Cell* remove_first(const Cell* list, const Cell* x);
const Cell* list_difference(const Cell* a, const Cell* b);
int subset(const Cell* a, const Cell* b);
int same_elements(const Cell* a, const Cell* b);

// Association lists: entries (key . value); lookups find the first match.
const Cell* acons(const Cell* key, const Cell* value, const Cell* list);
const Cell* aget(const Cell* list, const Cell* key);
const Cell* aget_strict(const Cell* list, const Cell* key);
const Cell* aget_default(const Cell* fallback, const Cell* list, const Cell* key);
const Cell* aget_named(const Cell* list, const char* name);
const Cell* aget_string(const Cell* list, const char* text);
const Cell* aset(const Cell* list, const Cell* key, const Cell* value);
int ahas(const Cell* list, const Cell* key);
int ahas_named(const Cell* list, const char* name);
const Cell* aremove(const Cell* list, const Cell* key);
const Cell* aremove_named(const Cell* list, const char* name);
const Cell* akeys(const Cell* list);
const Cell* symbolize_keys(const Cell* list);
