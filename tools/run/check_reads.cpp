#include "tools/run/check_reads.h"

#include <cstring>
#include <set>
#include <string>

#include "core/list.h"

namespace {

struct Walk {
  const Cell* cdefs;
  const Cell* defs;
  Reads& reads;
  std::set<std::string> cdefs_seen;
  std::vector<const Cell*> bound;  // parameters of the value definitions walked into
  int depth = 0;
  bool program = true;  // the expressions walked go into the program as C text
};

bool is_bound(const Walk& w, const Cell* symbol) {
  for (const Cell* b : w.bound) {
    if (strcmp(b->text, symbol->text) == 0) return true;
  }
  return false;
}

bool named(const Cell* op, const char* name) { return is_symbol_named(op, name); }

bool any_of(const Cell* op, std::initializer_list<const char*> names) {
  for (const char* name : names) {
    if (named(op, name)) return true;
  }
  return false;
}

void walk_script(Walk& w, const Cell* e, Kind kind, bool always, const Cell* reader);

void walk_arguments(Walk& w, const Cell* arguments, Kind kind, bool always, const Cell* reader) {
  for (; is_cons(arguments); arguments = arguments->pair.tail) {
    walk_script(w, arguments->pair.head, kind, always, reader);
  }
}

// The operand kind of script arithmetic under a value of `kind`.
Kind operand_kind(Kind kind) {
  if (kind == Kind::real_term || kind == Kind::number) return Kind::number;
  return Kind::any;
}

void walk_call(Walk& w, const Cell* e, bool always, const Cell* reader) {
  walk_arguments(w, e->pair.tail, Kind::any, always, reader);
  const Cell* definition = aget(w.defs, e->pair.head);
  if (!is_cons(definition) || w.depth > 20) return;
  size_t mark = w.bound.size();
  for (const Cell* p = definition->pair.head; is_cons(p); p = p->pair.tail) {
    if (is_symbol(p->pair.head)) w.bound.push_back(p->pair.head);
  }
  w.depth++;
  walk_script(w, definition->pair.tail, Kind::any, always, reader);
  w.depth--;
  w.bound.resize(mark);
}

void walk_script(Walk& w, const Cell* e, Kind kind, bool always, const Cell* reader) {
  if (is_symbol(e)) {
    if (!is_bound(w, e)) w.reads.needs.push_back(Need{e, kind, nullptr, reader, always});
    return;
  }
  if (!is_cons(e)) return;
  const Cell* op = e->pair.head;
  const Cell* args = e->pair.tail;
  if (any_of(op, {"quote", "is", "c", "parse", "parseEval", "parseEvalBig", "assoc"})) return;
  if (named(op, "parseBool")) return walk_arguments(w, args, Kind::any, always, reader);
  if (named(op, "function")) {
    if (is_cons(args)) walk_arguments(w, args->pair.tail, kind, always, reader);
    return;
  }
  if (named(op, "substitute") && length(args) == 3) {
    walk_script(w, third(args), Kind::any, always, reader);
    size_t mark = w.bound.size();
    if (is_symbol(second(args))) w.bound.push_back(second(args));
    walk_script(w, first(args), kind, always, reader);
    w.bound.resize(mark);
    return;
  }
  if (named(op, "if") && is_cons(args)) {
    walk_script(w, args->pair.head, Kind::any, always, reader);
    return walk_arguments(w, args->pair.tail, kind, false, reader);
  }
  if (any_of(op, {"and", "or"}) && is_cons(args)) {
    walk_script(w, args->pair.head, Kind::any, always, reader);
    return walk_arguments(w, args->pair.tail, Kind::any, false, reader);
  }
  if (any_of(op, {"date", "span", "years2span"})) return walk_arguments(w, args, Kind::integer, always, reader);
  if (named(op, "span2years")) return walk_arguments(w, args, Kind::span, always, reader);
  if (named(op, "stringToSymbol")) return walk_arguments(w, args, Kind::text, always, reader);
  if (named(op, "gauss")) return walk_arguments(w, args, Kind::number, always, reader);
  if (any_of(op, {"+", "-", "*", "/", "^", "min", "max"})) {
    return walk_arguments(w, args, operand_kind(kind), always, reader);
  }
  if (any_of(op, {"aget", "aget_default"})) {
    const Cell* rest = named(op, "aget_default") && is_cons(args) ? args->pair.tail : args;
    if (named(op, "aget_default") && is_cons(args)) walk_script(w, args->pair.head, Kind::any, always, reader);
    if (length(rest) != 2) return walk_arguments(w, rest, Kind::any, always, reader);
    walk_script(w, first(rest), Kind::any, always, reader);
    const Cell* key = second(rest);
    if (is_symbol(key) && !is_bound(w, key) && named(op, "aget")) {
      w.reads.needs.push_back(Need{key, Kind::key_of, first(rest), reader, always});
      return;
    }
    return walk_script(w, key, Kind::any, always, reader);
  }
  if (any_of(op, {"replace", "list", "=", "!=", "<", "<=", ">", ">="})) {
    return walk_arguments(w, args, Kind::any, always, reader);
  }
  walk_call(w, e, always, reader);
}

void walk_c(Walk& w, const Cell* e);

void walk_c_list(Walk& w, const Cell* list) {
  for (; is_cons(list); list = list->pair.tail) walk_c(w, list->pair.head);
}

// C-level expressions: their variables are C-level definitions; the
// arguments of v_date, v_span and v_real are script expressions.
void walk_c(Walk& w, const Cell* e) {
  if (is_symbol(e)) {
    const Cell* definition = aget(w.cdefs, e);
    if (!is_cons(definition) || !w.cdefs_seen.insert(e->text).second) return;
    return walk_c(w, definition->pair.tail);
  }
  if (is_real(e) && w.program) w.reads.constants.push_back(e);
  if (!is_cons(e)) return;
  const Cell* op = e->pair.head;
  Kind kind = named(op, "v_date") ? Kind::date
              : named(op, "v_span") ? Kind::span
              : named(op, "v_real") ? Kind::real_term
                                    : Kind::any;
  if (kind != Kind::any) {
    w.reads.values.push_back(e);
    if (is_cons(e->pair.tail)) walk_script(w, e->pair.tail->pair.head, kind, true, e);
    return;
  }
  if (named(op, "c")) return;
  walk_c_list(w, e->pair.tail);
}

void walk_tree(Walk& w, const Cell* tree) {
  for (; is_cons(tree); tree = tree->pair.tail) {
    const Cell* split = tree->pair.head->pair.head;
    for (const Cell* i = nth(4, split); is_cons(i); i = i->pair.tail) walk_c(w, third(i->pair.head));
    for (const Cell* g = nth(5, split); is_cons(g); g = g->pair.tail) walk_c(w, second(g->pair.head));
    for (const Cell* c = tree->pair.head->pair.tail; is_cons(c); c = c->pair.tail) {
      walk_tree(w, c->pair.head->pair.tail);
    }
  }
}

}  // namespace

Reads product_reads(const Cell* record, const Cell* cdefs, const Cell* defs) {
  Reads reads;
  Walk w{cdefs, defs, reads, {}, {}, 0, true};
  const Cell* amount = aget_named(record, "paySize");
  if (!(is_cons(amount) && named(amount->pair.head, "linear_combination"))) walk_c(w, amount);
  walk_tree(w, aget_named(record, "splitAssoc"));
  // The expiry is worked out to a month before the program is written;
  // last, so that a C-level definition it shares with the amount has been
  // walked as program text.
  w.program = false;
  walk_c(w, aget_named(record, "expiry"));
  return reads;
}

Reads term_reads(const Cell* term, const Cell* cdefs, const Cell* defs) {
  Reads reads;
  Walk w{cdefs, defs, reads, {}, {}, 0, true};
  walk_c(w, term);
  return reads;
}

void script_reads(const Cell* expression, const Cell* defs, Reads& reads) {
  Walk w{nil(), defs, reads, {}, {}, 0, true};
  walk_script(w, expression, Kind::any, true, expression);
}
