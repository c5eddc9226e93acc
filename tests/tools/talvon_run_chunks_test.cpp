// talvon-run in chunks, end to end through the real executables: chunked
// results equal the whole program's, and a chunk that fails, a talvon
// killed in one chunk and an interrupt all end the run cleanly.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <map>
#include <sstream>
#include <thread>

#include "support/process.h"
#include "support/run_checks.h"

namespace {

const std::string MODEL = TALVON_SOURCE_DIR "/models/pension/model.tal";
const std::string EXAMPLE = TALVON_SOURCE_DIR "/models/example/portfolio.tal";

// The example portfolio with its policies independent of each other (the
// seven-state rule) and three of them: the man twice, after a comment that
// holds a parenthesis, then the woman.
std::string three_policies() {
  std::string text = read_file(EXAMPLE);
  std::string flag = "(\"seven_state\" (parseBool ()))";
  text.replace(text.find(flag), flag.size(), "(\"seven_state\" (parseBool 1))");
  size_t man = text.find("\n\n    ; A man of 44");
  size_t woman = text.find("\n\n    ; A woman of 61");
  return text.substr(0, woman) + "\n    ; the same man again (a copy" + text.substr(man, woman - man) +
         text.substr(woman);
}

// What the check says of it: its view names a flow that none of its
// products books.
std::string surrender_warning(const std::string& path) {
  return path + ":10:4: warning: the view names the flow 2 -> 5 \"Surrender\", which no product books\n";
}

// The same policies given by a function of the portfolio's own.
std::string policies_by_function(const std::string& text) {
  size_t list = text.find("(list", text.find("(\"policies\""));
  size_t end = text.rfind("))))");
  return text.substr(0, list) + "(mine)" + text.substr(end + 1) + "(define (mine)\n " +
         text.substr(list, end + 1 - list) + ")\n";
}

std::map<std::string, double> results(const std::string& out) {
  std::map<std::string, double> values;
  for (const char* file : {"/cashflows.csv", "/reserves.csv"}) {
    std::istringstream in(read_file(out + file));
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) values[file + line.substr(0, line.rfind(','))] = std::stod(line.substr(line.rfind(',') + 1));
  }
  return values;
}

void expect_same_results(const std::string& whole, const std::string& chunked) {
  std::map<std::string, double> a = results(whole), b = results(chunked);
  ASSERT_EQ(a.size(), b.size()) << chunked;
  ASSERT_GT(a.size(), 1440u);
  for (const auto& [key, value] : a) {
    ASSERT_EQ(b.count(key), 1u) << key;
    EXPECT_LE(std::fabs(value - b[key]), 1e-12 * std::fabs(value)) << chunked << " " << key;
  }
}

const std::string NOT_A_LIST =
    "talvon-run: the policies of p.tal are not written as (\"policies\" (list ...)) in (define "
    "(portfolio) ...): valued as one program\n";

TEST(TalvonRunChunksTest, ChunkedResultsEqualTheWholeProgram) {
  TempDir tmp, dir, by_function;
  write_file(dir.file("p.tal"), three_policies());
  write_file(by_function.file("p.tal"), policies_by_function(three_policies()));
  // Random policies with surrender products and free policies.
  write_file(dir.file("gen.tal"), "(define (task) (generate 5 \"a.pf\" \"b.pf\"))\n");
  Outcome o = run_program(command(tmp.path, {"-q", "-o", dir.path, MODEL, EXAMPLE, dir.file("gen.tal")}));
  ASSERT_EQ(o.status, 0) << o.err;
  struct Case {
    std::vector<std::string> options;
    std::string portfolio, err;
  } cases[] = {
      {{"--chunk", "1"}, dir.file("p.tal"), surrender_warning(dir.file("p.tal"))},
      {{"--chunk", "2", "--jobs", "1", "--socket"}, dir.file("p.tal"), surrender_warning(dir.file("p.tal"))},
      {{"--chunk", "2"}, dir.file("b.pf"), ""},
      {{"--chunk", "1"}, by_function.file("p.tal"), NOT_A_LIST + surrender_warning(by_function.file("p.tal"))},
  };
  for (const Case& c : cases) {
    o = run_program(command(tmp.path, {"-q", "--chunk", "0", "-o", dir.file("whole"), MODEL, c.portfolio}));
    ASSERT_EQ(o.status, 0) << o.err;
    std::vector<std::string> args = c.options;
    args.insert(args.end(), {"-q", "-o", dir.file("out"), MODEL, c.portfolio});
    o = run_program(command(tmp.path, args));
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.err, c.err);
    expect_same_results(dir.file("whole"), dir.file("out"));
  }
  // The steps one by one, as a batch system runs them.
  std::vector<std::vector<std::string>> steps = {
      {"--write-chunks", dir.file("c"), "--chunk", "2", MODEL, dir.file("p.tal")},
      {"-q", "--value-chunk", dir.file("c/0002")},
      {"-q", "--value-chunk", dir.file("c/0001/")},
      {"--merge", dir.file("c"), "-o", dir.file("merged")},
  };
  for (const std::vector<std::string>& step : steps) {
    o = run_program(command(tmp.path, step));
    EXPECT_EQ(o.status, 0) << o.err;
  }
  EXPECT_EQ(read_file(dir.file("c/0001/status")), "ok\n");
  o = run_program(command(tmp.path, {"-q", "--chunk", "0", "-o", dir.file("whole"), MODEL, dir.file("p.tal")}));
  expect_same_results(dir.file("whole"), dir.file("merged"));
  expect_clean(tmp.path);
}

