#include "codegen/cashflow_task.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "codegen/basis_code.h"
#include "codegen/emitter.h"
#include "codegen/surrender_code.h"
#include "codegen/valuation_program.h"
#include "core/list.h"
#include "driver/diagnostics.h"
#include "driver/file_wrappers.h"
#include "driver/progress_channel.h"
#include "expr/eval.h"
#include "platform/child_process.h"
#include "platform/compat_include.h"

static const char* const PROGRAM_SOURCE = "../bin/tx";
static const char* const PROGRAM = "../bin/tmp";
// What ps and top call the running program.
static const char* const PROGRAM_NAME = "talvon-calc";
static const char* const BUNDLED_COMPILER = "../share/glib-2.0/cc/tcc";
static const size_t PROGRAM_BUFFER_BYTES = 1 << 20;

Connection connectionKind(const char* connection) {
  int number = atoi(connection);
  if (number < 0) return Connection::none;
  return number == 0 ? Connection::pipe : Connection::socket;
}

// ---- Socket lines ----

// The names of the socket variant that compact mode must keep: the socket
// library's and the C library's, which the scrambler does not know.
static const char* const SOCKET_NAMES[] = {
    "socket",     "connect",     "htons",           "htonl",    "write",       "close",
    "AF_INET",    "SOCK_STREAM", "INADDR_LOOPBACK", "struct",   "sockaddr_in", "sockaddr",
    "sin_family", "sin_addr",    "s_addr",          "sin_port", "ssize_t",     "perror",
    "exit",
};

static int isSocketName(const char* start, size_t n) {
  for (const char* name : SOCKET_NAMES) {
    if (strlen(name) == n && strncmp(name, start, n) == 0) return TRUE;
  }
  return FALSE;
}

// A line of the socket variant. In compact mode its socket names are written
// as they are and the text between them goes through the line writer;
// identifiers are found as the line writer finds them, and a comment or a
// string literal is never split.
static void emitSocketLine(int indent, const char* text) {
  if (!compactMode) {
    emitLine(indent, text);
    return;
  }
  std::string pending;
  const char* p = text;
  while (*p != '\0') {
    if (p[0] == '/' && p[1] == '/') break;
    size_t n = *p == '"' ? literalLength(p) : static_cast<size_t>(identifierLength(p));
    if (n == 0) {
      pending += *p++;
      continue;
    }
    if (*p == '"' || !isSocketName(p, n)) {
      pending.append(p, n);
    } else {
      if (!pending.empty()) writeLine(pending.c_str());
      pending.clear();
      fwrite(p, 1, n, outputFile());
      fputc(' ', outputFile());
    }
    p += n;
  }
  pending += p;
  if (!pending.empty()) writeLine(pending.c_str());
}

// ---- Prologue ----

// Writes a table of lines with `emit`; empty entries stand for blank lines.
static void emitLines(int indent, const char* const* lines, size_t count,
                      void (*emit)(int, const char*) = emitLine) {
  for (size_t i = 0; i < count; i++) {
    if (lines[i][0] == '\0') {
      emitBlankLine();
    } else {
      emit(indent, lines[i]);
    }
  }
}

#define LINES(array) array, sizeof array / sizeof array[0]

