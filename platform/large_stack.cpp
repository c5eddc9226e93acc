#include "platform/large_stack.h"

#include <pthread.h>

#include <cstdio>
#include <cstdlib>

namespace {

struct Call {
  int (*body)(int, char**);
  int argc;
  char** argv;
  int status;
};

void* run_call(void* arg) {
  Call* call = static_cast<Call*>(arg);
  call->status = call->body(call->argc, call->argv);
  return nullptr;
}

}  // namespace

int run_on_large_stack(int (*body)(int, char**), int argc, char** argv) {
  Call call = {body, argc, argv, 0};
  pthread_attr_t attr;
  pthread_t thread;
  // The stack is reserved, not committed: untouched pages cost nothing.
  if (pthread_attr_init(&attr) != 0 || pthread_attr_setstacksize(&attr, LARGE_STACK_BYTES) != 0 ||
      pthread_create(&thread, &attr, run_call, &call) != 0) {
    return body(argc, argv);
  }
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attr);
  return call.status;
}
