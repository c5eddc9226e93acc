// The generate task: the portfolio files it writes, through the executable
// and through its writers, and their reading back as scripts.
#include "generate/generate_task.h"

#include <gtest/gtest.h>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "codegen/emitter.h"
#include "core/reader.h"
#include "platform/crt_rand.h"
#include "support/process.h"

namespace {

// One-number tables keep the files small; the yield curve still shows its
// repeated first value.
const char* const TINY_TABLES[][2] = {
    {"dfsa_yield", "0.02"},
    {"dfsa_mortality_female", "0.1"},
    {"dfsa_mortality_male", "0.2"},
    {"dfsa_mortality_improvement_female", "0.01"},
    {"dfsa_mortality_improvement_male", "0,03"},
};

// A working directory with conf/ and out/. Bodies run in a child inside it,
// as the generate task runs: readable mode, nothing redirected.
struct WorkDir {
  explicit WorkDir(bool with_tables = true) {
    mkdir(dir.file("out").c_str(), 0700);
    if (!with_tables) return;
    mkdir(dir.file("conf").c_str(), 0700);
    for (const auto& table : TINY_TABLES) {
      write_file(dir.file("conf/" + std::string(table[0]) + ".txt"), table[1]);
    }
  }
  Outcome run(const std::function<void()>& body) const {
    return run_fatal([&] {
      if (chdir(dir.path.c_str()) != 0) _exit(126);
      compactMode = 0;
      body();
    });
  }
  // talvon exec with the run script holding the task.
  Outcome exec(const std::string& task) const {
    write_scrambled(dir.file("m.bin"), "(define (x) 1)\n");
    write_scrambled(dir.file("p.bin"), "(define (y) 2)\n");
    write_scrambled(dir.file("r.bin"), "(define (task) " + task + ")\n");
    return run_program({TALVON_EXE, "exec", "m.bin", "p.bin", "r.bin"}, "", dir.path);
  }
  std::string read(const std::string& name) const { return read_file(dir.file(name)); }
  bool has(const std::string& name) const { return access(dir.file(name).c_str(), F_OK) == 0; }
  std::set<std::string> files(const std::string& folder) const {
    std::set<std::string> names;
    DIR* d = opendir(dir.file(folder).c_str());
    if (d == nullptr) return names;
    while (dirent* e = readdir(d)) {
      std::string name = e->d_name;
      if (name != "." && name != "..") names.insert(name);
    }
    closedir(d);
    return names;
  }
  TempDir dir;
};

// The generator's seed whose first draw is r: the state after one step is
// r << 16, so the seed is that state stepped back.
uint32_t seed_for_draw(int r) {
  const uint32_t a = 214013u;
  uint32_t inverse = a;  // Newton's iteration for the inverse modulo 2^32
  for (int i = 0; i < 5; i++) inverse *= 2u - a * inverse;
  return ((static_cast<uint32_t>(r) << 16) - 2531011u) * inverse;
}

// The fixed products, spelled out independently of the list in the code.
std::vector<std::string> fixed_products() {
  const char* const families[] = {"d01", "a01", "r01", "i01", "k01", "w01", "s01", "c01"};
  std::vector<std::string> names;
  char name[16];
  for (int k = 1; k <= 40; k++) {
    snprintf(name, sizeof name, "%s_%03d", families[(k - 1) / 5], k);
    names.push_back(name);
  }
  return names;
}

int count_of(const std::string& text, const std::string& part) {
  int n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) n++;
  return n;
}

bool ends_with(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The lines of `text` that contain `part`, joined.
std::string lines_with(const std::string& text, const std::string& part) {
  std::string found;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    if (line.find(part) != std::string::npos) found += line + "\n";
    start = end + 1;
  }
  return found;
}

TEST(DateText, MonthsBeforeMay2018) {
  struct Case {
    double years;
    const char* text;
  };
  const Case cases[] = {
      {30, "may(1988)"}, {0.5, "nov(2017)"}, {1.0 / 3, "jan(2018)"}, {0.25, "feb(2018)"},
      {-0.5, "nov(2018)"}, {4.4, "dec(2013)"},
  };
  for (const Case& c : cases) EXPECT_EQ(dateText(c.years), c.text) << c.years;
}

