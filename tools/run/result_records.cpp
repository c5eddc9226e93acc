#include "tools/run/result_records.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "driver/diagnostics.h"

static constexpr int32_t CASHFLOW_TAG = 1;
static constexpr int32_t RESERVE_TAG = 2;

void start_result_stream(ResultStream& stream) {
  stream.pending.clear();
  stream.pairs.clear();
  for (auto& row : stream.index) {
    for (int& entry : row) entry = -1;
  }
  stream.records = 0;
  stream.reserves_started = false;
}

[[noreturn]] static void bad_record(const ResultStream& stream, const char* what) {
  char message[200];
  snprintf(message, sizeof message, "talvon-run: result record %zu: %s", stream.records + 1, what);
  die(message);
}

static PairSeries& pair_of(ResultStream& stream, int32_t from, int32_t to, int32_t tag) {
  if (from < 0 || from >= ACCOUNT_LIMIT || to < 0 || to >= ACCOUNT_LIMIT) {
    bad_record(stream, "account out of range");
  }
  int& at = stream.index[from][to];
  if (at < 0) {
    if (tag == RESERVE_TAG) bad_record(stream, "reserve of a pair without cashflows");
    at = static_cast<int>(stream.pairs.size());
    stream.pairs.push_back(PairSeries{from, to, {}, false, 0.0});
  }
  return stream.pairs[static_cast<size_t>(at)];
}

static void take_record(ResultStream& stream, const char* record) {
  int32_t tag, from, to;
  double value;
  memcpy(&tag, record, 4);
  memcpy(&from, record + 4, 4);
  memcpy(&to, record + 8, 4);
  memcpy(&value, record + 12, 8);
  if (tag != CASHFLOW_TAG && tag != RESERVE_TAG) bad_record(stream, "unknown tag");
  PairSeries& pair = pair_of(stream, from, to, tag);
  if (tag == CASHFLOW_TAG) {
    if (stream.reserves_started) bad_record(stream, "cashflow after the reserves");
    if (pair.months.size() >= MONTH_LIMIT) bad_record(stream, "more than 1440 months");
    pair.months.push_back(value);
  } else {
    if (pair.has_reserve) bad_record(stream, "second reserve of a pair");
    stream.reserves_started = true;
    pair.has_reserve = true;
    pair.reserve = value;
  }
  stream.records++;
}

void take_result_bytes(ResultStream& stream, const char* bytes, size_t size) {
  // Complete a record begun in an earlier piece, then take whole records
  // straight from the piece.
  while (size > 0 && !stream.pending.empty()) {
    size_t need = RESULT_RECORD_BYTES - stream.pending.size();
    size_t take = size < need ? size : need;
    stream.pending.append(bytes, take);
    bytes += take;
    size -= take;
    if (stream.pending.size() < RESULT_RECORD_BYTES) return;
    std::string record;
    record.swap(stream.pending);
    take_record(stream, record.data());
  }
  for (; size >= RESULT_RECORD_BYTES; bytes += RESULT_RECORD_BYTES, size -= RESULT_RECORD_BYTES) {
    take_record(stream, bytes);
  }
  stream.pending.append(bytes, size);
}

int months_received(const ResultStream& stream) {
  if (stream.pairs.empty()) return 0;
  size_t least = MONTH_LIMIT;
  for (const PairSeries& pair : stream.pairs) {
    if (pair.months.size() < least) least = pair.months.size();
  }
  return static_cast<int>(least);
}

void require_complete_results(const ResultStream& stream) {
  char message[200];
  if (!stream.pending.empty()) {
    snprintf(message, sizeof message,
             "talvon-run: the result stream ends inside record %zu: the run failed",
             stream.records + 1);
    die(message);
  }
  for (const PairSeries& pair : stream.pairs) {
    if (pair.months.size() < MONTH_LIMIT) {
      snprintf(message, sizeof message,
               "talvon-run: the result stream ends after %zu of 1440 months of accounts %d -> %d: "
               "the run failed",
               pair.months.size(), pair.from, pair.to);
      die(message);
    }
  }
  for (const PairSeries& pair : stream.pairs) {
    if (!pair.has_reserve) {
      snprintf(message, sizeof message,
               "talvon-run: the result stream ends without the reserve of accounts %d -> %d: "
               "the run failed",
               pair.from, pair.to);
      die(message);
    }
  }
}
