// Listening AF_UNIX sockets in the run directory, and who may connect to them.
#ifndef PLATFORM_MESSAGING_LOCAL_SOCKET_H
#define PLATFORM_MESSAGING_LOCAL_SOCKET_H

#include <sys/types.h>

// Listens at `path`: SOCK_SEQPACKET, non-blocking, mode 0660. The socket file of a server that is gone is replaced.
// Returns the descriptor, or -1 with `errno` (EADDRINUSE: another server answers there; ENAMETOOLONG: the path is too
// long).
int local_socket_listen(const char *path);

// Whether the peer of the connection `fd` may talk to us: root, our own user, or a member of our group. Fills `uid` and
// `pid`.
bool local_socket_peer_allowed(int fd, uid_t *uid, pid_t *pid);

#endif