// The birth month is round(24220 - 12 (40 u + 30)) with u from one draw.
// Draw 0 gives the policies of tests/generate/expected whole; the first
// part of policy B equals A's.
TEST(RandomPolicy, BirthFromOneDraw) {
  struct Case {
    int draw;
    const char* birth;
    const char* policy;
  };
  const Case cases[] = {
      {0, "may(1988)", "may(2018)"},
      // 23858.53 rounds up to apr; cut off it would be mar.
      {100, "apr(1988)", "apr(2018)"},
      {32767, "may(1948)", "may(1978)"},
      // 23860 - 2.94: 23857.06, not 23858.
      {200, "feb(1988)", "feb(2018)"},
  };
  WorkDir work;
  for (const Case& c : cases) {
    for (auto writer : {writeRandomPolicyA, writeRandomPolicyB}) {
      Outcome o = work.run([&] {
        crt_srand(seed_for_draw(c.draw));
        writer();
      });
      std::string whole = read_file(TALVON_SOURCE_DIR "/tests/generate/expected/random_policy_" +
                                    std::string(writer == writeRandomPolicyA ? "a" : "b") + ".txt");
      for (const char* part : {"time_birth", "time_last_state_change"}) {
        whole.replace(whole.find("may(1988)", whole.find(part)), 9, c.birth);
      }
      whole.replace(whole.find("may(2018)", whole.find("time_policy")), 9, c.policy);
      std::string dates = whole.substr(0, whole.find('\n', whole.find("time_policy")) + 1);
      EXPECT_EQ(c.draw == 0 ? o.out : o.out.substr(0, dates.size()), c.draw == 0 ? whole : dates)
          << c.draw;
    }
  }
}

// The single-product file of fixed product 20 and the seven-product file
// for age 30, whole.
TEST(ProductPortfolio, WholeFiles) {
  WorkDir work;
  Outcome o = work.run([] {
    writeSingleProductPortfolio("out/", "i01_020", 30, 10000, 1);
    writeSevenProductPortfolio("out/", "7_products", 30, 10000);
  });
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(o.out, "Generate out/i01_020_30_10000.bpf\nGenerate out/7_products_30_10000.bpf\n");
  for (const char* name : {"i01_020_30_10000.bpf", "7_products_30_10000.bpf"}) {
    EXPECT_EQ(work.read(std::string("out/") + name),
              read_file(TALVON_SOURCE_DIR "/tests/generate/expected/" + std::string(name)));
  }
}

TEST(SingleProductPortfolio, AgeAmountAndFlag) {
  WorkDir work;
  Outcome o = work.run([] { writeSingleProductPortfolio("", "premium_alive", 45, 3, 0); });
  EXPECT_EQ(o.out, "Generate premium_alive_45_3.bpf\n");
  std::string text = work.read("premium_alive_45_3.bpf");
  EXPECT_EQ(lines_with(text, "(\"time_"),
            "     (\"time_birth\" (parseEval \"may(1973)\"))\n"
            "     (\"time_last_state_change\" (parseEval \"may(1973)\"))\n"
            "     (\"time_policy\" (parseEval \"may(2003)\"))\n"
            "        (\"time_birth_spouse\" (parseEval \"may(1968)\"))\n"
            "        (\"time_birth_child\" (parseEval \"may(2013)\"))\n");
  EXPECT_EQ(lines_with(text, "(\"annuity\"") + lines_with(text, "(\"sum\""),
            "        (\"annuity\" (parse \"3\"))\n        (\"sum\" (parse \"300\"))\n");
  EXPECT_EQ(lines_with(text, "survives"), "        (\"survives_free_policy\" (parseBool 0))\n");
  EXPECT_EQ(lines_with(text, "age_expiry_annuity"),
            "        (\"age_expiry_annuity\" (parseEval \"years2span(75)\"))\n");
}

// The premium is rounded half away from zero before the expense is cut.
TEST(SevenProductPortfolio, PremiumRounding) {
  struct Case {
    int amount;
    const char* premium;
    const char* expense;
  };
  const Case cases[] = {
      {10000, "5009", "250"}, {1, "1", "0"}, {3, "2", "0"}, {200000, "100171", "5008"}};
  for (const Case& c : cases) {
    WorkDir work;
    work.run([&] { writeSevenProductPortfolio("", "s", 30, c.amount); });
    std::string text = work.read("s_30_" + std::to_string(c.amount) + ".bpf");
    std::string annuities = lines_with(text, "(\"annuity\"");
    std::string last_two = std::string("(parse \"") + c.premium + "\"))\n" +
                           "        (\"annuity\" (parse \"" + c.expense + "\"))\n";
    EXPECT_TRUE(ends_with(annuities, last_two)) << c.amount << annuities;
  }
}

