// The records that the calculation program sends to the front end.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Tag 1 is a month's cashflow of the pair (x, y), tag 2 its reserve.
struct ResultRecord {
  int32_t tag, x, y;
  double value;
};

// The 20-byte records of `bytes`, in order; a short tail is ignored.
std::vector<ResultRecord> decode_results(const std::string& bytes);
