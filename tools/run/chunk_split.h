// Cutting a portfolio script into chunks of at most K policies, as it
// streams by: the script is read once, with its strings, comments and
// nesting followed as the reader follows them, and the policies are the
// items of the entry ("policies" (list ...)) of (define (portfolio) ...).
// Every chunk script is the whole script with only its own policies in
// that list. A script whose policies are not written so is one chunk.
#pragma once

#include <string>
#include <vector>

struct ChunkRange {
  long first_policy = 0;  // numbered from 1 in the user's file; 0 when none
  long last_policy = 0;
  long first_line = 0;    // the user's file lines of the first and last policy
  long last_line = 0;
  long line_shift = 0;    // a policy line of the chunk script plus this is
                          // its line in the user's file
};

struct ChunkPlan {
  bool split = false;     // the policies list was found
  bool balanced = false;  // the script ends outside strings and lists
  long policies = 0;
  long suffix_line = 0;   // the user's line where the script goes on after
                          // the policies list (its closing parenthesis)
  std::string sha256;     // of the whole portfolio as read
  std::vector<ChunkRange> chunks;
};

// The folder of chunk `index` (from 0) under `dir`: dir/0001, dir/0002...
std::string chunk_folder(const std::string& dir, size_t index);

// Reads the portfolio at `path` ("-": standard input) and writes each chunk's script as
// dir/NNNN/NAME, making the folders. chunk_size 0 makes one chunk of the
// whole script. When split, also writes dir/outline.tal: the script with
// an empty policies list. A read or write failure ends the run.
ChunkPlan split_portfolio(const std::string& path, long chunk_size, const std::string& dir,
                          const std::string& name);
