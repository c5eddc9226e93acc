#include "tools/run/peer_owner.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <string_view>

namespace {

// An address as /proc/net/tcp writes it: the 32-bit address as the
// machine holds it, then the port, both in hex.
void proc_address(const sockaddr_in& address, char* text, size_t size) {
  snprintf(text, size, "%08X:%04X", address.sin_addr.s_addr, ntohs(address.sin_port));
}

}  // namespace

bool peer_socket_owner(int fd, uid_t& owner) {
  sockaddr_in local = {}, peer = {};
  socklen_t size = sizeof local;
  if (getsockname(fd, reinterpret_cast<sockaddr*>(&local), &size) != 0) return false;
  size = sizeof peer;
  if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) != 0) return false;
  if (peer.sin_family != AF_INET) return false;
  // The peer's own socket: its local address is our peer, its remote ours.
  char want_local[32], want_remote[32];
  proc_address(peer, want_local, sizeof want_local);
  proc_address(local, want_remote, sizeof want_remote);
  FILE* table = fopen("/proc/net/tcp", "r");
  if (table == nullptr) return false;
  char line[512];
  bool found = false;
  while (!found && fgets(line, sizeof line, table) != nullptr) {
    char entry_local[64], entry_remote[64];
    unsigned uid;
    // sl local remote st tx_queue:rx_queue tr:tm->when retrnsmt uid ...
    if (sscanf(line, " %*d: %63s %63s %*x %*s %*s %*s %u", entry_local, entry_remote, &uid) != 3) {
      continue;
    }
    std::string_view l(entry_local), r(entry_remote);
    if (l == want_local && r == want_remote) {
      owner = static_cast<uid_t>(uid);
      found = true;
    }
  }
  fclose(table);
  return found;
}

int accept_own_connection(int listener) {
  int fd = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (fd < 0) return -1;
  uid_t owner = 0;
  bool known = peer_socket_owner(fd, owner);
  if (known && owner == getuid()) return fd;
  close(fd);
  if (known) {
    fprintf(stderr, "talvon-run: refused a connection from user %u to the result port\n",
            static_cast<unsigned>(owner));
  } else {
    fprintf(stderr, "talvon-run: refused a connection of unknown owner to the result port\n");
  }
  return -1;
}
