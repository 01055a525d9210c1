// Frames sent and received by hand, past the client library.
#ifndef TESTS_UNIT_PLATFORM_RAW_CLIENT_H
#define TESTS_UNIT_PLATFORM_RAW_CLIENT_H

#include <grp.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

#include "message_frame.h"

// Connects to the VSAN manager of the run directory; receiving waits two seconds at most. Returns -1 when refused.
inline int connect_raw(const std::string &run_dir) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  strcpy(address.sun_path, (run_dir + "/vsan-manager.sock").c_str());
  const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
    close(fd);
    return -1;
  }
  const timeval patience = {2, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  return fd;
}

inline std::string frame_text(const message_header &header, const std::string &payload) {
  std::string frame(kMessageHeaderSize, '\0');
  message_header_write(header, reinterpret_cast<uint8_t *>(frame.data()));
  return frame + payload;
}

inline std::string request_frame(uint32_t sequence, uint32_t opcode, const std::string &payload) {
  return frame_text({kMessageWantsPayload, sequence, opcode, 1, 15, 0, 0, 0, static_cast<uint32_t>(payload.size())},
                    payload);
}

inline bool send_raw(int fd, const std::string &frame) {
  return send(fd, frame.data(), frame.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(frame.size());
}

struct raw_answer {
  bool came = false;
  message_header header = {};
  std::string payload;
};

inline raw_answer receive_raw(int fd) {
  static uint8_t frame[kMessageMax];
  raw_answer answer;
  const ssize_t got = recv(fd, frame, sizeof frame, 0);
  if (got <= 0 || message_header_read(frame, static_cast<size_t>(got), &answer.header) != 0) {
    return answer;
  }
  answer.came = true;
  answer.payload.assign(reinterpret_cast<const char *>(frame) + kMessageHeaderSize,
                        static_cast<size_t>(got) - kMessageHeaderSize);
  return answer;
}

#endif