void emitPrologue(Connection kind) {
  static const char* const includes[] = {"#include <stdio.h>", "#include <stdlib.h>",
                                         "#include <math.h>"};
  static const char* const socketIncludes[] = {"#include <unistd.h>", "#include <sys/types.h>",
                                               "#include <sys/socket.h>", "#include <netinet/in.h>",
                                               "#include <arpa/inet.h>"};
  static const char* const errorExit[] = {
      "void ErrorExit(char *msg){",
      "  LPVOID emsg;",
      "  DWORD dw=GetLastError();",
      "  FormatMessage(",
      "    FORMAT_MESSAGE_ALLOCATE_BUFFER | ",
      "    FORMAT_MESSAGE_FROM_SYSTEM |",
      "    FORMAT_MESSAGE_IGNORE_INSERTS,",
      "    NULL,",
      "    dw,",
      "    MAKELANGID(LANG_NEUTRAL,SUBLANG_DEFAULT),",
      "    (LPTSTR)&emsg,",
      "    0,",
      "    NULL );",
      "  fprintf(stderr,\"%s: %s\\n\",msg,(char *)emsg);",
      "  ExitProcess(dw);}",
  };
  // The socket variant's error routines, which its xmit calls.
  static const char* const socketErrors[] = {
      "void pdie(char *msg){", "  perror(msg);",
      "  exit(1);}",           "",
      "void die(char *msg){",  "  fprintf(stderr,\"%s\\n\",msg);",
      "  exit(1);}",           "",
  };
  static const char* const socketXmit[] = {
      "void xmit(int fd,void *buf,int size){",
      "  ssize_t rv=write(fd,buf,size);",
      "  if(rv<0) pdie(\"write()\");",
      "  if(rv<size) die(\"partial write\");}",
      "",
      "void xmit_int(int fd,int value){",
      "  xmit(fd,&value,sizeof(value));}",
      "",
      "void xmit_double(int fd,double value){",
      "  xmit(fd,&value,sizeof(value));}",
      "",
  };
  static const char* const pipeXmit[] = {
      "void xmit(HANDLE fd,void *buf,int size){",
      "  if(WriteFile(fd,buf,size,NULL,NULL)) return;",
      "  ErrorExit(\"tmp: WriteFile failed\");}",
      "",
      "void xmit_int(HANDLE fd,int value){",
      "  xmit(fd,&value,sizeof(value));}",
      "",
      "void xmit_double(HANDLE fd,double value){",
      "  xmit(fd,&value,sizeof(value));}",
      "",
  };

  emitLines(0, LINES(includes));
  if (kind == Connection::socket) emitLines(0, LINES(socketIncludes));
  emitLine(0, "#include <windows.h>");
  emitBlankLine();
  emitLine(0, "#define MONTH_LIMIT 1440");
  emitBlankLine();
  emitLines(0, LINES(errorExit));
  emitBlankLine();
  if (kind == Connection::socket) {
    emitLines(0, LINES(socketErrors), emitSocketLine);
    emitLines(0, LINES(socketXmit), emitSocketLine);
  }
  if (kind == Connection::pipe) emitLines(0, LINES(pipeXmit));
}

std::string pipeNameLiteral(const char* name) {
  std::string literal;
  for (const char* p = name; *p != '\0'; p++) {
    unsigned char c = static_cast<unsigned char>(*p);
    if (c == '\\') {
      literal += "\\\\";
    } else if (c == '"' || c < ' ' || c == 127) {
      char octal[8];
      snprintf(octal, sizeof octal, "\\%03o", c);
      literal += octal;
    } else {
      literal += static_cast<char>(c);
    }
  }
  return literal;
}

// ---- main ----

static void emitOpenConnection(Connection kind, const char* connection) {
  if (kind == Connection::socket) {
    static const char* const lines[] = {
        "// open connection to tool",   "int fd=socket(AF_INET,SOCK_STREAM,0);",
        "if(fd<0) pdie(\"socket()\");", "struct sockaddr_in addr;",
        "addr.sin_family=AF_INET;",     "addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);",
    };
    emitLines(2, LINES(lines), emitSocketLine);
    char port[64];
    snprintf(port, sizeof port, "addr.sin_port=htons(%d);", atoi(connection));
    emitSocketLine(2, port);
    emitSocketLine(2, "if(connect(fd,(struct sockaddr *)&addr,sizeof(addr))){");
    emitSocketLine(4, "pdie(\"connect()\");}");
    emitBlankLine();
  } else if (kind == Connection::pipe) {
    emitLine(2, "// open connection to tool");
    emitLine(2, "HANDLE fd=CreateFile(");
    emitTemplate1(2, "  \"%\",GENERIC_WRITE,0,NULL,OPEN_EXISTING,0,NULL);",
                  string(strdup(pipeNameLiteral(connection).c_str())));
    emitLine(2, "if(fd==INVALID_HANDLE_VALUE){");
    emitLine(2, "  ErrorExit(\"tmp: Could not open pipe2\");}");
    emitBlankLine();
  }
}

// One record for each used account pair, x ascending, then y.
static void emitTransmissions(int indent, const char* comment, int tag, const char* table) {
  char valueLine[64];
  snprintf(valueLine, sizeof valueLine, "xmit_double(fd,%s[%%][%%]);", table);
  char tagLine[32];
  snprintf(tagLine, sizeof tagLine, "xmit_int(fd,%d);", tag);
  for (int x = 0; x < ACCOUNT_COUNT; x++) {
    for (int y = 0; y < ACCOUNT_COUNT; y++) {
      if (!isAccountUsed(x, y)) continue;
      emitLine(indent, comment);
      emitLine(indent, tagLine);
      emitTemplate1(indent, "xmit_int(fd,%);", integer(x));
      emitTemplate1(indent, "xmit_int(fd,%);", integer(y));
      emitTemplate2(indent, valueLine, integer(x), integer(y));
      if (tag == 2) emitBlankLine();
    }
  }
}

