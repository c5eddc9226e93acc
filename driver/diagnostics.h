// The exit routines. Every fault of every kind ends the process through one
// of them; nothing is ever returned to a caller as an error.
#pragma once

struct Cell;

// Sends the end record, writes "message\n" to stderr, exits 1.
[[noreturn]] void die(const char* message);

// Sends the end record, then perror(message), exits 1.
[[noreturn]] void pdie(const char* message);

// pdie with the label when there is one, else with the fallback.
[[noreturn]] void pdie_label(const char* label, const char* fallback);

// "message: system text" on stdout and exit with the system error code
// (errno). Sends no end record.
[[noreturn]] void system_error_exit(const char* message);

// "File %s line %d character %d" for the cell's position, then die.
[[noreturn]] void error_at(const Cell* where, const char* message);