// Policy lists of COUNT policies; each policy draws once.
TEST(RandomPortfolio, OneDrawPerPolicy) {
  WorkDir work;
  crt_srand(seed_for_draw(100));
  crt_rand();
  int second = crt_rand();
  int third = crt_rand();
  int fourth = crt_rand();
  Outcome o = work.run([&] {
    crt_srand(seed_for_draw(100));
    writeRandomPortfolioA(2, "out/a.bpf");
    writeRandomPortfolioB(1, "out/b.bpf");
    // Exactly three draws are gone.
    printf("next %d\n", crt_rand());
  });
  EXPECT_EQ(o.out, "Generate 2 products\nGenerate 1 products\nnext " + std::to_string(fourth) + "\n");
  auto birth = [](int r) {
    double u = (r + 0.5) / 32768.0;
    long count = std::lround(24220.0 - 12.0 * (40.0 * u + 30.0));
    const char* const months[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                  "jul", "aug", "sep", "oct", "nov", "dec"};
    return "     (\"time_birth\" (parseEval \"" + std::string(months[count % 12]) + "(" +
           std::to_string(count / 12) + ")\"))\n";
  };
  std::string a = work.read("out/a.bpf");
  EXPECT_EQ(lines_with(a, "\"time_birth\""), birth(100) + birth(second));
  EXPECT_EQ(lines_with(work.read("out/b.bpf"), "\"time_birth\""), birth(third));
  EXPECT_EQ(count_of(a, "    )))\n\n"), 2);
  EXPECT_TRUE(ends_with(a, "    )))\n\n))))\n"));
}

TEST(RandomPortfolio, ViewOfPortfolioA) {
  WorkDir work;
  work.run([] { writeRandomPortfolioA(0, "out/a.bpf"); });
  EXPECT_NE(work.read("out/a.bpf").find(
                "  (\"seven_state\" (parseBool ()))\n"
                "  (\"view\" (list 5 1 1 2 \"Premiums\" 2 3 \"Benefits a01_009\"\n"
                "   2 4 \"Benefits c01_040\" 2 5 \"Surrender\" 2 6 \"Expenses\"))\n  (\"basis\"\n"),
            std::string::npos);
}

// Through the executable: the task as a run script states it.

// A count below one writes empty policy lists; an empty second name writes
// one portfolio.
TEST(GenerateTask, CountsBelowOneAndAnEmptySecondName) {
  struct Case {
    const char* task;
    const char* out;
    std::set<std::string> files;
    int policies;
  } cases[] = {
      {"(generate 0 \"out/a.bpf\" \"out/b.bpf\")", "Generate 0 products\nGenerate 0 products\n",
       {"a.bpf", "b.bpf"}, 0},
      {"(generate -3 \"out/a.bpf\" \"\")", "Generate -3 products\n", {"a.bpf"}, 0},
      {"(generate 5 \"out/a.bpf\" \"\")", "Generate 5 products\n", {"a.bpf"}, 5},
  };
  for (const Case& c : cases) {
    WorkDir work;
    Outcome o = work.exec(c.task);
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out, c.out);
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(work.files("out"), c.files);
    std::string a = work.read("out/a.bpf");
    EXPECT_EQ(count_of(a, "\"time_birth\""), c.policies) << c.task;
    EXPECT_EQ(ends_with(a, "  ))\n  (\"policies\"\n   (list\n\n))))\n"), c.policies == 0);
  }
}

