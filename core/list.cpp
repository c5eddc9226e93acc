#include "core/list.h"

#include <vector>

#include "core/printer.h"
#include "driver/diagnostics.h"

// Most results are built front to back: the elements are gathered first and
// the pairs made from the last one back, so nothing is ever changed.
using Cells = std::vector<const Cell*>;

static const Cell* build(const Cells& elements, const Cell* end) {
  const Cell* list = end;
  for (size_t i = elements.size(); i-- > 0;) list = cons(elements[i], list);
  return list;
}

const Cell* list1(const Cell* a) {
  return cons(a, nil());
}

const Cell* list2(const Cell* a, const Cell* b) {
  return cons(a, list1(b));
}

const Cell* list3(const Cell* a, const Cell* b, const Cell* c) {
  return cons(a, list2(b, c));
}

const Cell* list4(const Cell* a, const Cell* b, const Cell* c, const Cell* d) {
  return cons(a, list3(b, c, d));
}

const Cell* list5(const Cell* a, const Cell* b, const Cell* c, const Cell* d, const Cell* e) {
  return cons(a, list4(b, c, d, e));
}

const Cell* list6(const Cell* a, const Cell* b, const Cell* c, const Cell* d, const Cell* e,
                  const Cell* f) {
  return cons(a, list5(b, c, d, e, f));
}

const Cell* list7(const Cell* a, const Cell* b, const Cell* c, const Cell* d, const Cell* e,
                  const Cell* f, const Cell* g) {
  return cons(a, list6(b, c, d, e, f, g));
}

const Cell* list8(const Cell* a, const Cell* b, const Cell* c, const Cell* d, const Cell* e,
                  const Cell* f, const Cell* g, const Cell* h) {
  return cons(a, list7(b, c, d, e, f, g, h));
}

const Cell* list9(const Cell* a, const Cell* b, const Cell* c, const Cell* d, const Cell* e,
                  const Cell* f, const Cell* g, const Cell* h, const Cell* i) {
  return cons(a, list8(b, c, d, e, f, g, h, i));
}

const Cell* nth(int32_t n, const Cell* list) {
  for (int32_t i = 0; i < n; i++) list = tail(list);
  return head(list);
}

const Cell* first(const Cell* list) { return nth(0, list); }
const Cell* second(const Cell* list) { return nth(1, list); }
const Cell* third(const Cell* list) { return nth(2, list); }
const Cell* fourth(const Cell* list) { return nth(3, list); }
const Cell* fifth(const Cell* list) { return nth(4, list); }
const Cell* sixth(const Cell* list) { return nth(5, list); }
const Cell* seventh(const Cell* list) { return nth(6, list); }
const Cell* eighth(const Cell* list) { return nth(7, list); }
const Cell* ninth(const Cell* list) { return nth(8, list); }
const Cell* tenth(const Cell* list) { return nth(9, list); }

int32_t length(const Cell* list) {
  int32_t n = 0;
  for (; is_cons(list); list = list->pair.tail) n++;
  return n;
}

const Cell* append(const Cell* a, const Cell* b) {
  Cells elements;
  for (; is_cons(a); a = a->pair.tail) elements.push_back(a->pair.head);
  return build(elements, b);
}

const Cell* revappend(const Cell* a, const Cell* b) {
  for (; is_cons(a); a = a->pair.tail) b = cons(a->pair.head, b);
  return b;
}

const Cell* reverse(const Cell* list) {
  return revappend(list, nil());
}

int member(const Cell* list, const Cell* x) {
  for (; is_cons(list); list = list->pair.tail) {
    if (equal(list->pair.head, x)) return TRUE;
  }
  return FALSE;
}

const Cell* adjoin(const Cell* list, const Cell* x) {
  return member(list, x) ? list : cons(x, list);
}

const Cell* remove_first(const Cell* list, const Cell* x) {
  Cells before;
  for (; is_cons(list); list = list->pair.tail) {
    if (equal(list->pair.head, x)) return build(before, list->pair.tail);
    before.push_back(list->pair.head);
  }
  return build(before, nil());
}

