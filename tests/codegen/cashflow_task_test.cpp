// The cashflow task: the calculation program's text for each connection,
// and talvon exec and server valuing portfolios for real with tcc, FIFOs
// and a loopback socket.
#include "codegen/cashflow_task.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <poll.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "core/list.h"
#include "core/reader.h"
#include "expr/eval.h"
#include "support/fifo_reader.h"
#include "support/emitted.h"
#include "support/model_script.h"
#include "support/process.h"
#include "support/results.h"

namespace {

// One policy of an annuity of 100 a month while alive, with the monthly
// mortality q = 0.01, on accounts 1 -> 2, and a term product of 1 a month
// up to and including month 12, on accounts 0 -> 5.
const std::string MODEL =
    "(cdef t_span t (v_span (span 0 0)))\n"
    "(split (q) all (alive dead) (init (quote alive)) (intensity alive dead (v_real q)))\n"
    "(product_definition (annuity amount) (= 0 0) (while alive (v_real amount)))\n"
    "(product_definition (term) (<= t (v_span (span 1 0))) 1.0)\n";

const std::string BASIS =
    "(define (sex) (assoc (\"alive->dead\" (parse \"0.001\")) (\"unmarried->married\" (parse "
    "\"0.0\"))\n"
    "  (\"married->unmarried\" (parse \"0.0\")) (\"age_distribution\" (parse \"0.0\"))))\n"
    "(define (tables) (assoc (\"dfsa_yield\" (list 1.0 2.0)) (\"dfsa_mortality_female\" (list "
    "0.01))\n"
    "  (\"dfsa_mortality_improvement_female\" (list 0.0))\n"
    "  (\"dfsa_mortality_improvement_male\" (list 0.0)) (\"dfsa_mortality_male\" (list 0.01))))\n"
    "(define (basis) (assoc (\"male\" (sex)) (\"female\" (sex)) (\"dfsa (Finanstilsynet)\" "
    "(tables))\n"
    "  (\"yield_curve\" (parse \"2.0\")) (\"free_policy_fraction\" (parse \"0.5\"))))\n";

const std::string PORTFOLIO =
    BASIS +
    "(define (portfolio) (assoc (\"basis\" (basis)) (\"policies\" (list (assoc (\"q\" 0.01)\n"
    "  (\"products\" (list\n"
    "    (assoc (\"product_definition\" \"annuity\") (\"from\" 1) (\"to\" 2) (\"amount\" 100.0))\n"
    "    (assoc (\"product_definition\" \"term\") (\"from\" 0) (\"to\" 5)))))))))\n";

const std::string TASK = "(define (task) (cashflow (portfolio)))\n";

const int MONTHS = 1440;

using Record = ResultRecord;

// A run directory as the front end lays it out: scripts in work/, with bin/
// (and, when an installation bundles one, share/glib-2.0/cc/tcc) beside it.
struct RunDir {
  explicit RunDir(const std::string& model = MODEL, const std::string& portfolio = PORTFOLIO) {
    mkdir(dir.file("work").c_str(), 0700);
    mkdir(dir.file("bin").c_str(), 0700);
    write_scrambled(dir.file("work/m.bin"), model);
    write_scrambled(dir.file("work/p.bin"), portfolio);
    write_scrambled(dir.file("work/r.bin"), TASK);
  }
  Outcome exec() const {
    return run_program({TALVON_EXE, "exec", "m.bin", "p.bin", "r.bin"}, "", dir.file("work"));
  }
  Outcome server(const std::string& pipe, const std::string& connection) const {
    return run_program({TALVON_EXE, "server", "m.bin", "p.bin", "r.bin", pipe, connection}, "",
                       dir.file("work"));
  }
  // A compiler that the installation bundles: a shell script.
  void bundleCompiler(const std::string& script) const {
    std::string path = dir.path;
    for (const char* part : {"/share", "/glib-2.0", "/cc"}) {
      path += part;
      mkdir(path.c_str(), 0700);
    }
    write_file(path + "/tcc", "#!/bin/sh\n" + script);
    chmod((path + "/tcc").c_str(), 0700);
  }
  std::vector<std::string> binFiles() const {
    std::vector<std::string> names;
    DIR* d = opendir(dir.file("bin").c_str());
    for (dirent* e = readdir(d); e != nullptr; e = readdir(d)) {
      if (e->d_name[0] != '.') names.push_back(e->d_name);
    }
    closedir(d);
    return names;
  }
  TempDir dir;
};

// What the program must send: per month the cashflows of pair (0, 5), then
// of (1, 2); then both reserves. Discounting at 2 % a year over t/12 years.
void expectValuation(const std::vector<Record>& records) {
  ASSERT_EQ(records.size(), 2u * MONTHS + 2u);
  double termReserve = 0;
  double annuityReserve = 0;
  for (int t = 0; t < MONTHS; t++) {
    const Record& term = records[2 * t];
    const Record& annuity = records[2 * t + 1];
    ASSERT_EQ(term.tag * 100 + term.x * 10 + term.y, 105);
    ASSERT_EQ(annuity.tag * 100 + annuity.x * 10 + annuity.y, 112);
    // The term product pays in months 0 to 12: (<= t 12) expires at 13.
    double termFlow = t <= 12 ? 1.0 : 0.0;
    // Paid on the probability of being alive at the month's end.
    double annuityFlow = 100.0 * std::pow(0.99, t + 1);
    ASSERT_NEAR(term.value, termFlow, 1e-12) << t;
    ASSERT_NEAR(annuity.value, annuityFlow, 1e-12 * 100.0) << t;
    double discount = std::pow(1.02, t / 12.0);
    termReserve += termFlow / discount;
    annuityReserve += annuityFlow / discount;
  }
  const Record& term = records[2 * MONTHS];
  const Record& annuity = records[2 * MONTHS + 1];
  EXPECT_EQ(term.tag * 100 + term.x * 10 + term.y, 205);
  EXPECT_NEAR(term.value, termReserve, 1e-12);
  EXPECT_EQ(annuity.tag * 100 + annuity.x * 10 + annuity.y, 212);
  EXPECT_NEAR(annuity.value, annuityReserve, 1e-9);
}

TEST(CashflowTaskTest, ServerValuesAPortfolioOverPipes) {
  RunDir run;
  FifoReader progress(run.dir.file("progress"));
  FifoReader results(run.dir.file("results"));
  Outcome o = run.server(progress.path, results.path);
  EXPECT_EQ(o.status, 0) << o.out << o.err;
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.err, "");
  std::string bytes = results.finish();
  EXPECT_EQ(bytes.size(), (2u * MONTHS + 2u) * 20u);
  expectValuation(decode_results(bytes));
  // Two records: declarations 0.11 and 0.16, month blocks 0.41 and 0.66.
  EXPECT_EQ(decode_progress(progress.finish()), "P0 P0.11 P0.16 P0.41 P0.66 P1 P2 ");
  EXPECT_TRUE(run.binFiles().empty());
}

