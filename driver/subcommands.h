// The command line: four subcommands, each with an exact argument count.
#pragma once

// Runs the subcommand that argv names; any other command line prints the
// usage text and ends with status 1. Returns the exit status.
int talvon_main(int argc, char** argv);
