#include "support/results.h"

#include <cstring>

std::vector<ResultRecord> decode_results(const std::string& bytes) {
  std::vector<ResultRecord> records;
  for (size_t at = 0; at + 20 <= bytes.size(); at += 20) {
    ResultRecord r{};
    memcpy(&r.tag, bytes.data() + at, 4);
    memcpy(&r.x, bytes.data() + at + 4, 4);
    memcpy(&r.y, bytes.data() + at + 8, 4);
    memcpy(&r.value, bytes.data() + at + 12, 8);
    records.push_back(r);
  }
  return records;
}
