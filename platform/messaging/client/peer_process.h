// Who is at the other end of a connection.
#ifndef PLATFORM_MESSAGING_CLIENT_PEER_PROCESS_H
#define PLATFORM_MESSAGING_CLIENT_PEER_PROCESS_H

#include <sys/socket.h>
#include <sys/types.h>

// The process that listened on the socket that the AF_UNIX connection `fd` was made to; 0 when it cannot be seen from
// here.
inline pid_t peer_process(int fd) {
  ucred peer = {};
  socklen_t size = sizeof peer;
  return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

#endif
