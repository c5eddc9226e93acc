// The output folder, made ready before anything is valued: created, found
// writable, and cleared of the results of an earlier run, so that a run
// that fails leaves nothing that could be taken for its results.
#pragma once

#include <string>
#include <vector>

// The result files a valuation writes into the output folder.
extern const char* const RESULT_FILES[];

// A failure ends the run at once, before talvon starts.
void prepare_output_folder(const std::string& folder);

// The temporary name under which a result file is written.
std::string partial_name(const std::string& path);

// Moves the written files from their temporary names into place, all
// together at the end of a run that succeeded. A temporary file that is
// still there when talvon-run exits is removed.
void note_partial(const std::string& path);
void publish_partials(const std::vector<std::string>& paths);
