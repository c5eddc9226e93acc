// SHA-256 of an input as lower-case hex, so that a run records exactly
// which scripts it read.
#pragma once

#include <string>

std::string sha256_hex(const std::string& bytes);

// The same digest of bytes that come in pieces, such as a portfolio too
// large to hold.
struct Sha256Stream {
  void* context = nullptr;
};
void start_sha256(Sha256Stream& stream);
void add_sha256(Sha256Stream& stream, const char* bytes, size_t size);
std::string finish_sha256(Sha256Stream& stream);
