// Who is at the other end of a loopback TCP connection. On a machine that
// others share, anyone can connect to talvon-run's port before the
// calculation program does and send records that would pass for results,
// so only a connection from a socket of this user is taken.
#pragma once

#include <sys/types.h>

// The owner of the peer's socket of the connected IPv4 socket `fd`, from
// /proc/net/tcp; false when it cannot be found.
bool peer_socket_owner(int fd, uid_t& owner);

// Accepts the next connection on the listening socket, non-blocking and
// close-on-exec. One from a socket of another user (or of no known owner)
// is closed with a note on stderr. Gives -1 when there is none to take.
int accept_own_connection(int listener);