TEST(GenerateTask, CountOneWritesEveryProductBesideTheFirstFile) {
  WorkDir work;
  Outcome o = work.exec("(generate 1 \"out/a.bpf\" \"out/b.bpf\")");
  ASSERT_EQ(o.status, 0) << o.err;
  std::vector<std::string> products = {"premium_active", "premium_alive", "expense_active",
                                       "expense_alive"};
  for (const std::string& name : fixed_products()) products.push_back(name);
  std::string expected = "Generate 1 products\nGenerate 1 products\n";
  std::set<std::string> files = {"a.bpf", "b.bpf", "7_products_30_10000.bpf"};
  for (const std::string& name : products) {
    expected += "Generate out/" + name + "_30_10000.bpf\n";
    files.insert(name + "_30_10000.bpf");
  }
  expected += "Generate out/7_products_30_10000.bpf\n";
  EXPECT_EQ(o.out, expected);
  EXPECT_EQ(work.files("out"), files);

  for (size_t i = 0; i < products.size(); i++) {
    const std::string& name = products[i];
    std::string text = work.read("out/" + name + "_30_10000.bpf");
    EXPECT_EQ(lines_with(text, "\"\"\"" + name + "\"\"\""),
              "        (\"product_definition\" (parseEval \"\"\"" + name + "\"\"\"))\n");
    // Only the premium products survive the move to free policy.
    EXPECT_EQ(lines_with(text, "survives"), i < 2 ? "        (\"survives_free_policy\" (parseBool 0))\n"
                                                  : "        (\"survives_free_policy\" (parseBool ()))\n")
        << name;
  }
}

// The directory is the first name up to its last slash.
TEST(GenerateTask, DirectoryUpToTheLastSlash) {
  WorkDir work;
  mkdir(work.dir.file("out/x.y").c_str(), 0700);
  Outcome o = work.run([] { generatePortfolios(parse("(generate 1 \"./out/x.y/a\" \"out/b\")")); });
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_NE(o.out.find("Generate ./out/x.y/d01_001_30_10000.bpf\n"), std::string::npos);
  EXPECT_TRUE(work.has("out/x.y/7_products_30_10000.bpf"));
  EXPECT_TRUE(work.has("out/b"));
  EXPECT_FALSE(work.has("out/d01_001_30_10000.bpf"));
  // Without a slash the product files go to the working directory.
  o = work.run([] { generatePortfolios(parse("(generate 1 \"a.bpf\" \"\")")); });
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_TRUE(work.has("7_products_30_10000.bpf"));
  EXPECT_TRUE(work.has("a.bpf"));
}

TEST(GenerateTaskDeathTest, MalformedArguments) {
  struct Case {
    const char* task;
    int character;
    const char* message;
  };
  const Case cases[] = {
      // A string's place is the character after its opening quote.
      {"(generate \"5\" \"out/a\" \"\")", 12, "Malformed number of policies"},
      {"(generate 5.0 \"out/a\" \"\")", 11, "Malformed number of policies"},
      // The count is checked before the names, the first name before the second.
      {"(generate x y z)", 11, "Malformed number of policies"},
      {"(generate 5 out \"\")", 13, "Malformed portfolio name"},
      {"(generate 5 \"out/a\" b)", 21, "Malformed portfolio name"},
  };
  for (const Case& c : cases) {
    WorkDir work;
    Outcome o = work.run([&] { generatePortfolios(parse(c.task)); });
    EXPECT_EQ(o.status, 1) << c.task;
    EXPECT_EQ(o.out, "") << c.task;
    EXPECT_EQ(o.err, position("(from string)", 1, c.character) + c.message + "\n") << c.task;
    // Nothing is written before the checks pass.
    EXPECT_EQ(work.files("out").size(), 0u) << c.task;
  }
}

TEST(GenerateTaskDeathTest, UnwritableFile) {
  WorkDir work;
  Outcome o = work.exec("(generate 3 \"\" \"out/b.bpf\")");
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "Generate 3 products\nTrying to open \n");
  EXPECT_EQ(o.err, "fopen(): No such file or directory\n");

  o = work.exec("(generate 3 \"out/a.bpf\" \"nowhere/b.bpf\")");
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "Generate 3 products\nGenerate 3 products\nTrying to open nowhere/b.bpf\n");
  EXPECT_EQ(o.err, "fopen(): No such file or directory\n");
  // The first portfolio is complete.
  EXPECT_TRUE(ends_with(work.read("out/a.bpf"), "))))\n"));
}

TEST(GenerateTaskDeathTest, MissingTable) {
  WorkDir work(false);
  Outcome o = work.exec("(generate 1 \"out/a.bpf\" \"out/b.bpf\")");
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out, "Generate 1 products\nTrying to open conf/dfsa_yield.txt\n");
  EXPECT_EQ(o.err, "fopen(): No such file or directory\n");
  // What was written before the failure stays.
  std::string a = work.read("out/a.bpf");
  EXPECT_TRUE(ends_with(a, "\n    (\"dfsa (Finanstilsynet)\"\n     (assoc\n")) << a;
}

}  // namespace