// The front end's side of the socket variant: a listener on loopback that
// takes one connection and reads it to its end.
struct SocketReader {
  SocketReader() {
    listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = 0;
    bind(listener, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    listen(listener, 1);
    socklen_t size = sizeof addr;
    getsockname(listener, reinterpret_cast<sockaddr*>(&addr), &size);
    port = ntohs(addr.sin_port);
    reader = std::thread([this] {
      // A program that never connects (it failed to build) fails the test
      // after a minute instead of hanging it.
      pollfd waiting = {listener, POLLIN, 0};
      if (poll(&waiting, 1, 60 * 1000) != 1) return;
      int fd = accept(listener, nullptr, nullptr);
      if (fd < 0) return;
      char buffer[4096];
      ssize_t n;
      while ((n = read(fd, buffer, sizeof buffer)) > 0)
        bytes.append(buffer, static_cast<size_t>(n));
      close(fd);
    });
  }
  ~SocketReader() {
    if (reader.joinable()) reader.join();
    close(listener);
  }
  std::string finish() {
    reader.join();
    return bytes;
  }
  int listener;
  int port;
  std::string bytes;
  std::thread reader;
};

TEST(CashflowTaskTest, SocketVariantDeliversTheSameBytes) {
  RunDir run;
  FifoReader results(run.dir.file("results"));
  Outcome piped = run.server("-1", results.path);
  ASSERT_EQ(piped.status, 0) << piped.out << piped.err;
  std::string pipeBytes = results.finish();

  SocketReader front_end;
  Outcome o = run.server("-1", std::to_string(front_end.port));
  EXPECT_EQ(o.status, 0) << o.out << o.err;
  EXPECT_EQ(o.out + o.err, "");
  std::string socketBytes = front_end.finish();
  EXPECT_EQ(socketBytes.size(), pipeBytes.size());
  EXPECT_TRUE(socketBytes == pipeBytes);
  EXPECT_TRUE(run.binFiles().empty());
}

TEST(CashflowTaskTest, BundledCompilerIsPreferred) {
  RunDir run;
  run.bundleCompiler("echo \"$@\" > ../bundled.log\nexec tcc \"$@\"\n");
  Outcome o = run.exec();
  EXPECT_EQ(o.status, 0) << o.out << o.err;
  std::string log = read_file(run.dir.file("bundled.log"));
  ASSERT_EQ(log.rfind("-I", 0), 0u) << log;
  EXPECT_NE(log.find("/include -o ../bin/tmp ../bin/tx -lm\n"), std::string::npos) << log;
  EXPECT_TRUE(run.binFiles().empty());
}

TEST(CashflowTaskDeathTest, BuildFailures) {
  {
    // A program that does not compile cannot be started.
    RunDir run;
    run.bundleCompiler("exit 1\n");
    Outcome o = run.exec();
    EXPECT_EQ(o.status, 2);
    EXPECT_EQ(o.out, "tmp: CreateProcess failed: No such file or directory\n");
    EXPECT_EQ(o.err, "");
    EXPECT_TRUE(run.binFiles().empty());
  }
  {
    // No compiler at all.
    RunDir run;
    const char* saved = getenv("PATH");
    std::string path = saved != nullptr ? saved : "";
    setenv("PATH", run.dir.path.c_str(), 1);
    Outcome o = run.exec();
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(o.status, 2);
    EXPECT_EQ(o.out, "tcc: CreateProcess failed: No such file or directory\n");
    EXPECT_EQ(o.err, "");
  }
  {
    RunDir run;
    rmdir(run.dir.file("bin").c_str());
    Outcome o = run.exec();
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "Trying to open ../bin/tx\n");
    EXPECT_EQ(o.err, "fopen(tx): No such file or directory\n");
  }
}