void emitCalculationProgram(const Cell* portfolio, const Cell* cdefs, const Cell* defs,
                            const Cell* products, const Cell* states, const char* connection) {
  Connection kind = connectionKind(connection);
  emitPrologue(kind);
  emitBasisTables(portfolio);
  emitBasisFunctions(portfolio);

  emitLine(0, "int main(int argc,char **argv){");
  emitOpenConnection(kind, connection);
  emitLine(2, "// Initialize constants");
  emitLine(2, "one_over_sqrt_two_pi=1.0/sqrt(2.0*M_PI);");
  emitBlankLine();
  emitLine(2, "// Initialize collective mortalities to be undefined");
  emitLine(2, "int month;");
  emitLine(2, "for(month=0;month<MONTH_LIMIT;month++){");
  emitLine(2, "  one_alive_both_dead_male[month]=-1.0;");
  emitLine(2, "  one_alive_both_dead_female[month]=-1.0;}");

  const Cell* records = buildPolicyProducts(portfolio, products);
  emitMainDeclarations(records, cdefs, defs, states);
  emitBlankLine();
  emitLine(2, "// Iterate 120 years");
  emitLine(2, "for(t=0;t<MONTH_LIMIT;t++){");
  emitMonthBody(4, records, cdefs, defs);
  emitReserveAccumulation(portfolio, cdefs, defs);
  if (kind != Connection::none) emitTransmissions(4, "// Transmit value to tool", 1, "cashflow");
  emitLine(2, "}");
  emitBlankLine();
  if (kind != Connection::none) emitTransmissions(2, "// Transmit reserve to tool", 2, "reserve");
  if (kind == Connection::socket) {
    emitLine(2, "// Close connection to tool and exit");
    emitSocketLine(2, "close(fd);");
  } else if (kind == Connection::pipe) {
    emitLine(2, "// Close connection to tool and exit");
    emitLine(2, "CloseHandle(fd);");
  }
  emitLine(2, "return 0;}");
}

// ---- Build and run ----

std::string compilerPath() {
  return access(BUNDLED_COMPILER, F_OK) == 0 ? BUNDLED_COMPILER : "tcc";
}

static void removeFile(const char* path) {
  if (remove(path) != 0) pdie("remove()");
}

// A run that ends early (a fatal error on the way, or the front end gone
// from the progress pipe) must not leave the program's files behind in
// compact mode. Every end goes through exit(), so they are removed there.
static int filesPending = FALSE;

static void removePendingFiles() {
  if (!filesPending) return;
  filesPending = FALSE;
  int saved = errno;
  remove(PROGRAM_SOURCE);
  remove(PROGRAM);
  errno = saved;
}

static void removeFilesOnExit() {
  static int registered = FALSE;
  if (!registered && atexit(removePendingFiles) != 0) die("atexit() failed");
  registered = TRUE;
  filesPending = compactMode;
}

void compileProgram() {
  // A stale program must not stand in for one that fails to compile.
  if (remove(PROGRAM) != 0 && errno != ENOENT) pdie("remove()");
  std::vector<std::string> command = tcc_command(compat_include_dir(), PROGRAM, PROGRAM_SOURCE);
  command[0] = compilerPath();
  // The compiler's exit status is not examined: a failed build shows when
  // the program cannot be started.
  if (!run_child(command).started) system_error_exit("tcc: CreateProcess failed");
  if (compactMode) removeFile(PROGRAM_SOURCE);
}

void runProgram() {
  if (!run_child_named(PROGRAM, PROGRAM_NAME, CALCULATION_STACK_BYTES).started) {
    system_error_exit("tmp: CreateProcess failed");
  }
  if (compactMode) removeFile(PROGRAM);
  // Its exit status is not examined: the program reports its own faults,
  // and a front end that receives fewer records than a whole stream knows
  // the run failed, also when the program was killed from outside.
}

void runCashflowTask(const Cell* portfolio, const Cell* cdefs, const Cell* defs,
                     const Cell* products, const Cell* states, const char* connection) {
  const Cell* value = zeroSurrenderIntensity(eval(portfolio, defs, nil()));
  FILE* file = open_file("fopen(tx)", PROGRAM_SOURCE, "w");
  removeFilesOnExit();
  // The program runs to hundreds of megabytes: write it in large pieces.
  setvbuf(file, nullptr, _IOFBF, PROGRAM_BUFFER_BYTES);
  setOutputFile(file);
  emitCalculationProgram(value, cdefs, defs, products, states, connection);
  setOutputFile(stdout);
  close_file("fclose(tx)", file);
  send_progress(1.0);
  compileProgram();
  send_progress(2.0);
  runProgram();
  filesPending = FALSE;
}
