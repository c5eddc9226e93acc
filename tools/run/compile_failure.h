// A run that failed because talvon's calculation program did not compile:
// talvon says only that it could not start the program, after tcc's own
// errors on its error stream.
#pragma once

#include <string>

// From talvon's captured standard output and error: tcc's first error
// line when the program could not be started after tcc reported errors,
// else "".
std::string first_compile_error(const std::string& talvon_out, const std::string& talvon_err);

// What talvon-run says about it: two lines, no trailing newline.
std::string compile_failure_message(const std::string& first_error);
