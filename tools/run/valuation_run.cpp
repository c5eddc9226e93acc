#include "tools/run/valuation_run.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "driver/diagnostics.h"
#include "platform/compat_include.h"
#include "tools/run/check_run.h"
#include "tools/run/compile_failure.h"
#include "tools/run/input_digest.h"
#include "tools/run/output_folder.h"
#include "tools/run/peer_owner.h"
#include "tools/run/phase_clock.h"
#include "tools/run/portfolio_facts.h"
#include "tools/run/progress_records.h"
#include "tools/run/result_records.h"
#include "tools/run/run_dir.h"
#include "tools/run/run_outputs.h"
#include "tools/run/talvon_child.h"
#include "tools/run/talvon_fault.h"
#include "talvon_version.h"

namespace {

const char* const DEFAULT_RUN_SCRIPT = "(define (task) (cashflow (portfolio)))\n";
constexpr int BAR_WIDTH = 30;
constexpr int POLL_MILLISECONDS = 100;
// Once no writer is left every stream ends at the first read; this bounds
// the wait for one that a stray process might still hold.
constexpr int DRAIN_ROUNDS = 20;

// What must be undone however the process ends: by exit, by die, or on a
// signal.
struct Active {
  std::string root;
  pid_t group = -1;
  bool reaped = false;
  bool bar_shown = false;
};
Active active;
int signal_pipe[2] = {-1, -1};

void clear_bar() {
  if (!active.bar_shown) return;
  fputs("\r\033[K", stderr);
  fflush(stderr);
  active.bar_shown = false;
}

void clean_up() {
  clear_bar();
  end_process_group(active.group, active.reaped);
  active.group = -1;
  remove_tree(active.root);
  active.root.clear();
}

void on_signal(int number) {
  int saved = errno;
  unsigned char byte = static_cast<unsigned char>(number);
  ssize_t ignored = write(signal_pipe[1], &byte, 1);
  (void)ignored;
  errno = saved;
}

void catch_signals() {
  if (pipe2(signal_pipe, O_CLOEXEC | O_NONBLOCK) != 0) pdie("talvon-run: pipe");
  struct sigaction action = {};
  action.sa_handler = on_signal;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  for (int number : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) sigaction(number, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);
}

// The conf/ tables: the option's, else the bundled ones beside the
// executable (models/ in a build tree, share/talvon/models in an install).
std::string conf_folder(const RunOptions& options) {
  if (!options.conf.empty()) {
    if (!std::filesystem::is_directory(options.conf)) {
      die(("talvon-run: no table folder " + options.conf).c_str());
    }
    return options.conf;
  }
  std::string exe = executable_dir();
  for (const std::string& candidate : {exe + "/models/conf", exe + "/../share/talvon/models/conf"}) {
    if (std::filesystem::is_directory(candidate)) return candidate;
  }
  return "";
}

// A byte source of the loop: a FIFO, a socket or one of talvon's streams.
struct Source {
  int fd = -1;
  bool connected = false;  // a writer has been there
};

void close_source(Source& source) {
  if (source.fd >= 0) close(source.fd);
  source.fd = -1;
}

// Reads what is there. Gives false at the end of the stream.
template <typename Take>
bool read_available(Source& source, Take take) {
  char buffer[65536];
  for (;;) {
    ssize_t n = read(source.fd, buffer, sizeof buffer);
    if (n > 0) {
      source.connected = true;
      take(buffer, static_cast<size_t>(n));
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && errno == EAGAIN) return true;
    if (n < 0) pdie("talvon-run: read");
    return false;
  }
}

int open_fifo(const std::string& path) {
  int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) pdie(("talvon-run: " + path).c_str());
  return fd;
}

// A listening socket on a free loopback port.
int listen_loopback(int& port) {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) pdie("talvon-run: socket");
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = 0;
  socklen_t size = sizeof address;
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), size) != 0) pdie("talvon-run: bind");
  if (listen(fd, 1) != 0) pdie("talvon-run: listen");
  if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    pdie("talvon-run: getsockname");
  }
  port = ntohs(address.sin_port);
  return fd;
}

struct Channels {
  Source progress, result, listener, out, err;
  ProgressStream progress_stream;
  ResultStream result_stream;
  std::string talvon_out, talvon_err;
};

