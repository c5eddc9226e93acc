#include "tools/run/chunk_split.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "driver/diagnostics.h"
#include "tools/run/input_digest.h"

namespace {

// What a list is to the search for the policies.
enum class Role { other, portfolio_name, body, entry, list_candidate, policies };

struct Frame {
  Role role = Role::other;
  int items = 0;             // items begun so far
  std::string head;          // the first item, when it is an atom
  bool head_is_string = false;
  bool portfolio_define = false;  // (define (portfolio) ...)
};

enum class Lex { blank, token, string, string_quote, comment };
enum class Part { before, inside, after };  // of the policies list

struct Splitter {
  long chunk_size;
  std::string dir, name;
  Lex lex = Lex::blank;
  std::vector<Frame> stack{Frame{}};  // stack[0] is the file's top level
  std::string atom;                   // a list head being read
  bool keep_atom = false;
  long line = 1;
  bool found = false;                 // the policies list was seen
  size_t policies_depth = 0;          // its stack size
  Part part = Part::before;
  long prefix_line = 0;               // where the first policy begins
  std::string prefix, suffix;
  FILE* out = nullptr;
  std::string out_path;
  ChunkPlan plan;
};

bool is_constituent(int c) { return strchr("\n (),.;", c) == nullptr || c == 0; }

[[noreturn]] void write_failed(const std::string& path) { pdie(("talvon-run: " + path).c_str()); }

FILE* open_out(const std::string& path, const char* mode) {
  FILE* file = fopen(path.c_str(), mode);
  if (file == nullptr) write_failed(path);
  return file;
}

void close_out(FILE* file, const std::string& path) {
  if (ferror(file) != 0 || fclose(file) != 0) write_failed(path);
}

void make_folder(const std::string& path) {
  if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) write_failed(path);
}

void open_chunk(Splitter& s) {
  if (s.out != nullptr) close_out(s.out, s.out_path);
  std::string folder = chunk_folder(s.dir, s.plan.chunks.size());
  make_folder(folder);
  s.out_path = folder + "/" + s.name;
  s.out = open_out(s.out_path, "wb");
  fwrite(s.prefix.data(), 1, s.prefix.size(), s.out);
  ChunkRange range;
  range.first_policy = s.plan.policies;
  range.first_line = s.line;
  range.line_shift = s.line - s.prefix_line;
  s.plan.chunks.push_back(range);
}

void start_policy(Splitter& s) {
  if (s.part == Part::before) s.prefix_line = s.line;
  s.part = Part::inside;
  s.plan.policies++;
  if (s.out == nullptr || s.plan.policies - s.plan.chunks.back().first_policy == s.chunk_size) {
    open_chunk(s);
  }
  s.plan.chunks.back().last_policy = s.plan.policies;
}

void emit(Splitter& s, char c) {
  switch (s.part) {
    case Part::before:
      s.prefix.push_back(c);
      return;
    case Part::after:
      s.suffix.push_back(c);
      return;
    case Part::inside:
      break;
  }
  putc_unlocked(c, s.out);
  bool in_item = s.stack.size() > s.policies_depth || s.lex != Lex::blank;
  if (in_item && s.lex != Lex::comment && c != ' ' && c != '\n') s.plan.chunks.back().last_line = s.line;
}

// An item of the innermost list begins.
void begin_item(Splitter& s) {
  Frame& frame = s.stack.back();
  frame.items++;
  if (frame.role == Role::policies && frame.items >= 2) start_policy(s);
  s.keep_atom = frame.items == 1;
  s.atom.clear();
}

void end_atom(Splitter& s) {
  if (!s.keep_atom) return;
  Frame& frame = s.stack.back();
  frame.head = s.atom;
  frame.head_is_string = s.lex != Lex::token;
  if (frame.role == Role::list_candidate && !frame.head_is_string && frame.head == "list") {
    frame.role = Role::policies;
    s.found = true;
    s.policies_depth = s.stack.size();
  }
  s.keep_atom = false;
}

Role role_in(const Frame& parent, bool found) {
  if (parent.items == 2 && !parent.head_is_string && parent.head == "define") return Role::portfolio_name;
  if (parent.portfolio_define && parent.items == 3) return Role::body;
  if (parent.role == Role::body) return Role::entry;
  if (parent.role == Role::entry && parent.items == 2 && parent.head_is_string &&
      parent.head == "policies" && !found) {
    return Role::list_candidate;
  }
  return Role::other;
}

void open_list(Splitter& s) {
  begin_item(s);
  Frame frame;
  frame.role = role_in(s.stack.back(), s.found);
  s.stack.push_back(frame);
  emit(s, '(');
}

void close_list(Splitter& s) {
  if (s.stack.size() == 1) {  // unbalanced: talvon will say where
    emit(s, ')');
    return;
  }
  Frame frame = s.stack.back();
  if (frame.role == Role::policies && s.stack.size() == s.policies_depth) {
    s.part = Part::after;
    s.plan.suffix_line = s.line;
  }
  emit(s, ')');
  s.stack.pop_back();
  if (frame.role == Role::portfolio_name && frame.items == 1 && !frame.head_is_string &&
      frame.head == "portfolio") {
    s.stack.back().portfolio_define = true;
  }
}

