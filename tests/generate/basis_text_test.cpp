// The basis block and the table entries copied from conf/NAME.txt.
#include "generate/basis_text.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "codegen/emitter.h"
#include "support/process.h"

namespace {

// A working directory with conf/NAME.txt for each given table. The body
// runs in a child inside it, writing readable text to standard output.
struct ConfDir {
  void table(const std::string& name, const std::string& content) const {
    mkdir(dir.file("conf").c_str(), 0700);
    write_file(dir.file("conf/" + name + ".txt"), content);
  }
  Outcome run(const std::function<void()>& body) const {
    return run_fatal([&] {
      if (chdir(dir.path.c_str()) != 0) _exit(126);
      compactMode = 0;
      setOutputFile(stdout);
      body();
    });
  }
  TempDir dir;
};

// The entry as it must stand in the file, one value a line.
std::string entry(const std::string& name, const std::vector<std::string>& values) {
  std::string text = "       (\"" + name + "\" (parseEvalBig \"list(\n";
  for (size_t i = 0; i < values.size(); i++) {
    text += "        " + values[i] + (i + 1 < values.size() ? ",\n" : ")\"))\n");
  }
  return text;
}

std::string table_entry(const std::string& content, int repetitions) {
  ConfDir conf;
  conf.table("t", content);
  Outcome o = conf.run([&] { writeTableEntry(repetitions, "t"); });
  EXPECT_EQ(o.status, 0) << o.err;
  return o.out;
}

TEST(TableEntry, Contents) {
  struct Case {
    std::string content;
    int repetitions;
    std::vector<std::string> values;
  };
  const Case cases[] = {
      // The first value repeated; a comma reads as a point.
      {"0.01 0,02", 1, {"  0.0100000000000000", "  0.0100000000000000", "  0.0200000000000000"}},
      // Any mix of blanks, tabs, line feeds and carriage returns.
      {" \t1\r\n\n2\t\t3\r4 \n", 0,
       {"  1.0000000000000000", "  2.0000000000000000", "  3.0000000000000000",
        "  4.0000000000000000"}},
      // "%lf" takes the number at the front of a token.
      {"1.5x 2", 0, {"  1.5000000000000000", "  2.0000000000000000"}},
      {",25 -0,5", 0, {"  0.2500000000000000", " -0.5000000000000000"}},
      // An infinite value ends the table, unless it is the first.
      {"1 2 inf 3", 0, {"  1.0000000000000000", "  2.0000000000000000"}},
      // The longest number that fits: 99 characters.
      {"0." + std::string(96, '0') + "5 1", 0, {"  0.0000000000000000", "  1.0000000000000000"}},
      {"123456.25", 0, {"123456.2500000000000000"}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(table_entry(c.content, c.repetitions), entry("t", c.values)) << c.content;
  }
}

TEST(TableEntryDeathTest, BadNumbers) {
  struct Case {
    std::string content;
    std::string out, err;
  };
  const std::string head = "       (\"t\" (parseEvalBig \"list(\n";
  const Case cases[] = {
      // The message carries its own newline.
      {"x", "", "sscanf failed\n\n"},
      {"1 x 2", head + "          1.0000000000000000", "sscanf failed\n\n"},
      {"0." + std::string(98, '0'), "", "buffer overflow\n"},
      {"1\n" + std::string(150, '7'), head + "          1.0000000000000000", "buffer overflow\n"},
  };
  for (const Case& c : cases) {
    ConfDir conf;
    conf.table("t", c.content);
    Outcome o = conf.run([] { writeTableEntry(0, "t"); });
    EXPECT_EQ(o.status, 1) << c.content;
    EXPECT_EQ(o.out, c.out) << c.content;
    EXPECT_EQ(o.err, c.err) << c.content;
  }
}

TEST(TableEntryDeathTest, MissingFile) {
  ConfDir conf;
  Outcome o = conf.run([] { writeTableEntry(1, "dfsa_yield"); });
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "Trying to open conf/dfsa_yield.txt\n");
  EXPECT_EQ(o.err, "fopen(): No such file or directory\n");
}

// A basis that cannot find a table stops there, with what came before on
// standard output.
TEST(BasisDeathTest, StopsAtTheFirstMissingTable) {
  ConfDir conf;
  conf.table("dfsa_yield", "1");
  conf.table("dfsa_mortality_female", "2");
  Outcome o = conf.run([] { writeBasis(); });
  EXPECT_EQ(o.status, 1);
  const std::string end = entry("dfsa_mortality_female", {"  2.0000000000000000"}) +
                          "Trying to open conf/dfsa_mortality_male.txt\n";
  ASSERT_GE(o.out.size(), end.size());
  EXPECT_EQ(o.out.substr(o.out.size() - end.size()), end);
  EXPECT_EQ(o.err, "fopen(): No such file or directory\n");
}

}  // namespace
