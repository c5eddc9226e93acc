// The note talvon-run adds to a talvon message that points into talvon's
// own source: no script leads there once the check has passed.
#include <gtest/gtest.h>

#include "tools/run/talvon_fault.h"

TEST(TalvonFaultTest, NoteOnlyForPlacesInTalvonsOwnSource) {
  struct Case {
    const char* output;
    double progress;
    const char* expected;  // a piece of the note, or "" for none
  };
  const Case cases[] = {
      {"(x)\nFile model/product_states.cpp line 15 character 0\nCannot find initial state\n", 0.3,
       "(model/product_states.cpp line 15) is in talvon's own source, not in your scripts; talvon stopped there "
       "while it wrote the calculation program"},
      {"File core/list.cpp line 177 character 0\nvalue of non-integer\n", -1, "while it read the scripts"},
      {"File p.tal line 8 character 27\nctermToCtext: Unknown operator\n", 0.3, ""},
      {"Account out of range\n", 0.3, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.output);
    std::string note = own_source_note(c.output, c.progress);
    if (*c.expected == 0) {
      EXPECT_EQ(note, "");
    } else {
      EXPECT_NE(note.find(c.expected), std::string::npos) << note;
    }
  }
}
