// Every kind of frame, laid beside a recording that is the same for every host.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "big_endian.h"
#include "client_call.h"
#include "fake_manager.h"
#include "local_socket.h"
#include "notification_frame.h"
#include "private_dir.h"
#include "raw_client.h"
#include "recording.h"
#include "repairs.h"
#include "requests.h"

namespace {

constexpr size_t kSequenceAt = 8;
constexpr int kHangs = 999;    // the opcode that is not answered
constexpr int kPatience = 10;  // seconds, for all others: what a busy machine may take

std::string frame_line(const std::string &what, std::vector<uint8_t> frame) {
  if (frame.size() >= kSequenceAt + sizeof(uint32_t) && get_be32(frame.data()) == kMessageMagic) {
    put_be32(frame.data() + kSequenceAt, 0);
  }
  return what + " | " + recording::hex(frame.data(), frame.size());
}

// A VSAN manager that keeps the frames that come, and answers with an empty success or one octet.
struct frame_keeper {
  explicit frame_keeper(const private_dir &dir)
      : listener(local_socket_listen((dir.path + "/vsan-manager.sock").c_str())), thread([this] { serve(); }) {}
  ~frame_keeper() {
    stopped = true;
    thread.join();
    close(listener);
  }
  frame_keeper(const frame_keeper &) = delete;
  frame_keeper &operator=(const frame_keeper &) = delete;

  // The frames since the last call. Waits for one, a second at most.
  std::vector<std::string> take(const std::string &what) {
    std::unique_lock lock(mutex);
    arrived.wait_for(lock, std::chrono::seconds(1), [this] { return !frames.empty(); });
    std::vector<std::string> lines;
    for (const std::vector<uint8_t> &frame : frames) {
      lines.push_back(frame_line(what, frame));
    }
    frames.clear();
    return lines;
  }

 private:
  void serve() {
    int connection = -1;
    while (!stopped) {
      pollfd watched = {connection < 0 ? listener : connection, POLLIN, 0};
      if (poll(&watched, 1, 20) <= 0) {
        continue;
      }
      if (connection < 0) {
        connection = accept(listener, nullptr, nullptr);
      } else if (!keep_one(connection)) {
        close(connection);
        connection = -1;
      }
    }
    close(connection);
  }
  bool keep_one(int connection) {
    std::vector<uint8_t> frame(kMessageMax);
    const ssize_t got = recv(connection, frame.data(), frame.size(), 0);
    message_header header;
    if (got <= 0 || message_header_read(frame.data(), static_cast<size_t>(got), &header) != 0) {
      return false;
    }
    frame.resize(static_cast<size_t>(got));
    {
      const std::lock_guard lock(mutex);
      frames.push_back(frame);
      arrived.notify_one();
    }
    const std::string payload = (header.flags & kMessageWantsPayload) != 0 ? "!" : "";
    header.flags = kMessageIsAnswer;
    header.user_size = header.session_size = 0;
    header.payload_size = static_cast<uint32_t>(payload.size());
    return header.opcode == kHangs || send_raw(connection, frame_text(header, payload));
  }

