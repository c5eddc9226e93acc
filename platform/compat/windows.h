/* The few Windows names that talvon's calculation program uses, mapped onto
   POSIX so that its text compiles unchanged with tcc on Linux. A handle is a
   file descriptor; the "last error" is errno; system texts come from
   strerror. Everything is static: the header is the whole implementation. */
#ifndef TALVON_COMPAT_WINDOWS_H
#define TALVON_COMPAT_WINDOWS_H

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

typedef int BOOL;
typedef unsigned short WORD;
typedef unsigned int DWORD;
typedef void *LPVOID;
typedef char *LPTSTR;
typedef const char *LPCSTR;
typedef void *HANDLE;

#ifndef NULL
#define NULL ((void *)0)
#endif

#define INVALID_HANDLE_VALUE ((HANDLE)(intptr_t)-1)

#define GENERIC_READ 0x80000000u
#define GENERIC_WRITE 0x40000000u

#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4
#define TRUNCATE_EXISTING 5

#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100u
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200u
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000u

#define LANG_NEUTRAL 0x00
#define SUBLANG_DEFAULT 0x01
#define MAKELANGID(p, s) ((((WORD)(s)) << 10) | (WORD)(p))

static DWORD GetLastError(void) { return (DWORD)errno; }

static HANDLE CreateFile(LPCSTR name, DWORD access, DWORD share, LPVOID security,
                         DWORD disposition, DWORD flags, HANDLE template_file) {
  int mode = O_RDONLY;
  int fd;
  (void)share;
  (void)security;
  (void)flags;
  (void)template_file;
  if ((access & GENERIC_READ) && (access & GENERIC_WRITE)) mode = O_RDWR;
  else if (access & GENERIC_WRITE) mode = O_WRONLY;
  if (disposition == CREATE_NEW) mode |= O_CREAT | O_EXCL;
  if (disposition == CREATE_ALWAYS) mode |= O_CREAT | O_TRUNC;
  if (disposition == OPEN_ALWAYS) mode |= O_CREAT;
  if (disposition == TRUNCATE_EXISTING) mode |= O_TRUNC;
  /* A reader that goes away must make WriteFile fail, as on Windows, rather
     than kill the program with SIGPIPE. */
  signal(SIGPIPE, SIG_IGN);
  do {
    fd = open(name, mode | O_CLOEXEC, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return INVALID_HANDLE_VALUE;
  return (HANDLE)(intptr_t)fd;
}

/* Writes all bytes or fails; a short write is continued, not reported. */
static BOOL WriteFile(HANDLE handle, const void *buffer, DWORD size, DWORD *written,
                      LPVOID overlapped) {
  const char *bytes = (const char *)buffer;
  DWORD done = 0;
  (void)overlapped;
  while (done < size) {
    ssize_t n = write((int)(intptr_t)handle, bytes + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) break;
    if (n == 0) {
      errno = EIO;
      break;
    }
    done += (DWORD)n;
  }
  if (written != NULL) *written = done;
  return done == size;
}

static BOOL CloseHandle(HANDLE handle) { return close((int)(intptr_t)handle) == 0; }

/* Only system texts: the message id is an errno value. With
   FORMAT_MESSAGE_ALLOCATE_BUFFER the buffer argument receives a malloc'd
   text; otherwise the text is copied into the buffer of `size` bytes.
   Returns the length of the text, 0 on failure. */
static DWORD FormatMessage(DWORD flags, const void *source, DWORD message_id,
                           DWORD language_id, LPTSTR buffer, DWORD size, void *arguments) {
  const char *text = strerror((int)message_id);
  size_t length = strlen(text);
  (void)source;
  (void)language_id;
  (void)arguments;
  if (!(flags & FORMAT_MESSAGE_FROM_SYSTEM)) {
    errno = EINVAL;
    return 0;
  }
  if (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) {
    char *copy = (char *)malloc(length + 1);
    if (copy == NULL) return 0;
    memcpy(copy, text, length + 1);
    *(char **)buffer = copy;
    return (DWORD)length;
  }
  if (buffer == NULL || size <= length) {
    errno = ERANGE;
    return 0;
  }
  memcpy(buffer, text, length + 1);
  return (DWORD)length;
}

static void ExitProcess(DWORD code) { exit((int)code); }

/* The socket connection: on Windows a write to a socket whose reader has
   gone fails with an error; here it would raise SIGPIPE and end the program
   without a word. Its one socket comes from socket(), which therefore
   ignores SIGPIPE first. (tcc has no constructor functions to do it
   earlier.) */
#ifdef SOCK_STREAM
static int compat_socket(int domain, int type, int protocol) {
  signal(SIGPIPE, SIG_IGN);
  return socket(domain, type, protocol);
}
#define socket(domain, type, protocol) compat_socket(domain, type, protocol)
#endif

#endif
