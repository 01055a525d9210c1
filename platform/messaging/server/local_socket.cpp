#include "local_socket.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int kBacklog = 64;
constexpr mode_t kSocketMode = 0660;
constexpr size_t kPeerGroupsMax = 256;

int64_t chosen_group = -1;

gid_t served_group() {
  return chosen_group < 0 ? getegid() : static_cast<gid_t>(chosen_group);
}

int open_socket() {
  return socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

int close_and_fail(int fd, int why) {
  close(fd);
  errno = why;
  return -1;
}

// Only a dead server's file refuses connections; a live one with a full backlog answers EAGAIN.
bool server_answers(const sockaddr_un &address) {
  const int fd = open_socket();
  if (fd < 0) {
    return true;
  }
  const bool refused =
      connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 && errno == ECONNREFUSED;
  close(fd);
  return !refused;
}

bool in_our_group(int fd, gid_t peer_gid) {
  const gid_t ours = served_group();
  if (peer_gid == ours) {
    return true;
  }
#ifdef SO_PEERGROUPS
  gid_t groups[kPeerGroupsMax];
  socklen_t size = sizeof groups;
  if (getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups, &size) != 0) {
    return false;
  }
  for (size_t i = 0; i < size / sizeof groups[0]; ++i) {
    if (groups[i] == ours) {
      return true;
    }
  }
#endif
  return false;
}

}  // namespace

void local_socket_set_group(int64_t group) {
  chosen_group = group;
}

int local_socket_listen(const char *path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const size_t length = strlen(path);
  if (length >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return -1;
  }
  memcpy(address.sun_path, path, length);
  const int fd = open_socket();
  if (fd < 0) {
    return -1;
  }
  const auto *name = reinterpret_cast<const sockaddr *>(&address);
  if (bind(fd, name, sizeof address) != 0) {
    if (errno != EADDRINUSE) {
      return close_and_fail(fd, errno);
    }
    if (server_answers(address)) {
      return close_and_fail(fd, EADDRINUSE);
    }
    if (unlink(path) != 0 || bind(fd, name, sizeof address) != 0) {
      return close_and_fail(fd, errno);
    }
  }
  // Until listen, connections are refused: no one gets in before group and mode are set.
  const bool given = chosen_group < 0 || chown(path, static_cast<uid_t>(-1), served_group()) == 0;
  if (!given || chmod(path, kSocketMode) != 0 || listen(fd, kBacklog) != 0) {
    return close_and_fail(fd, errno);
  }
  return fd;
}

bool local_socket_peer_allowed(int fd, uid_t *uid, pid_t *pid) {
  ucred peer = {};
  socklen_t size = sizeof peer;
  if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
    return false;
  }
  *uid = peer.uid;
  *pid = peer.pid;
  return peer.uid == 0 || peer.uid == geteuid() || in_our_group(fd, peer.gid);
}
