// DIR/chunks.txt: what a folder of chunks holds, for the steps that value
// and merge them later, perhaps elsewhere. Plain lines:
//   portfolio PATH                      the user's portfolio
//   model PATH, run PATH                the user's model and run script
//                                       (run empty: the default task)
//   scripts MODEL PORTFOLIO RUN         the scripts' names in every chunk folder
//   split 0|1                           whether the policies list was found
//   policies N
//   sha256 HEX                          the portfolio's digest
//   chunk NNNN FIRST LAST LINE1 LINE2 SHIFT   one line a chunk, in order
#pragma once

#include <string>

#include "tools/run/chunk_split.h"
#include "tools/run/run_dir.h"

struct ChunkManifest {
  std::string portfolio;
  std::string model, run;
  ScriptNames names;
  ChunkPlan plan;
};

void write_manifest(const std::string& dir, const ChunkManifest& manifest);

// A missing or damaged manifest ends the run.
ChunkManifest read_manifest(const std::string& dir);

// How talvon-run names chunk `index` (from 0) when it fails: its number,
// its policies and their lines in the user's file. Empty for a portfolio
// valued as one chunk.
std::string chunk_name(const ChunkManifest& manifest, size_t index);