const Cell* list_difference(const Cell* a, const Cell* b) {
  for (; is_cons(b); b = b->pair.tail) a = remove_first(a, b->pair.head);
  return a;
}

int subset(const Cell* a, const Cell* b) {
  for (; is_cons(a); a = a->pair.tail) {
    if (!member(b, a->pair.head)) return FALSE;
  }
  return TRUE;
}

int same_elements(const Cell* a, const Cell* b) {
  return subset(a, b) && subset(b, a);
}

// Association lists

const Cell* acons(const Cell* key, const Cell* value, const Cell* list) {
  return cons(cons(key, value), list);
}

// The first entry whose key equals `key`, or null. Taking the key of an
// entry that is not a pair ends the run at it.
static const Cell* find_entry(const Cell* list, const Cell* key) {
  for (; is_cons(list); list = list->pair.tail) {
    const Cell* entry = list->pair.head;
    if (equal(head(entry), key)) return entry;
  }
  return nullptr;
}

static const Cell* find_named(const Cell* list, const char* name) {
  for (; is_cons(list); list = list->pair.tail) {
    const Cell* entry = list->pair.head;
    if (is_symbol_named(head(entry), name)) return entry;
  }
  return nullptr;
}

const Cell* aget(const Cell* list, const Cell* key) {
  const Cell* entry = find_entry(list, key);
  return entry != nullptr ? entry->pair.tail : nil();
}

const Cell* aget_strict(const Cell* list, const Cell* key) {
  const Cell* entry = find_entry(list, key);
  if (entry == nullptr) {
    printf("\n");
    print_cell_line(key);
    error_at(key, "aget_strict: Unknown variable");
  }
  return entry->pair.tail;
}

const Cell* aget_default(const Cell* fallback, const Cell* list, const Cell* key) {
  const Cell* entry = find_entry(list, key);
  return entry != nullptr ? entry->pair.tail : fallback;
}

const Cell* aget_named(const Cell* list, const char* name) {
  const Cell* entry = find_named(list, name);
  return entry != nullptr ? entry->pair.tail : nil();
}

const Cell* aget_string(const Cell* list, const char* text) {
  for (; is_cons(list); list = list->pair.tail) {
    const Cell* entry = list->pair.head;
    if (is_string_equal(head(entry), text)) return entry->pair.tail;
  }
  return nil();
}

const Cell* aset(const Cell* list, const Cell* key, const Cell* value) {
  Cells before;
  for (; is_cons(list); list = list->pair.tail) {
    const Cell* entry = list->pair.head;
    if (equal(head(entry), key)) return build(before, cons(cons(key, value), list->pair.tail));
    before.push_back(entry);
  }
  before.push_back(cons(key, value));
  return build(before, nil());
}

int ahas(const Cell* list, const Cell* key) {
  return find_entry(list, key) != nullptr;
}

int ahas_named(const Cell* list, const char* name) {
  return find_named(list, name) != nullptr;
}

const Cell* aremove(const Cell* list, const Cell* key) {
  Cells before;
  for (; is_cons(list); list = list->pair.tail) {
    const Cell* entry = list->pair.head;
    if (equal(head(entry), key)) return build(before, list->pair.tail);
    before.push_back(entry);
  }
  return build(before, nil());
}

const Cell* aremove_named(const Cell* list, const char* name) {
  Cells before;
  for (; is_cons(list); list = list->pair.tail) {
    const Cell* entry = list->pair.head;
    if (is_symbol_named(head(entry), name)) return build(before, list->pair.tail);
    before.push_back(entry);
  }
  return build(before, nil());
}

const Cell* akeys(const Cell* list) {
  Cells keys;
  for (; is_cons(list); list = list->pair.tail) keys.push_back(head(list->pair.head));
  return build(keys, nil());
}

const Cell* symbolize_keys(const Cell* list) {
  Cells entries;
  for (; is_cons(list); list = list->pair.tail) {
    const Cell* entry = list->pair.head;
    entries.push_back(cons(stringToSymbol(head(entry)), entry->pair.tail));
  }
  return build(entries, nil());
}
