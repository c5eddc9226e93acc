#include "tools/run/chunk_valuation.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "driver/diagnostics.h"
#include "tools/run/compile_failure.h"
#include "tools/run/peer_owner.h"
#include "tools/run/run_guard.h"
#include "tools/run/run_outputs.h"
#include "tools/run/talvon_fault.h"

namespace {

constexpr int POLL_MILLISECONDS = 100;
// Once no writer is left every stream ends at the first read; this bounds
// the wait for one that a stray process might still hold.
constexpr int DRAIN_ROUNDS = 20;

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

void take_from(ChunkJob& job, Source& source, short revents) {
  if (&source == &job.listener) {
    int fd = accept_own_connection(source.fd);
    if (fd < 0) return;  // none, or another user's: wait on
    close_source(job.listener);
    job.result = Source{fd, true};
    return;
  }
  // A FIFO shows POLLHUP only once a writer has come and gone.
  if (revents & POLLHUP) source.connected = true;
  bool open = true;
  if (&source == &job.progress) {
    open = read_available(source, [&](const char* b, size_t n) { take_progress_bytes(job.progress_stream, b, n); });
  } else if (&source == &job.result) {
    open = read_available(source, [&](const char* b, size_t n) { take_result_bytes(job.result_stream, b, n); });
  } else if (&source == &job.out) {
    open = read_available(source, [&](const char* b, size_t n) { job.talvon_out.append(b, n); });
  } else {
    open = read_available(source, [&](const char* b, size_t n) { job.talvon_err.append(b, n); });
  }
  if (!open) {
    bool connected = source.connected;
    close_source(source);
    source.connected = connected;
  }
}

void reap(ChunkJob& job) {
  if (job.ended) return;
  int raw;
  if (waitpid(job.child.pid, &raw, WNOHANG) != job.child.pid) return;
  job.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
  job.ended = true;
}

void take_ready(ChunkJob& job, Source& source, short revents) {
  set_failing_chunk(job.name);  // a fault in its records names the chunk
  take_from(job, source, revents);
  set_failing_chunk("");
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

bool open_sources(const ChunkJob& job) {
  return job.progress.fd >= 0 || job.result.fd >= 0 || job.out.fd >= 0 || job.err.fd >= 0;
}

}  // namespace

void start_chunk(ChunkJob& job, const ChunkInput& input) {
  job.names = input.names;
  job.dir = make_run_dir(input.socket);
  guard_root(job.dir.root);
  copy_scrambled_script(job.dir, input.names.model, input.folder + "/" + input.names.model, "model");
  copy_scrambled_script(job.dir, input.names.portfolio, input.folder + "/" + input.names.portfolio, "portfolio");
  copy_scrambled_script(job.dir, input.names.run, input.folder + "/" + input.names.run, "run script");
  if (!input.conf.empty()) link_conf(job.dir, input.conf);

  start_progress_stream(job.progress_stream);
  start_result_stream(job.result_stream);
  job.progress.fd = open_fifo(job.dir.progress_fifo);
  std::string connection;
  if (input.socket) {
    int port = 0;
    job.listener.fd = listen_loopback(port);
    connection = std::to_string(port);
  } else {
    job.result.fd = open_fifo(job.dir.result_fifo);
    connection = job.dir.result_fifo;
  }
  job.child = start_talvon({talvon_path(), "server", input.names.model, input.names.portfolio,
                            input.names.run, job.dir.progress_fifo, connection},
                           job.dir.work);
  guard_group(job.child.pid);
  job.out.fd = job.child.out;
  job.err.fd = job.child.err;
}

void serve_chunks(const std::vector<ChunkJob*>& jobs, int timeout) {
  std::vector<pollfd> fds;
  std::vector<std::pair<ChunkJob*, Source*>> which;
  for (ChunkJob* job : jobs) {
    for (Source* source : {&job->progress, &job->result, &job->listener, &job->out, &job->err}) {
      if (source->fd < 0) continue;
      fds.push_back(pollfd{source->fd, POLLIN, 0});
      which.emplace_back(job, source);
    }
  }
  fds.push_back(pollfd{signal_fd(), POLLIN, 0});
  int ready = poll(fds.data(), fds.size(), timeout);
  if (ready < 0 && errno != EINTR) pdie("talvon-run: poll");
  for (size_t i = 0; ready > 0 && i < which.size(); i++) {
    if (fds[i].revents != 0) take_ready(*which[i].first, *which[i].second, fds[i].revents);
  }
  if (ready > 0 && fds.back().revents != 0) take_signals();
  for (ChunkJob* job : jobs) reap(*job);
}

double chunk_fraction(const ChunkJob& job) {
  return run_fraction(job.progress_stream.value, months_received(job.result_stream));
}

ChunkResult finish_chunk(ChunkJob& job, const std::string& keep_into) {
  // Whatever talvon left behind goes, then the channels are read to their
  // end: no writer is left.
  release_group(job.child.pid, true);
  serve_chunks({&job}, 0);
  // What is still unconnected now never had a writer.
  close_source(job.listener);
  for (Source* source : {&job.progress, &job.result, &job.out, &job.err}) {
    if (!source->connected) close_source(*source);
  }
  for (int round = 0; round < DRAIN_ROUNDS && open_sources(job); round++) {
    serve_chunks({&job}, POLL_MILLISECONDS);
  }
  for (Source* source : {&job.progress, &job.result, &job.out, &job.err}) close_source(*source);
  // talvon's own output, as it wrote it: its messages name the script and
  // the position of a fault.
  clear_bar();
  fputs(job.talvon_out.c_str(), stderr);
  fputs(job.talvon_err.c_str(), stderr);
  fflush(stderr);

  set_failing_chunk(job.name);
  if (job.status != 0) hint_when_tcc_is_missing();
  std::string compile_error = first_compile_error(job.talvon_out, job.talvon_err);
  if (!compile_error.empty()) fail_run(compile_failure_message(compile_error), job.talvon_out + job.talvon_err);
  if (job.status != 0 || job.progress_stream.ended) {
    std::string note = own_source_note(job.talvon_err, job.progress_stream.value);
    if (!note.empty()) fprintf(stderr, "%s\n", note.c_str());
    char message[120];
    snprintf(message, sizeof message,
             job.progress_stream.ended ? "talvon-run: talvon ended the run with an error (exit status %d)"
                                       : "talvon-run: talvon failed (exit status %d)",
             job.status);
    fail_run(message, job.talvon_out + job.talvon_err);
  }
  ChunkResult result;
  result.results_sent = job.result.connected;
  if (result.results_sent) {
    require_complete_results(job.result_stream);
    result.results = std::move(job.result_stream);
  } else if (!keep_into.empty()) {
    result.kept_files = keep_generated_files(job.dir.work, keep_into, {job.names.model, job.names.portfolio, job.names.run});
  }
  release_root(job.dir.root);
  set_failing_chunk("");
  return result;
}