// Takes whatever the sources have; with `wait` the poll waits a little.
void serve(Channels& c, int timeout) {
  struct Watched {
    Source* source;
    short events;
  };
  Watched watched[] = {{&c.progress, POLLIN}, {&c.result, POLLIN}, {&c.listener, POLLIN},
                       {&c.out, POLLIN},      {&c.err, POLLIN}};
  pollfd fds[6];
  int count = 0;
  Watched* which[6];
  for (Watched& w : watched) {
    if (w.source->fd < 0) continue;
    fds[count] = pollfd{w.source->fd, w.events, 0};
    which[count++] = &w;
  }
  fds[count] = pollfd{signal_pipe[0], POLLIN, 0};
  int ready = poll(fds, static_cast<nfds_t>(count + 1), timeout);
  if (ready < 0 && errno != EINTR) pdie("talvon-run: poll");
  if (ready <= 0) return;
  for (int i = 0; i < count; i++) {
    if (fds[i].revents == 0) continue;
    Source& source = *which[i]->source;
    if (&source == &c.listener) {
      int fd = accept_own_connection(source.fd);
      if (fd < 0) continue;  // none, or another user's: wait on
      close_source(c.listener);
      c.result = Source{fd, true};
      continue;
    }
    // A FIFO shows POLLHUP only once a writer has come and gone.
    if (fds[i].revents & POLLHUP) source.connected = true;
    bool open = true;
    if (&source == &c.progress) {
      open = read_available(source, [&](const char* b, size_t n) { take_progress_bytes(c.progress_stream, b, n); });
    } else if (&source == &c.result) {
      open = read_available(source, [&](const char* b, size_t n) { take_result_bytes(c.result_stream, b, n); });
    } else if (&source == &c.out) {
      open = read_available(source, [&](const char* b, size_t n) { c.talvon_out.append(b, n); });
    } else {
      open = read_available(source, [&](const char* b, size_t n) { c.talvon_err.append(b, n); });
    }
    if (!open) {
      bool connected = source.connected;
      close_source(source);
      source.connected = connected;
    }
  }
  if (fds[count].revents != 0) {
    unsigned char signals[16];
    ssize_t n = read(signal_pipe[0], signals, sizeof signals);
    for (ssize_t i = 0; i < n; i++) {
      if (signals[i] == SIGCHLD) continue;
      clean_up();
      fprintf(stderr, "talvon-run: interrupted\n");
      exit(128 + signals[i]);
    }
  }
}

bool open_sources(const Channels& c) {
  return c.progress.fd >= 0 || c.result.fd >= 0 || c.out.fd >= 0 || c.err.fd >= 0;
}

void show_progress(const Channels& c, bool display, std::string& shown, PhaseClock& clock) {
  end_phases_by_progress(clock, c.progress_stream.value);
  if (!display) return;
  std::string line = progress_line(c.progress_stream.value, months_received(c.result_stream), BAR_WIDTH);
  if (line == shown) return;
  shown = line;
  fprintf(stderr, "\r%s\033[K", line.c_str());
  fflush(stderr);
  active.bar_shown = true;
}

// talvon's own output, as it wrote it: its messages name the script and
// the position of a fault.
void pass_on_output(const Channels& c) {
  fputs(c.talvon_out.c_str(), stderr);
  fputs(c.talvon_err.c_str(), stderr);
  fflush(stderr);
}

// tcc is what a missing piece most often is: say how to get it.
void hint_when_tcc_is_missing() {
  const char* path = getenv("PATH");
  std::string folders = path != nullptr ? path : "";
  size_t start = 0;
  while (start <= folders.size()) {
    size_t end = folders.find(':', start);
    if (end == std::string::npos) end = folders.size();
    std::string folder = folders.substr(start, end - start);
    if (!folder.empty() && access((folder + "/tcc").c_str(), X_OK) == 0) return;
    start = end + 1;
  }
  fputs("talvon-run: tcc, the Tiny C Compiler that builds the calculation program, is not on the PATH: "
        "install it (on Debian: apt-get install tcc)\n",
        stderr);
}

InputFile input_of(const char* role, const std::string& path, const std::string& text) {
  return InputFile{role, path, sha256_hex(text)};
}

}  // namespace

