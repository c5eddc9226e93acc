#include "tools/run/compile_failure.h"

#include <sstream>

std::string first_compile_error(const std::string& talvon_out, const std::string& talvon_err) {
  if (talvon_out.find("tmp: CreateProcess failed") == std::string::npos) return "";
  // tcc writes "FILE:LINE: error: ..." for the text and "tcc: error: ..."
  // for the link.
  std::istringstream lines(talvon_err);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.find("error: ") != std::string::npos) return line;
  }
  return "";
}

std::string compile_failure_message(const std::string& first_error) {
  return "talvon-run: the calculation program did not compile; tcc's first error:\n  " +
         first_error;
}
