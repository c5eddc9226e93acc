#include "tools/run/check_run.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

#include "core/list.h"
#include "core/reader.h"
#include "driver/diagnostics.h"
#include "model/products.h"
#include "model/splits.h"
#include "model/statements.h"
#include "platform/large_stack.h"
#include "tools/run/check_portfolio.h"
#include "tools/run/coverage_dump.h"
#include "tools/run/run_dir.h"
#include "tools/run/scramble.h"
#include "tools/run/talvon_fault.h"

namespace {

// The child's status when talvon's code ended it.
constexpr int FATAL_STATUS = 70;
// More than this many findings are counted, not shown.
constexpr int SHOWN_LIMIT = 50;

const CheckInput* input = nullptr;
pid_t checker = -1;

// An interrupt while the check runs ends the checker, and with it the run.
void forward_signal(int number) {
  if (checker > 0) kill(checker, number);
}

std::string chunk_text(const CheckChunk& chunk) {
  if (!chunk.text.empty() || chunk.path.empty()) return chunk.text;
  std::string text = read_script(chunk.path, "portfolio chunk");
  return chunk.scramble_name.empty() ? text : scrambled(text, chunk.scramble_name.c_str());
}

// The products pass, one definition at a time, so that a fault without a
// place of its own is known by the definition it was met in.
const Cell* products_of(const ModelView& model, const Cell* statements, const Cell* states) {
  const Cell* known = akeys(states);
  const Cell* products = nil();
  for (const Cell* s = statements; is_cons(s); s = s->pair.tail) {
    const Cell* statement = s->pair.head;
    if (!isStatementOf(statement, "product_definition")) continue;
    set_context(statement, nullptr, "checking the product definition", nullptr);
    products = verifyProductDef(model.cdefs, model.defs, known, statement->pair.tail, products, states);
  }
  return products;
}

void check_chunk(PortfolioCheck& check, const Cell* model, const Cell* run, size_t i) {
  const CheckChunk& chunk = input->chunks[i];
  set_report_chunk(input->portfolio_path, &chunk.lines, i);
  CellMark mark = mark_cells();
  set_context(nullptr, nullptr, "reading the portfolio", nullptr);
  std::string text = chunk_text(chunk);
  const Cell* portfolio = read_text_source(text.c_str(), input->portfolio_path.c_str());
  const Cell* statements = append(model, append(portfolio, run));
  set_context(nullptr, nullptr, "reading the scripts as talvon does", nullptr);
  verifyStatements(statements);
  check.model.defs = statementsToDefs(statements);
  check.model.cdefs = statementsToCdefs(statements, check.model.defs);
  const Cell* states = statementsToStates(check.model.cdefs, check.model.defs, statements, nil());
  check.model.products = products_of(check.model, statements, states);
  if (check.first) {
    // The portfolio's own text, however long, declares no key.
    check.catalogue = key_catalogue(append(model, run));
    check_definitions(statements);
  }
  check.first_policy = chunk.first_policy;
  check_portfolio_script(check, portfolio);
  release_cells(mark);
}

int check_main(int, char**) {
  set_context(nullptr, nullptr, "reading the model", nullptr);
  const Cell* model = read_text_source(input->model_text.c_str(), input->model_path.c_str());
  set_context(nullptr, nullptr, "reading the run script", nullptr);
  const Cell* run = read_text_source(input->run_text.c_str(), input->run_path.c_str());
  PortfolioCheck check;
  for (size_t i = 0; i < input->chunks.size(); i++) check_chunk(check, model, run, i);
  set_context(nullptr, nullptr, "finishing the check", nullptr);
  finish_portfolio_checks(check);
  return 0;
}

// talvon's code ends the process with exit(): the last context goes to
// the parent, and talvon-run's own exit handlers are not run here.
void on_fatal_exit() {
  fflush(stdout);
  write_context();
  fflush(stdout);
  fflush(stderr);
  dump_coverage();
  _exit(FATAL_STATUS);
}

[[noreturn]] void run_child(int out) {
  for (int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) signal(number, SIG_DFL);
  if (dup2(out, 1) < 0 || dup2(out, 2) < 0) _exit(FATAL_STATUS);
  close(out);
  atexit(on_fatal_exit);
  int status = run_on_large_stack(check_main, 0, nullptr);
  fflush(stdout);
  dump_coverage();
  _exit(status);
}

std::string read_all(int fd) {
  std::string text;
  char buffer[65536];
  for (;;) {
    ssize_t n = read(fd, buffer, sizeof buffer);
    if (n > 0) {
      text.append(buffer, static_cast<size_t>(n));
    } else if (n == 0 || errno != EINTR) {
      return text;
    }
  }
}

// talvon's own message of a fatal end: "File F line L character C", the
// message, and what it printed.
Finding fatal_finding(const std::string& text, const Finding& context, size_t chunk) {
  Finding finding = context;
  finding.severity = Severity::error;
  std::string message, detail;
  for (const std::string& line : output_lines(text)) {
    TalvonPlace place;
    if (talvon_place(line, place)) {
      if (place.character > 0) {
        finding.file = place.file;
        finding.line = place.line;
        finding.character = place.character;
        if (finding.file == input->portfolio_path && chunk < input->chunks.size()) {
          finding.line = input->chunks[chunk].lines.user_line(place.line);
        }
      }
    } else if (message.empty() && !line.empty()) {
      message = line;
    } else if (!line.empty()) {
      detail += (detail.empty() ? "" : " ") + line;
    }
  }
  finding.message = (context.message.empty() ? "" : context.message + ": ") + "talvon's code stopped with \"" +
                    message + "\"" + (detail.empty() ? "" : " at " + detail);
  return finding;
}

struct Outcome {
  std::vector<Finding> findings;
  std::string fatal;  // what the child wrote that is no record
  Finding context{Severity::note, "", 0, 0, ""};
  size_t context_chunk = 0;
};

void take_lines(const std::string& text, Outcome& outcome) {
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    start = end + 1;
    Finding finding;
    size_t chunk = 0;
    if (parse_record(line, FINDING_MARK, finding, chunk)) {
      outcome.findings.push_back(finding);
    } else if (parse_record(line, CONTEXT_MARK, finding, chunk)) {
      outcome.context = finding;
      outcome.context_chunk = chunk;
    } else {
      outcome.fatal += line + "\n";
    }
  }
}

