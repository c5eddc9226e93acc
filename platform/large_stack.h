// Runs a function on a thread with a stack of the given size.
// The reader, the printer and the evaluator recurse over nested lists; the
// main thread's stack on Linux is whatever ulimit says, so the work runs on
// a stack of our own choosing instead.
#pragma once

#include <cstddef>

#ifdef __SANITIZE_ADDRESS__
// AddressSanitizer makes each frame several times larger: a sanitized
// build recurses as deep as a plain one.
constexpr size_t LARGE_STACK_BYTES = 2048ull * 1024u * 1024u;
#else
constexpr size_t LARGE_STACK_BYTES = 512u * 1024u * 1024u;
#endif

int run_on_large_stack(int (*body)(int, char**), int argc, char** argv);