TEST(CashflowTaskTest, ProgramReportsAPipeItCannotOpen) {
  RunDir run;
  Outcome o = run.server("-1", "no-such-pipe");
  // The program's own exit status is not examined.
  EXPECT_EQ(o.status, 0);
  EXPECT_EQ(o.out, "");
  EXPECT_EQ(o.err, "tmp: Could not open pipe2: No such file or directory\n");
  EXPECT_TRUE(run.binFiles().empty());
}

// ---- The program's text ----

const Cell* read(const std::string& text) {
  static std::vector<std::string> texts;
  texts.push_back(text);
  return parse(texts.back().c_str());
}

// The whole program for the connection argument.
std::string programText(bool compact, const char* connection) {
  Model m = runPasses(read("(\n" + MODEL + PORTFOLIO + ")"));
  const Cell* portfolio = eval(read("(portfolio)"), m.defs, nil());
  return emitted(compact, [&] {
    emitCalculationProgram(portfolio, m.cdefs, m.defs, m.products, m.states, connection);
  });
}

size_t count(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) n++;
  return n;
}

// The whole program for a pipe and for a socket, exactly; without a
// connection nothing is transmitted.
TEST(ProgramTextTest, EachConnectionHasOnlyItsOwnCode) {
  EXPECT_EQ(connectionKind("-1"), Connection::none);
  EXPECT_EQ(connectionKind("/tmp/x"), Connection::pipe);
  EXPECT_EQ(connectionKind("4711"), Connection::socket);
  const std::string expected = TALVON_SOURCE_DIR "/tests/codegen/expected/";
  EXPECT_EQ(programText(false, "/tmp/front end's pipe"), read_file(expected + "program_pipe.c"));
  EXPECT_EQ(programText(false, "4711"), read_file(expected + "program_socket.c"));
  std::string none = programText(false, "-1");
  EXPECT_EQ(count(none, "xmit"), 0u);
  EXPECT_EQ(count(none, "fd"), 0u);
  EXPECT_EQ(count(none, "#include"), 4u);
}

TEST(ProgramTextTest, CompactSocketVariantKeepsTheSocketNames) {
  std::string text = programText(true, "4711");
  // The kept names stand apart from the scrambled text around them.
  std::string tight;
  for (char c : text) {
    if (c != ' ') tight += c;
  }
  for (const char* kept :
       {"socket(AF_INET,SOCK_STREAM,0)", "structsockaddr_in", ".sin_family=AF_INET",
        ".sin_addr.s_addr=htonl(INADDR_LOOPBACK)", ".sin_port=htons(4711)", "if(connect(",
        "perror(", "exit(1)", "ssize_t", "=write(", "close("}) {
    EXPECT_NE(tight.find(kept), std::string::npos) << kept;
  }
  EXPECT_NE(text.find("struct  sockaddr_in "), std::string::npos);
  // Everything but the includes is one line.
  EXPECT_EQ(count(text, "\n"), 9u);
  EXPECT_EQ(text.find("MONTH_LIMIT"), std::string::npos);
}

TEST(ProgramTextTest, PipeNamesBecomeStringLiterals) {
  struct Case {
    const char* name;
    const char* literal;
  };
  const Case cases[] = {
      {"/tmp/pipe", "/tmp/pipe"},
      {"\\\\.\\pipe\\talvon", "\\\\\\\\.\\\\pipe\\\\talvon"},
      {"a\"b", "a\\042b"},
      {"a\"1", "a\\0421"},  // an octal escape takes three digits at most
      {"tab\there", "tab\\011here"},
  };
  for (const Case& c : cases) EXPECT_EQ(pipeNameLiteral(c.name), c.literal) << c.name;
}

}  // namespace
