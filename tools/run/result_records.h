// The receiving side of the calculation program's results: 20-byte records
// (int tag, int from-account, int to-account, double value, native byte
// order). Tag 1 is a month's cashflow of an account pair, tag 2 its
// reserve. Months are not sent: the receiver counts them per pair.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

constexpr int MONTH_LIMIT = 1440;
constexpr int ACCOUNT_LIMIT = 20;
constexpr size_t RESULT_RECORD_BYTES = 20;

struct PairSeries {
  int from;
  int to;
  std::vector<double> months;  // the cashflow of month t at index t
  bool has_reserve = false;
  double reserve = 0;
};

struct ResultStream {
  std::string pending;             // the start of a record not yet whole
  std::vector<PairSeries> pairs;   // in the order of their first record
  int index[ACCOUNT_LIMIT][ACCOUNT_LIMIT];  // position in pairs, or -1
  size_t records = 0;
  bool reserves_started = false;
};

void start_result_stream(ResultStream& stream);

// Takes the next bytes of the stream, however they were cut. A record that
// cannot be part of a valid stream ends the run.
void take_result_bytes(ResultStream& stream, const char* bytes, size_t size);

// Whole months received for every pair so far (for the progress display).
int months_received(const ResultStream& stream);

// Ends the run unless the stream holds 1440 months and a reserve for every
// pair and nothing more.
void require_complete_results(const ResultStream& stream);
