// The private run directory laid out as talvon expects it:
//   ROOT/work/   the working directory: the scrambled scripts, conf/
//   ROOT/bin/    where talvon writes and builds the calculation program
//   ROOT/progress, ROOT/result   the two FIFOs
// ROOT is made with mkdtemp under $TMPDIR, or /tmp without it.
#pragma once

#include <string>

struct RunDir {
  std::string root;
  std::string work;
  std::string progress_fifo;
  std::string result_fifo;
};

// The folder for run directories: $TMPDIR when set and not empty.
std::string temp_parent();

// Makes the directory, its work/ and bin/ and, unless `socket`, both FIFOs
// (with only the progress FIFO otherwise). A failure ends the run.
RunDir make_run_dir(bool socket);

// The names under which the three scripts are scrambled into work/: their
// own base names where these are distinct and usable, so talvon's
// messages name the user's files.
struct ScriptNames {
  std::string model, portfolio, run;
};
ScriptNames script_names(const std::string& model, const std::string& portfolio,
                         const std::string& run);

// Reads a plain script; a missing or unreadable file ends the run with
// "talvon-run: cannot read the WHAT PATH: reason".
std::string read_script(const std::string& path, const char* what);

// The same message for a script that cannot be opened, without reading it.
void check_readable(const std::string& path, const char* what);

// Copies the plain script at `from` scrambled into work/NAME, block by
// block, however large it is. A script that cannot be read ends the run
// with the message of read_script.
void copy_scrambled_script(const RunDir& dir, const std::string& name, const std::string& from,
                           const char* what);

// Links work/conf to the table folder.
void link_conf(const RunDir& dir, const std::string& conf);

// Removes a directory with everything in it; quietly does nothing when it
// is not there.
void remove_tree(const std::string& path);
