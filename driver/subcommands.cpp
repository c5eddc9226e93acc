#include "driver/subcommands.h"

#include <cstdio>
#include <cstring>

#include "codegen/identifiers.h"
#include "core/printer.h"
#include "core/reader.h"
#include "driver/diagnostics.h"
#include "driver/progress_channel.h"
#include "driver/run_driver.h"
#include "driver/self_test.h"
#include "talvon_version.h"

static void run_test() {
  selfTest();
}

static void run_echo(char** argv) {
  print_cell_line(read_source(argv[2]));
}

static void run_exec(char** argv) {
  run_script_set(argv[2], argv[3], argv[4], "-1", "-1");
}

static void run_server(char** argv) {
  open_progress_channel(argv[5]);
  run_script_set(argv[2], argv[3], argv[4], argv[5], argv[6]);
  close_progress_channel();
}

struct Subcommand {
  const char* name;
  int argc;  // program name included
  void (*run)(char** argv);
};

static const Subcommand SUBCOMMANDS[] = {
    {"--version", 2, [](char**) { printf("talvon %s\n", TALVON_VERSION); }},
    {"test", 2, [](char**) { run_test(); }},
    {"echo", 3, run_echo},
    {"exec", 5, run_exec},
    {"server", 7, run_server},
};

[[noreturn]] static void usage() {
  printf("Usage: talvon subcommand arg1 ... argn\n");
  printf("\n");
  printf("Only useful invokation from command line:\n");
  printf("talvon test\n");
  die("");
}

int talvon_main(int argc, char** argv) {
  initIdentifierTable();
  if (argc >= 2) {
    for (const Subcommand& subcommand : SUBCOMMANDS) {
      if (strcmp(argv[1], subcommand.name) == 0 && argc == subcommand.argc) {
        subcommand.run(argv);
        return 0;
      }
    }
  }
  usage();
}
