// Frames that no sound peer sends, in both directions.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <thread>

#include "client_call.h"
#include "fake_manager.h"
#include "local_socket.h"
#include "message_frame.h"
#include "private_dir.h"
#include "raw_client.h"
#include "statuses.h"
#include "switchplatform/run_dir.h"

namespace {

std::string socket_path(const std::string &run_dir) {
  return run_dir + "/vsan-manager.sock";
}

// Answers one request with what `forge` makes of its header; then serves nothing.
struct forging_server {
  forging_server(const std::string &run_dir, std::function<std::vector<std::string>(message_header)> forge)
      : listener(local_socket_listen(socket_path(run_dir).c_str())) {
    thread = std::thread([this, forge = std::move(forge)] {
      int fd;
      while ((fd = accept(listener, nullptr, nullptr)) < 0) {
        usleep(1000);
      }
      const timeval patience = {3, 0};
      setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
      uint8_t frame[kMessageMax];
      const ssize_t got = recv(fd, frame, sizeof frame, 0);
      message_header header;
      if (got > 0 && message_header_read(frame, static_cast<size_t>(got), &header) == 0) {
        for (const std::string &answer : forge(header)) {
          send(fd, answer.data(), answer.size(), MSG_NOSIGNAL);
        }
      }
      recv(fd, frame, sizeof frame, 0);  // until the client closes
      close(fd);
    });
  }
  ~forging_server() {
    thread.join();
    close(listener);
  }
  int listener;
  std::thread thread;
};

std::string frame_of(message_header header, const std::string &payload) {
  header.flags = kMessageIsAnswer;
  header.user_size = header.session_size = 0;
  header.payload_size = static_cast<uint32_t>(payload.size());
  return frame_text(header, payload);
}

struct forged_answer {
  const char *name;
  std::string (*forge)(const message_header &);
};

class GarbageAnswer : public testing::TestWithParam<forged_answer> {};

TEST_P(GarbageAnswer, IsEprotoAndTheNextRequestConnectsAgain) {
  const private_dir dir;
  {
    forging_server server(dir.path,
                          [](message_header header) { return std::vector<std::string>{GetParam().forge(header)}; });
    const call_result result = call("abcd");
    EXPECT_EQ(result.status, -1);
    EXPECT_EQ(result.why, EPROTO);
    EXPECT_FALSE(result.payload);
    EXPECT_EQ(result.size, 4U);
  }
  fake_manager manager(dir.path);
  EXPECT_EQ(call("next").payload, "next");
}

const forged_answer kForgedAnswers[] = {
    {"ShorterThanAHeader", [](const message_header &h) { return frame_of(h, "").substr(0, 35); }},
    {"OneByte", [](const message_header &) { return std::string("x"); }},
    {"AnotherMagic",
     [](const message_header &h) {
       auto f = frame_of(h, "data");
       f[0] ^= 1;
       return f;
     }},
    {"AnotherVersion",
     [](const message_header &h) {
       auto f = frame_of(h, "data");
       f[5] ^= 2;
       return f;
     }},
    {"PayloadCutShort",
     [](const message_header &h) {
       auto f = frame_of(h, "data");
       f.pop_back();
       return f;
     }},
    {"PayloadTooLong", [](const message_header &h) { return frame_of(h, "data") + "x"; }},
    {"SizeBeyondAll",
     [](const message_header &h) {
       auto f = frame_of(h, "data");
       f[32] = '\xff';
       return f;
     }},
    {"LargerThanAMessage", [](const message_header &h) { return frame_of(h, std::string(kMessageMax, 'x')); }},
    {"LargerThanAMessageThoughItsSizesFitOne",
     [](const message_header &h) { return frame_of(h, std::string(kMessageMax - kMessageHeaderSize, 'x')) + "x"; }},
    {"ARequest",
     [](const message_header &h) {
       auto f = frame_of(h, "data");
       f[7] = 0;
       return f;
     }},
    {"OfAnotherOpcode",
     [](const message_header &h) {
       auto o = h;
       o.opcode++;
       return frame_of(o, "data");
     }},
};

INSTANTIATE_TEST_SUITE_P(Forged, GarbageAnswer, testing::ValuesIn(kForgedAnswers),
                         [](const auto &each) { return std::string(each.param.name); });

TEST(GarbageAnswers, AnswersWithOtherNumbersAreDroppedUntilTheRightOneComes) {
  const private_dir dir;
  forging_server server(dir.path, [](message_header header) {
    message_header other = header;
    other.sequence -= 1;
    message_header further = header;
    further.sequence += 1;
    return std::vector<std::string>{frame_of(other, "old"), frame_of(further, "odd"), frame_of(header, "own")};
  });
  EXPECT_EQ(call("abcd").payload, "own");
  platform_set_run_dir("/nonexistent");
}

TEST(GarbageAnswers, StatusMinusOneIsAFailedCallWithAReason) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::status, -1, 1, -1});
  EXPECT_EQ(call("abcd").why, EPROTO);
}

std::string forged_request(uint32_t service, uint32_t announced, const std::string &payload) {
  return frame_text({0, 77, 149, 1, service, 0, 0, 0, announced}, payload);
}

// Sends the frame; returns the status of the answer, or -1 when the server closed the connection.
int status_after(int fd, const std::string &frame) {
  if (!send_raw(fd, frame)) {
    return -2;
  }
  const raw_answer answer = receive_raw(fd);
  if (!answer.came) {
    return -1;
  }
  return answer.header.sequence == 77 ? static_cast<int>(answer.header.status) : -3;
}

TEST(GarbageRequests, SizesThatDoNotAddUpAreAnsweredAndTheConnectionStays) {
  const private_dir dir;
  fake_manager manager(dir.path);
  const int fd = connect_raw(dir.path);
  EXPECT_EQ(status_after(fd, forged_request(15, 5, "four")), kStatusMalformed);
  EXPECT_EQ(status_after(fd, forged_request(15, UINT32_MAX, "four")), kStatusMalformed);
  EXPECT_EQ(status_after(fd, forged_request(15, 3, "four")), kStatusMalformed);
  EXPECT_EQ(status_after(fd, forged_request(46, 4, "four")), kStatusWrongService);
  std::string answer = forged_request(15, 4, "four");
  answer[7] = kMessageIsAnswer;
  EXPECT_EQ(status_after(fd, answer), kStatusMalformed);
  EXPECT_EQ(status_after(fd, forged_request(15, 4, "four")), 0);
  close(fd);
  EXPECT_EQ(manager.seen().size(), 1U);
  EXPECT_EQ(manager.counters().malformed, 5U);
  EXPECT_EQ(manager.counters().requests, 1U);
  EXPECT_EQ(manager.reports.size(), 5U);
}

TEST(GarbageRequests, FrameWithoutAHeaderEndsItsConnectionAndNoOther) {
  const private_dir dir;
  fake_manager manager(dir.path);
  const int other = connect_raw(dir.path);
  const std::string sound = forged_request(15, 4, "four");
  std::string magic = sound;
  magic[0] = 0;
  std::string version = sound;
  version[5] = 9;
  const std::string frames[] = {"x", sound.substr(0, 35), magic, version, sound + std::string(kMessageMax, 'x')};
  for (const std::string &frame : frames) {
    const int fd = connect_raw(dir.path);
    EXPECT_EQ(status_after(fd, frame), -1);
    close(fd);
  }
  EXPECT_EQ(status_after(other, sound), 0);
  close(other);
  EXPECT_EQ(manager.counters().malformed, 5U);
}

}  // namespace
