// Listening AF_UNIX sockets in the run directory, and who may connect to them.
#ifndef PLATFORM_MESSAGING_SERVER_LOCAL_SOCKET_H
#define PLATFORM_MESSAGING_SERVER_LOCAL_SOCKET_H

#include <stdint.h>
#include <sys/types.h>

// From now on sockets belong to this group, and its members may connect, instead of the process's own group. -1: the
// process's own.
void local_socket_set_group(int64_t group);

// Listens at `path`: SOCK_SEQPACKET, non-blocking, mode 0660. The socket file of a server that is gone is replaced.
// Returns the descriptor, or -1 with `errno` (EADDRINUSE: another server answers there; ENAMETOOLONG: the path is too
// long).
int local_socket_listen(const char *path);

// Whether the peer of the connection `fd` may talk to us: root, our own user, or a member of the group. Fills `uid` and
// `pid`.
bool local_socket_peer_allowed(int fd, uid_t *uid, pid_t *pid);

#endif
