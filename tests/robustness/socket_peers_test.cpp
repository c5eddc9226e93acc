// The result connection of the socket variant, between the calculation
// program and talvon-run: a front end that closes it, and a stranger who
// connects first. Driven through the real talvon and talvon-run, with
// sockets and processes of the test's own.
#include <gtest/gtest.h>
#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "support/process.h"
#include "tools/run/scramble.h"

namespace {

struct TempDir {
  std::string path;
  TempDir() {
    char name[] = "/tmp/talvon-dir-XXXXXX";
    path = mkdtemp(name) ? name : "/nonexistent";
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::string file(const std::string& name) const { return path + "/" + name; }
};

void write_file(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string read_file(const std::string& path) {
  std::stringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

const std::string ANNUITY_MODEL =
    "(cdef t_span t (v_span (span 0 0)))\n"
    "(split () all (alive dead) (init (quote alive)) (intensity alive dead 0.01))\n"
    "(product_definition (annuity) (= 0 0) (while alive 1.0))\n";

const std::string ANNUITY_PORTFOLIO =
    "(define (sex) (assoc (\"alive->dead\" (parse \"0.001\"))\n"
    "  (\"unmarried->married\" (parse \"0.0\")) (\"married->unmarried\" (parse \"0.0\"))\n"
    "  (\"age_distribution\" (parse \"0.0\"))))\n"
    "(define (tables) (assoc (\"dfsa_yield\" (list 1.0)) (\"dfsa_mortality_female\" (list 0.01))\n"
    "  (\"dfsa_mortality_improvement_female\" (list 0.0))\n"
    "  (\"dfsa_mortality_improvement_male\" (list 0.0)) (\"dfsa_mortality_male\" (list 0.01))))\n"
    "(define (basis) (assoc (\"male\" (sex)) (\"female\" (sex))\n"
    "  (\"dfsa (Finanstilsynet)\" (tables)) (\"yield_curve\" (parse \"2.0\"))\n"
    "  (\"free_policy_fraction\" (parse \"0.5\"))))\n"
    "(define (portfolio) (assoc (\"basis\" (basis)) (\"policies\" (list (assoc\n"
    "  (\"products\" (list (assoc (\"product_definition\" \"annuity\") (\"from\" 1) (\"to\" 2)))))))))\n";

// The socket variant, when the front end takes the connection and closes
// it: the calculation program reports its write() failure.
TEST(SocketPeersTest, FrontEndThatClosesTheConnectionIsReported) {
  int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
  std::thread front_end([&] {
    pollfd waiting = {listener, POLLIN, 0};
    if (poll(&waiting, 1, 60000) == 1) close(accept(listener, nullptr, nullptr));
  });
  // Every account pair: a stream of 11.5 MB, more than the socket buffers
  // take, so the program is still writing when the connection goes.
  std::string products;
  for (int pair = 0; pair < 400; pair++) {
    products += "(assoc (\"product_definition\" \"annuity\") (\"from\" " +
                std::to_string(pair / 20) + ") (\"to\" " + std::to_string(pair % 20) + "))";
  }
  std::string portfolio = ANNUITY_PORTFOLIO;
  const std::string one = "(assoc (\"product_definition\" \"annuity\") (\"from\" 1) (\"to\" 2))";
  portfolio.replace(portfolio.find(one), one.size(), products);
  TempDir dir;
  mkdir(dir.file("work").c_str(), 0700);
  mkdir(dir.file("bin").c_str(), 0700);
  const std::pair<const char*, std::string> scripts[] = {
      {"m.bin", ANNUITY_MODEL}, {"p.bin", portfolio}, {"r.bin", "(define (task) (cashflow (portfolio)))\n"}};
  for (const auto& [name, text] : scripts) write_file(dir.file("work/") + name, scrambled(text, name));
  std::string port = std::to_string(ntohs(address.sin_port));
  Outcome o = run_fatal([&] {
    if (chdir(dir.file("work").c_str()) == 0) {
      execl(TALVON_EXE, TALVON_EXE, "server", "m.bin", "p.bin", "r.bin", "-1", port.c_str(), nullptr);
    }
    _exit(127);
  });
  front_end.join();
  close(listener);
  EXPECT_EQ(o.status, 0);  // the program's own status is not talvon's
  EXPECT_EQ(o.err.rfind("write(): ", 0), 0u) << o.err;
}

// The loopback port on which a process listens, from /proc/net/tcp.
int listening_port(pid_t pid) {
  std::string inodes;
  std::string fds = "/proc/" + std::to_string(pid) + "/fd";
  DIR* d = opendir(fds.c_str());
  for (dirent* e = d ? readdir(d) : nullptr; e != nullptr; e = readdir(d)) {
    char link[64] = {};
    if (readlink((fds + "/" + e->d_name).c_str(), link, sizeof link - 1) > 0) inodes += link;
  }
  if (d) closedir(d);
  std::ifstream table("/proc/net/tcp");
  std::string line;
  while (std::getline(table, line)) {
    std::istringstream fields(line);
    std::string slot, local, remote, state, queues, timer, retransmits, uid, timeout, inode;
    fields >> slot >> local >> remote >> state >> queues >> timer >> retransmits >> uid >>
        timeout >> inode;
    if (state == "0A" && inodes.find("socket:[" + inode + "]") != std::string::npos) {
      return std::stoi(local.substr(local.find(':') + 1), nullptr, 16);
    }
  }
  return 0;
}

// Another user connects first and sends a record of its own: it is
// refused, and the run takes the calculation program's connection.
TEST(SocketPeersTest, AnotherUsersConnectionIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to connect as another user";
  TempDir dir;
  write_file(dir.file("m.tal"), ANNUITY_MODEL);
  // A portfolio that takes a while to evaluate leaves time to connect.
  std::string portfolio = ANNUITY_PORTFOLIO;
  portfolio.replace(portfolio.find("(\"from\" 1)"), 10, "(\"from\" (- (count 400000) 399999))");
  write_file(dir.file("p.tal"),
             "(define (count n) 0)\n(define (count n) (if (= n 0) 0 (+ 1 (count (- n 1)))))\n" +
                 portfolio);
  std::string out = dir.file("stdout"), err = dir.file("stderr");
  pid_t run = fork();
  if (run == 0) {
    freopen(out.c_str(), "w", stdout);
    freopen(err.c_str(), "w", stderr);
    execl(TALVON_RUN_EXE, TALVON_RUN_EXE, "--socket", "-q", "-o", dir.file("out").c_str(),
          dir.file("m.tal").c_str(), dir.file("p.tal").c_str(), nullptr);
    _exit(127);
  }
  int port = 0;
  for (int i = 0; i < 2000 && port == 0; i++) {  // after the check of the scripts
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    port = listening_port(run);
  }
  ASSERT_NE(port, 0);
  pid_t stranger = fork();
  if (stranger == 0) {
    if (setgid(65534) != 0 || setuid(65534) != 0) _exit(2);
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) _exit(3);
    const char record[20] = {2, 0, 0, 0, 1, 0, 0, 0, 2};
    if (write(fd, record, sizeof record) != sizeof record) _exit(4);
    char byte;
    _exit(read(fd, &byte, 1) <= 0 ? 0 : 5);  // refused: closed without a word
  }
  int status = 0;
  waitpid(stranger, &status, 0);
  EXPECT_EQ(status, 0);
  waitpid(run, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(read_file(err), "talvon-run: refused a connection from user 65534 to the result port\n");
  EXPECT_EQ(read_file(out).rfind("from  to  flow  reserve\n   1   2          85.11\n", 0), 0u);
}

}  // namespace
