#include "driver/subcommands.h"
#include "platform/large_stack.h"

int main(int argc, char** argv) {
  return run_on_large_stack(talvon_main, argc, argv);
}