// A compiler on PATH that builds with the real tcc, except where it is told
// to misbehave.
std::string fake_compiler(const TempDir& tools, const std::string& body) {
  write_file(tools.file("tcc"), "#!/bin/sh\n" + body + "\nPATH=${PATH#*:} exec tcc \"$@\"\n");
  chmod(tools.file("tcc").c_str(), 0700);
  return "PATH=" + tools.path + ":" + getenv("PATH");
}

const std::string CHUNK_2 =
    "talvon-run: in chunk 2 of 2 (policy 3, lines 230 to 259 of p.tal; talvon's line numbers in its "
    "policies are 155 lower)\n";

// The first failure ends the run: talvon's message, the chunk, no results.
// A product the model lacks is found by the check first, at the user's
// line, before any chunk is valued.
TEST(TalvonRunChunksDeathTest, AFailingChunkEndsTheRun) {
  TempDir tmp, dir, tools;
  std::string unknown_product = three_policies();
  unknown_product.replace(unknown_product.find("i01_016"), 7, "x99_999");
  // The second compiler run (the second chunk's, with one job) kills talvon.
  std::string killing = fake_compiler(tools, "mkdir " + tools.file("once") + " 2>/dev/null || kill -KILL $PPID");
  std::string p = dir.file("p.tal");
  struct Case {
    std::string portfolio, path, err;
    int status;
  } cases[] = {
      {unknown_product, "PATH=" + std::string(getenv("PATH")),
       p + ":240:11: error: policy 3 (line 230), product 1 (line 239) \"x99_999\": the model defines no product "
           "\"x99_999\"\ntalvon-run: the scripts do not fit together: 1 error; nothing was valued\n",
       3},
      {three_policies(), killing,
       p + ":10:4: warning: the view names the flow 2 -> 5 \"Surrender\", which no product books\n"
           "talvon-run: talvon failed (exit status 137)\n" + CHUNK_2,
       1},
  };
  for (const Case& c : cases) {
    write_file(p, c.portfolio);
    std::vector<std::string> argv =
        command(tmp.path, {"-q", "--chunk", "2", "--jobs", "1", "-o", dir.file("out"), MODEL, p});
    argv.insert(argv.begin() + 1, c.path);
    Outcome o = run_program(argv);
    EXPECT_EQ(o.status, c.status);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, c.err);
    EXPECT_FALSE(std::filesystem::exists(dir.file("out")));
    expect_clean(tmp.path);
  }
}

// An interrupt while both chunks compile ends both talvons and cleans up.
TEST(TalvonRunChunksTest, InterruptEndsEveryChunk) {
  TempDir tmp, dir, tools;
  write_file(dir.file("p.tal"), three_policies());
  std::string path = fake_compiler(tools, "touch " + tools.file("started.$$") + "; exec sleep 60");
  std::vector<std::string> argv = command(tmp.path, {"-q", "--chunk", "2", "--jobs", "2", "-o", dir.file("out"), MODEL, dir.file("p.tal")});
  argv.insert(argv.begin() + 1, path);
  std::string err_path = dir.file("err");
  fflush(stdout);
  fflush(stderr);
  pid_t pid = fork();
  if (pid == 0) {
    int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(err, 2);
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
  }
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
  while (entries(tools.path).size() < 3 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_EQ(entries(tools.path).size(), 3u);  // the compiler and two started
  kill(pid, SIGINT);
  int status = 0;
  waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 130);
  EXPECT_EQ(read_file(err_path), surrender_warning(dir.file("p.tal")) + "talvon-run: interrupted\n");
  EXPECT_FALSE(std::filesystem::exists(dir.file("out")));
  expect_clean(tmp.path);
}

}  // namespace

// Merging needs every chunk valued, and names the one that is not.
TEST(TalvonRunChunksDeathTest, MergeNamesAChunkNotValued) {
  TempDir tmp, dir;
  write_file(dir.file("p.tal"), three_policies());
  Outcome o = run_program(command(tmp.path, {"--write-chunks", dir.file("c"), "--chunk", "2", MODEL, dir.file("p.tal")}));
  EXPECT_EQ(o.out, "2 chunks of 3 policies in " + dir.file("c") + "\n");
  write_file(dir.file("c/0001/status"), "failed\ntalvon's message\n");
  std::string chunk_1 = dir.file("c/0001") + ", chunk 1 of 2 (policies 1 to 2, lines 75 to 226 of p.tal),";
  struct Case {
    std::vector<std::string> args;
    std::string err;
  } cases[] = {
      {{"--merge", dir.file("c"), "-o", dir.file("out")}, "talvon-run: " + chunk_1 + " failed:\ntalvon's message\n"},
      {{"--merge", dir.file("c/0001")}, "talvon-run: no chunk list " + dir.file("c/0001") + "/chunks.txt: not made by talvon-run --write-chunks\n"},
      {{"--write-chunks", dir.file("c"), MODEL, dir.file("p.tal")}, "talvon-run: " + dir.file("c") + " is not empty\n"},
      {{"--chunk", "-1", MODEL, dir.file("p.tal")}, "talvon-run: option --chunk needs a whole number from 0, not -1 (see talvon-run --help)\n"},
  };
  for (const Case& c : cases) {
    o = run_program(command(tmp.path, c.args));
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, c.err);
  }
  std::filesystem::remove(dir.file("c/0001/status"));
  o = run_program(command(tmp.path, {"--merge", dir.file("c"), "-o", dir.file("out")}));
  EXPECT_EQ(o.err, "talvon-run: " + chunk_1 + " has not been valued\n");
  EXPECT_FALSE(std::filesystem::exists(dir.file("out")));
  expect_clean(tmp.path);
}