// Each finding once, in the order found; past the limit only counted. A
// note goes with the finding before it.
void print_findings(const std::vector<Finding>& findings, bool strict) {
  std::set<std::string> seen;
  int errors = 0, shown = 0, hidden = 0;
  bool last_shown = false;
  for (Finding finding : findings) {
    if (strict && finding.severity == Severity::warning) finding.severity = Severity::error;
    std::string text = finding_text(finding);
    if (!seen.insert(text).second) continue;
    bool note = finding.severity == Severity::note;
    if (finding.severity == Severity::error) errors++;
    if (!note) last_shown = shown < SHOWN_LIMIT;
    if (!last_shown) {
      hidden += note ? 0 : 1;
      continue;
    }
    shown += note ? 0 : 1;
    fprintf(stderr, "%s\n", text.c_str());
  }
  if (hidden > 0) fprintf(stderr, "talvon-run: %d more findings not shown\n", hidden);
  if (errors == 0) return;
  fprintf(stderr, "talvon-run: the scripts do not fit together: %d error%s%s; nothing was valued\n", errors,
          errors == 1 ? "" : "s", strict ? " (--strict counts warnings as errors)" : "");
  exit(CHECK_FAILED_STATUS);
}

}  // namespace

CheckInput check_input(const RunOptions& options, const std::string& model, const std::string& run) {
  CheckInput checked;
  checked.model_path = options.model;
  checked.model_text = model;
  checked.portfolio_path = options.portfolio;
  checked.run_path = options.run.empty() ? "(the default run script)" : options.run;
  checked.run_text = run;
  checked.strict = options.strict;
  return checked;
}

void check_scripts(const CheckInput& checked) {
  input = &checked;
  fflush(stdout);
  fflush(stderr);
  int channel[2];
  if (pipe2(channel, O_CLOEXEC) != 0) pdie("talvon-run: pipe");
  pid_t child = fork();
  if (child < 0) pdie("talvon-run: fork");
  if (child == 0) {
    close(channel[0]);
    run_child(channel[1]);
  }
  close(channel[1]);
  checker = child;
  const int forwarded[] = {SIGINT, SIGTERM, SIGHUP};
  struct sigaction saved[3];
  struct sigaction forward = {};
  forward.sa_handler = forward_signal;
  forward.sa_flags = SA_RESTART;
  sigemptyset(&forward.sa_mask);
  for (int i = 0; i < 3; i++) sigaction(forwarded[i], &forward, &saved[i]);
  Outcome outcome;
  take_lines(read_all(channel[0]), outcome);
  close(channel[0]);
  int raw = 0;
  while (waitpid(child, &raw, 0) < 0 && errno == EINTR) {
  }
  for (int i = 0; i < 3; i++) sigaction(forwarded[i], &saved[i], nullptr);
  checker = -1;
  if (WIFSIGNALED(raw) && (WTERMSIG(raw) == SIGINT || WTERMSIG(raw) == SIGTERM || WTERMSIG(raw) == SIGHUP)) {
    fprintf(stderr, "talvon-run: interrupted\n");
    exit(128 + WTERMSIG(raw));
  }
  if (WIFSIGNALED(raw)) {
    Finding crash = outcome.context;
    crash.severity = Severity::error;
    crash.message += std::string(crash.message.empty() ? "" : ": ") + "the check ended on signal " +
                     std::to_string(WTERMSIG(raw)) + " (" + strsignal(WTERMSIG(raw)) + ")";
    outcome.findings.push_back(crash);
  } else if (WEXITSTATUS(raw) != 0 || !outcome.fatal.empty()) {
    outcome.findings.push_back(fatal_finding(outcome.fatal, outcome.context, outcome.context_chunk));
  }
  print_findings(outcome.findings, checked.strict);
}
