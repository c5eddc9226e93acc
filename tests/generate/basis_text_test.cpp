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
      {"\n\n  0.5 \r\n", 0, {"  0.5000000000000000"}},
      // Any mix of blanks, tabs, line feeds and carriage returns.
      {" \t1\r\n\n2\t\t3\r4 \n", 0,
       {"  1.0000000000000000", "  2.0000000000000000", "  3.0000000000000000",
        "  4.0000000000000000"}},
      // "%lf" takes the number at the front of a token.
      {"1.5x 2", 0, {"  1.5000000000000000", "  2.0000000000000000"}},
      {",25 -0,5", 0, {"  0.2500000000000000", " -0.5000000000000000"}},
      // An infinite value ends the table, unless it is the first.
      {"1 2 inf 3", 0, {"  1.0000000000000000", "  2.0000000000000000"}},
      {"1 nan 3", 0, {"  1.0000000000000000"}},
      // The longest number that fits: 99 characters.
      {"0." + std::string(96, '0') + "5 1", 0, {"  0.0000000000000000", "  1.0000000000000000"}},
      {"123456.25", 0, {"123456.2500000000000000"}},
      {"0.00000000000000001 1e-3", 0, {"  0.0000000000000000", "  0.0010000000000000"}},
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

const char* const TABLE_NAMES[] = {"dfsa_yield", "dfsa_mortality_female", "dfsa_mortality_male",
                                   "dfsa_mortality_improvement_female",
                                   "dfsa_mortality_improvement_male"};

// The five tables go in a fixed order, and only the yield curve repeats
// its first value.
TEST(Basis, TablesInOrderBetweenTheirLines) {
  ConfDir conf;
  for (int i = 0; i < 5; i++) conf.table(TABLE_NAMES[i], std::to_string(i + 1));
  Outcome o = conf.run([] { writeBasis(); });
  ASSERT_EQ(o.status, 0) << o.err;
  std::string tables = "    (\"dfsa (Finanstilsynet)\"\n     (assoc\n" +
                       entry("dfsa_yield", {"  1.0000000000000000", "  1.0000000000000000"}) +
                       entry("dfsa_mortality_female", {"  2.0000000000000000"}) +
                       entry("dfsa_mortality_male", {"  3.0000000000000000"}) +
                       entry("dfsa_mortality_improvement_female", {"  4.0000000000000000"}) +
                       entry("dfsa_mortality_improvement_male", {"  5.0000000000000000"}) +
                       "    ))\n    (\"yield_curve\" (parse \"dfsa_yield(t)\"))\n";
  EXPECT_NE(o.out.find(tables), std::string::npos) << o.out;
  EXPECT_EQ(o.out.rfind("  (\"basis\"\n   (assoc\n    (\"female\"\n     (assoc\n", 0), 0u);
  const std::string tail =
      "    (\"reserve_free_policy\" (parse \"1200000\"))\n"
      "  ))\n";
  EXPECT_EQ(o.out.substr(o.out.size() - tail.size()), tail);
  // 44 fixed lines, then an opening line and a value line per entry, and
  // the yield curve's repeated value.
  int lines = 0;
  for (char c : o.out) lines += c == '\n';
  EXPECT_EQ(lines, 44 + 5 * 2 + 1);
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
