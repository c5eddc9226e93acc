// Where talvon's own windows.h lives, the header that lets the calculation
// program's Windows text compile with tcc. It ships with talvon and is
// found relative to the running executable, so a run works from any
// working directory.
#pragma once

#include <string>
#include <vector>

// The include directory for the talvon executable that is running: see
// compat_include_dir_near. Ends the run when there is none.
std::string compat_include_dir();

// For an executable in exe_dir: exe_dir/include in a build tree, else
// exe_dir/../share/talvon/include in an install tree. The first that holds
// windows.h wins; when neither does, the run ends.
std::string compat_include_dir_near(const std::string& exe_dir);

// The directory of the running executable.
std::string executable_dir();

// The compiler's command line for the calculation program: tcc (from PATH)
// with -I and the include directory, "-o", the output, the source, "-lm".
std::vector<std::string> tcc_command(const std::string& include_dir, const std::string& output,
                                     const std::string& source);
