// Every portfolio that the generate task writes passes talvon-run's check
// of the scripts without a finding: the check knows every key and value
// that generated portfolios carry.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/process.h"

TEST(GeneratedCheckTest, EveryGeneratedPortfolioPassesWithoutAWarning) {
  const std::string model = TALVON_SOURCE_DIR "/models/pension/model.tal";
  TempDir dir;
  write_file(dir.file("empty.tal"), "(define (portfolio) (assoc (\"policies\" ())))\n");
  write_file(dir.file("generate.tal"), "(define (task) (generate 1 \"a.bpf\" \"b.bpf\"))\n");
  Outcome generated =
      run_program({TALVON_RUN_EXE, "-q", "-o", dir.file("gen"), model, dir.file("empty.tal"), dir.file("generate.tal")});
  ASSERT_EQ(generated.status, 0) << generated.err;
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir.file("gen"))) {
    SCOPED_TRACE(entry.path().string());
    Outcome checked = run_program({TALVON_RUN_EXE, "--check", model, entry.path().string()});
    EXPECT_EQ(checked.status, 0);
    EXPECT_EQ(checked.err, "");
    files++;
  }
  EXPECT_EQ(files, 47);  // two random portfolios, 44 single-product files, the seven-product file
}