// A character outside strings, comments and tokens.
void take_blank(Splitter& s, char c) {
  if (c == ' ' || c == '\n') {
    if (c == '\n') s.line++;
    emit(s, c);
  } else if (c == ';') {
    s.lex = Lex::comment;
    emit(s, c);
  } else if (c == '(') {
    open_list(s);
  } else if (c == ')') {
    close_list(s);
  } else {
    begin_item(s);
    s.lex = c == '"' ? Lex::string : Lex::token;
    if (c != '"') s.atom.push_back(c);
    emit(s, c);
  }
}

void take(Splitter& s, char c) {
  if (c == '\r') {  // the reader skips it
    emit(s, c);
    return;
  }
  switch (s.lex) {
    case Lex::comment:
      if (c == '\n') {
        s.line++;
        s.lex = Lex::blank;
      }
      emit(s, c);
      return;
    case Lex::string:
      if (c == '"') {
        s.lex = Lex::string_quote;
      } else {
        if (c == '\n') s.line++;
        if (s.keep_atom && s.atom.size() < 16) s.atom.push_back(c);
      }
      emit(s, c);
      return;
    case Lex::string_quote:
      if (c == '"') {  // a doubled quote stands for one
        s.lex = Lex::string;
        if (s.keep_atom) s.atom.push_back(c);
        emit(s, c);
        return;
      }
      end_atom(s);
      break;
    case Lex::token:
      if (is_constituent(static_cast<unsigned char>(c)) || c == '.') {
        if (s.keep_atom && s.atom.size() < 16) s.atom.push_back(c);
        emit(s, c);
        return;
      }
      end_atom(s);
      break;
    case Lex::blank:
      break;
  }
  s.lex = Lex::blank;
  take_blank(s, c);
}

FILE* open_portfolio(const std::string& path) {
  FILE* in = path == "-" ? fdopen(dup(0), "rb") : fopen(path.c_str(), "rb");
  if (in == nullptr) pdie(("talvon-run: cannot read the portfolio " + path).c_str());
  return in;
}

std::string copy_whole(const std::string& path, const std::string& target) {
  FILE* in = open_portfolio(path);
  Sha256Stream digest;
  start_sha256(digest);
  if (in == nullptr) pdie(("talvon-run: cannot read the portfolio " + path).c_str());
  FILE* out = open_out(target, "wb");
  std::unique_ptr<char[]> buffer(new char[1 << 20]);
  for (size_t n; (n = fread(buffer.get(), 1, 1 << 20, in)) > 0;) {
    add_sha256(digest, buffer.get(), n);
    fwrite(buffer.get(), 1, n, out);
  }
  if (ferror(in) != 0) pdie(("talvon-run: cannot read the portfolio " + path).c_str());
  fclose(in);
  close_out(out, target);
  return finish_sha256(digest);
}

void write_whole(const std::string& path, const std::string& text) {
  FILE* out = open_out(path, "wb");
  fwrite(text.data(), 1, text.size(), out);
  close_out(out, path);
}

}  // namespace

std::string chunk_folder(const std::string& dir, size_t index) {
  char number[16];
  snprintf(number, sizeof number, "/%04zu", index + 1);
  return dir + number;
}

ChunkPlan split_portfolio(const std::string& path, long chunk_size, const std::string& dir,
                          const std::string& name) {
  make_folder(dir);
  ChunkPlan whole;
  whole.chunks.push_back(ChunkRange{});
  if (chunk_size <= 0) {
    make_folder(chunk_folder(dir, 0));
    whole.sha256 = copy_whole(path, chunk_folder(dir, 0) + "/" + name);
    return whole;
  }
  Splitter s;
  s.chunk_size = chunk_size;
  s.dir = dir;
  s.name = name;
  FILE* in = open_portfolio(path);
  Sha256Stream digest;
  start_sha256(digest);
  std::unique_ptr<char[]> buffer(new char[1 << 20]);
  for (size_t n; (n = fread(buffer.get(), 1, 1 << 20, in)) > 0;) {
    add_sha256(digest, buffer.get(), n);
    for (size_t i = 0; i < n; i++) take(s, buffer[i]);
  }
  if (ferror(in) != 0) pdie(("talvon-run: cannot read the portfolio " + path).c_str());
  fclose(in);
  if (s.out != nullptr) close_out(s.out, s.out_path);
  s.plan.sha256 = finish_sha256(digest);
  s.plan.balanced = s.stack.size() == 1 && s.lex != Lex::string;
  if (s.plan.chunks.empty()) {  // no policies list, or an empty one
    make_folder(chunk_folder(dir, 0));
    write_whole(chunk_folder(dir, 0) + "/" + name, s.prefix + s.suffix);
    if (s.found) write_whole(dir + "/outline.tal", s.prefix + s.suffix);
    whole.split = s.found;
    whole.sha256 = s.plan.sha256;
    whole.balanced = s.plan.balanced;
    return whole;
  }
  for (size_t i = 0; i < s.plan.chunks.size(); i++) {
    std::string chunk = chunk_folder(dir, i) + "/" + name;
    FILE* out = open_out(chunk, "ab");
    fwrite(s.suffix.data(), 1, s.suffix.size(), out);
    close_out(out, chunk);
  }
  write_whole(dir + "/outline.tal", s.prefix + s.suffix);
  s.plan.split = true;
  return s.plan;
}
