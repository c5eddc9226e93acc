// A forked child that ends with _exit writes no coverage counts by itself:
// in a coverage build (scripts/coverage) it writes them first.
#pragma once

#ifdef TALVON_COVERAGE
extern "C" void __gcov_dump(void);
inline void dump_coverage() { __gcov_dump(); }
#else
inline void dump_coverage() {}
#endif