int run_valuation(const RunOptions& options) {
  catch_signals();
  become_subreaper();
  atexit(clean_up);
  PhaseClock clock;
  start_phase_clock(clock, !options.quiet && !isatty(2));
  RunFacts facts;
  facts.talvon_version = TALVON_VERSION;
  facts.started = utc_now();
  std::string model = read_script(options.model, "model");
  std::string portfolio = read_script(options.portfolio, "portfolio");
  std::string run = options.run.empty() ? DEFAULT_RUN_SCRIPT : read_script(options.run, "run script");
  std::string talvon = talvon_path();
  if (access(talvon.c_str(), X_OK) != 0) {
    die(("talvon-run: talvon is not beside talvon-run: " + talvon).c_str());
  }
  std::string conf = conf_folder(options);
  if (!options.check_only) prepare_output_folder(options.output);
  check_scripts(whole_portfolio_check(options, model, portfolio, run));
  if (options.check_only) {
    printf("talvon-run: the model, the portfolio and the run script fit together\n");
    return 0;
  }
  facts.inputs = {input_of("model", options.model, model), input_of("portfolio", options.portfolio, portfolio),
                  input_of("run", options.run.empty() ? "(default task)" : options.run, run)};

  RunDir dir = make_run_dir(options.socket);
  active.root = dir.root;
  ScriptNames names = script_names(options.model, options.portfolio, options.run);
  write_scrambled_script(dir, names.model, model);
  write_scrambled_script(dir, names.portfolio, portfolio);
  write_scrambled_script(dir, names.run, run);
  if (!conf.empty()) link_conf(dir, conf);

  Channels c;
  start_progress_stream(c.progress_stream);
  start_result_stream(c.result_stream);
  c.progress.fd = open_fifo(dir.progress_fifo);
  std::string connection;
  if (options.socket) {
    int port = 0;
    c.listener.fd = listen_loopback(port);
    connection = std::to_string(port);
  } else {
    c.result.fd = open_fifo(dir.result_fifo);
    connection = dir.result_fifo;
  }
  TalvonChild child = start_talvon(
      {talvon, "server", names.model, names.portfolio, names.run, dir.progress_fifo, connection},
      dir.work);
  active.group = child.pid;
  end_phase(clock, "prepare");
  c.out.fd = child.out;
  c.err.fd = child.err;

  bool display = !options.quiet && isatty(2);
  std::string shown;
  int status = 0;
  for (;;) {
    serve(c, POLL_MILLISECONDS);
    show_progress(c, display, shown, clock);
    int raw;
    pid_t done = waitpid(child.pid, &raw, WNOHANG);
    if (done == child.pid) {
      status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
      active.reaped = true;
      break;
    }
  }
  // Whatever talvon left behind goes, then the channels are read to their
  // end: no writer is left.
  end_process_group(active.group, active.reaped);
  active.group = -1;
  serve(c, 0);
  // What is still unconnected now never had a writer.
  close_source(c.listener);
  for (Source* source : {&c.progress, &c.result, &c.out, &c.err}) {
    if (!source->connected) close_source(*source);
  }
  for (int round = 0; round < DRAIN_ROUNDS && open_sources(c); round++) serve(c, POLL_MILLISECONDS);
  for (Source* source : {&c.progress, &c.result, &c.out, &c.err}) close_source(*source);
  clear_bar();
  pass_on_output(c);
  if (status != 0) hint_when_tcc_is_missing();

  std::string compile_error = first_compile_error(c.talvon_out, c.talvon_err);
  if (!compile_error.empty()) die(compile_failure_message(compile_error).c_str());
  if (status != 0 || c.progress_stream.ended) {
    std::string note = own_source_note(c.talvon_err, c.progress_stream.value);
    if (!note.empty()) fprintf(stderr, "%s\n", note.c_str());
    char message[120];
    if (c.progress_stream.ended) {
      snprintf(message, sizeof message, "talvon-run: talvon ended the run with an error (exit status %d)",
               status);
    } else {
      snprintf(message, sizeof message, "talvon-run: talvon failed (exit status %d)", status);
    }
    die(message);
  }
  if (c.result.connected) {
    require_complete_results(c.result_stream);
    end_phases_by_progress(clock, c.progress_stream.value);
    end_phase(clock, "run");
    read_portfolio_facts(model, portfolio, dir.root, facts);
    end_phase(clock, "read portfolio facts");
    facts.phases = clock.phases;
    write_results(options.output, facts, c.result_stream.pairs);
    return 0;
  }
  int kept = keep_generated_files(dir.work, options.output, {names.model, names.portfolio, names.run});
  if (kept == 0) die("talvon-run: the calculation program sent no results: the run failed");
  printf("talvon wrote %d file%s into %s\n", kept, kept == 1 ? "" : "s", options.output.c_str());
  return 0;
}