  std::mutex mutex;
  std::condition_variable arrived;
  std::vector<std::vector<uint8_t>> frames;
  std::atomic<bool> stopped = false;
  int listener;
  std::thread thread;
};

void append(std::vector<std::string> &to, const std::vector<std::string> &lines) {
  to.insert(to.end(), lines.begin(), lines.end());
}

void ignore_outcome(const platform_repair_outcome *) {}

// What the client library sends: reads, writes, repairs, and the question whether a hung receiver lives.
void client_frames(std::vector<std::string> &lines) {
  const private_dir dir;
  frame_keeper manager(dir);
  call("\x01\x02\x03\x04", {.timeout = kPatience});
  append(lines, manager.take("a read with a request"));
  void *response = nullptr;
  uint32_t size = 4;
  cmi_req_resp(kOpVsanNumber, 1, nullptr, &response, &size, nullptr, nullptr, 15, mts_response_q, kPatience);
  free(response);
  append(lines, manager.take("a read without one"));
  call(std::string(2632, '\0'),
       {.timeout = kPatience, .user = "operator", .session = "session-1", .wants_payload = false});
  append(lines, manager.take("a write"));
  call("\x80\xff", {.opcode = 0x01020304, .timeout = kPatience, .user = "gr\xc3\xbcn"});
  append(lines, manager.take("an opcode of four octets"));

  platform_repairs_begin();
  call("repair", {.timeout = kPatience, .user = "operator", .session = "session-1", .wants_payload = false});
  platform_repairs_end();
  append(lines, manager.take("a repair"));

  call("hangs", {.opcode = kHangs});
  append(lines, manager.take("a request that hangs"));
  platform_repairs_begin();
  call("late repair", {.wants_payload = false});
  platform_repairs_end();
  platform_repairs_abandon(ignore_outcome);
  append(lines, manager.take("a repair that is not waited for"));
}

// The same once more against a receiver that hangs for good: a probe goes out when a second has passed.
void probe_frames(std::vector<std::string> &lines) {
  const private_dir dir;
  frame_keeper manager(dir);
  call("hangs", {.opcode = kHangs});
  append(lines, manager.take("a request that hangs"));
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  call("waits", {.opcode = kHangs});
  const std::vector<std::string> probe = manager.take("a probe");
  ASSERT_FALSE(probe.empty());
  lines.push_back(probe.front());  // what may follow it hangs, too
}

// What the message server answers.
void server_frames(std::vector<std::string> &lines) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.answer = [](const message_request &request, message_reply &reply) {
    reply.status = request.opcode == 1 ? 0 : 0x40190001;
    reply.payload = {0xAA, 0xBB, 0xCC};
  };
  const int fd = connect_raw(dir.path);
  const struct {
    const char *what;
    message_header header;
  } kRequests[] = {
      {"an answer", {kMessageWantsPayload, 7, 1, 1, 15, 0, 0, 0, 0}},
      {"a refusal", {kMessageWantsPayload, 7, 0x01020304, 3, 15, 0, 0, 0, 0}},
      {"an answer whose payload nobody wants", {0, 7, 1, 3, 15, 0, 0, 0, 0}},
      {"an answer to a probe", {kMessageIsProbe, 7, 0, 0, 15, 0, 0, 0, 0}},
      {"an answer to a request that faults spare", {kMessageWantsPayload | kMessageIsSpared, 7, 1, 1, 15, 0, 0, 0, 0}},
      {"an answer to a request for another service", {kMessageWantsPayload, 7, 1, 1, 46, 0, 0, 0, 0}},
      {"an answer to sizes that lie", {kMessageWantsPayload, 7, 1, 1, 15, 0, 0, 0, 9}},
  };
  for (const auto &[what, header] : kRequests) {
    std::vector<uint8_t> frame(kMessageMax);
    const ssize_t got = send_raw(fd, frame_text(header, "")) ? recv(fd, frame.data(), frame.size(), 0) : -1;
    frame.resize(got < 0 ? 0 : static_cast<size_t>(got));
    lines.push_back(frame_line(what, frame));
  }
  close(fd);
}

// Frames of the subscription to notifications, which both ends write with one procedure.
void notification_frames(std::vector<std::string> &lines) {
  constexpr uint8_t kPayload[] = {0, 0, 0, 101, 0, 0, 0, 10, 0, 0, 0, 20};
  constexpr uint8_t kText[] = {'p', 'i', 'd', ' ', '1', '2'};
  const struct {
    const char *what;
    notification_frame frame;
  } kFrames[] = {
      {"subscribe, of nothing yet", {kNotificationSubscribe, 0, 0, 0, nullptr, 0}},
      {"subscribe", {kNotificationSubscribe, 0xFEDCBA98, 0x0102030405060708, 0, nullptr, 0}},
      {"deliver", {kNotificationDeliver, 0xFEDCBA98, 0x0102030405060709, kNotifyPortMembership, kPayload, 12}},
      {"acknowledge", {kNotificationAcknowledge, 0xFEDCBA98, 0x0102030405060709, 0, nullptr, 0}},
      {"refused", {kNotificationRefused, 0, 0, 0, kText, sizeof kText}},
  };
  for (const auto &[what, frame] : kFrames) {
    std::vector<uint8_t> written(kNotificationFrameMax);
    written.resize(notification_frame_write(frame, written.data()));
    lines.push_back(frame_line(what, written));
  }
}

TEST(RecordedFrames, AreTheSameFromEveryHost) {
  std::vector<std::string> lines;
  client_frames(lines);
  probe_frames(lines);
  server_frames(lines);
  notification_frames(lines);
  recording::expect(RECORDED_FRAMES, lines);
}

}  // namespace
