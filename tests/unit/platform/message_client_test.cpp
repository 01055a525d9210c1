#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>
#include <thread>

#include "client_call.h"
#include "fake_manager.h"
#include "local_socket.h"
#include "message_frame.h"
#include "private_dir.h"
#include "switchplatform/run_dir.h"

namespace {

constexpr size_t kLargestPayload = 64 * 1024 - 36;

TEST(MessageClient, AnswerCarriesStatusAndPayloadOfExactSize) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.answer = [](const message_request &, message_reply &reply) {
    reply.status = 0x40190001;
    reply.payload = {1, 2, 3};
  };
  const call_result result = call("abcd");
  EXPECT_EQ(result.status, 0x40190001);
  EXPECT_EQ(result.size, 3U);
  EXPECT_EQ(result.payload, std::string("\1\2\3"));
}

TEST(MessageClient, RequestArrivesAsItWasSent) {
  const private_dir dir;
  fake_manager manager(dir.path);
  call(std::string("a\0b", 3), {.opcode = 124, .user = "admin", .session = "s 7"});
  const auto seen = manager.seen();
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0].opcode, 124);
  EXPECT_EQ(seen[0].msg_type, 1);
  EXPECT_EQ(seen[0].payload, (std::vector<uint8_t>{'a', 0, 'b'}));
  EXPECT_EQ(seen[0].user, "admin");
  EXPECT_EQ(seen[0].session, "s 7");
  EXPECT_TRUE(seen[0].wants_payload);
}

TEST(MessageClient, NullUserAndSessionArriveEmpty) {
  const private_dir dir;
  fake_manager manager(dir.path);
  call("x");
  EXPECT_EQ(manager.seen().at(0).user, "");
  EXPECT_EQ(manager.seen().at(0).session, "");
}

TEST(MessageClient, NullRequestSendsNoPayloadWhateverTheSize) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.answer = [](const message_request &, message_reply &reply) { reply.payload = {0, 0, 0, 9}; };
  void *response = nullptr;
  uint32_t size = 4;
  EXPECT_EQ(cmi_req_resp(125, 1, nullptr, &response, &size, nullptr, nullptr, 15, mts_response_q, 1), 0);
  EXPECT_EQ(size, 4U);
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(static_cast<uint8_t *>(response)[3], 9);
  free(response);
  EXPECT_TRUE(manager.seen().at(0).payload.empty());
}

TEST(MessageClient, SizeIsLeftWhenNoResponseIsWanted) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.answer = [](const message_request &, message_reply &reply) { reply.payload = {1, 2, 3, 4, 5, 6}; };
  const call_result result = call("abcd", {.wants_payload = false});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.size, 4U);
  EXPECT_FALSE(manager.seen().at(0).wants_payload);
}

TEST(MessageClient, ASuccessWithoutThePayloadThatWasWantedIsABrokenExchange) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::short_answer, -1, -1, 0});
  const call_result result = call("abcd");
  EXPECT_EQ(result.status, -1);
  EXPECT_EQ(result.why, EPROTO);
  EXPECT_EQ(result.size, 4U);
  EXPECT_FALSE(result.payload);
}

TEST(MessageClient, ShortAnswerReportsItsRealSize) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::short_answer, -1, 1, 2});
  EXPECT_EQ(call("abcd").payload, "ab");
  EXPECT_EQ(call("abcd").payload, "abcd");
}

TEST(MessageClient, LargestMessageGoesBothWays) {
  const private_dir dir;
  fake_manager manager(dir.path);
  const std::string payload(kLargestPayload, 'p');
  EXPECT_EQ(call(payload).payload, payload);
}

TEST(MessageClient, OneByteMoreIsRefusedAndNotSent) {
  const private_dir dir;
  fake_manager manager(dir.path);
  const call_result result = call(std::string(kLargestPayload + 1, 'p'));
  EXPECT_EQ(result.status, -1);
  EXPECT_EQ(result.why, EMSGSIZE);
  EXPECT_EQ(call(std::string(kLargestPayload, 'p'), {.user = "u"}).why, EMSGSIZE);
  EXPECT_TRUE(manager.seen().empty());
}

TEST(MessageClient, NoManagerIsEnoent) {
  const private_dir dir;
  EXPECT_EQ(call("x").why, ENOENT);
  EXPECT_EQ(call("x", {.service = 99}).why, ENOENT);
}

TEST(MessageClient, MissingSizeWordIsRefused) {
  EXPECT_EQ(cmi_req_resp(125, 1, nullptr, nullptr, nullptr, nullptr, nullptr, 15, mts_response_q, 1), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST(MessageClient, DroppedRequestIsResetAndNeverRepeated) {
  const private_dir dir;
  fake_manager manager(dir.path);
  call("first");
  manager.add_fault({fault_kind::drop, -1, 1, 0});
  EXPECT_EQ(call("second").why, ECONNRESET);
  EXPECT_EQ(call("third").payload, "third");
  ASSERT_EQ(manager.seen().size(), 2U);
  EXPECT_EQ(manager.counters().requests, 3U);
}

TEST(MessageClient, RestartedManagerAnswersTheNextRequest) {
  const private_dir dir;
  for (int start = 0; start < 5; ++start) {
    fake_manager manager(dir.path);
    EXPECT_EQ(call("hello").payload, "hello");
    EXPECT_EQ(call("again").payload, "again");
  }
  EXPECT_EQ(call("gone").why, ENOENT);
}

// A manager in a process of its own, to be killed.
pid_t start_manager_process(const std::string &run_dir) {
  int ready[2];
  if (pipe(ready) != 0) {
    return -1;
  }
  const pid_t child = fork();
  if (child == 0) {
    fake_manager manager(run_dir);
    if (write(ready[1], "r", 1) != 1) {
      _exit(1);
    }
    for (;;) {
      pause();
    }
  }
  close(ready[1]);
  char byte;
  const ssize_t got = read(ready[0], &byte, 1);
  close(ready[0]);
  return got == 1 ? child : -1;
}

void kill_process(pid_t child) {
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

TEST(MessageClient, KilledManagerIsRefusedAtOnceAndItsSuccessorAnswersAtOnce) {
  const private_dir dir;
  pid_t child = start_manager_process(dir.path);
  ASSERT_GT(child, 0);
  EXPECT_EQ(call("one").payload, "one");
  kill_process(child);
  EXPECT_EQ(call("two").why, ECONNREFUSED);
  child = start_manager_process(dir.path);
  ASSERT_GT(child, 0);
  EXPECT_EQ(call("three").payload, "three");
  kill_process(child);
}

TEST(MessageClient, ManagerKilledWhileItWorksIsReset) {
  const private_dir dir;
  const pid_t child = start_manager_process(dir.path);
  ASSERT_GT(child, 0);
  EXPECT_EQ(call("one").payload, "one");
  kill(child, SIGSTOP);
  ASSERT_EQ(waitpid(child, nullptr, WUNTRACED), child);  // it has stopped
  std::thread killer([child] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    kill(child, SIGKILL);
  });
  EXPECT_EQ(call("two", {.timeout = 5}).why, ECONNRESET);
  killer.join();
  kill_process(child);
}

void on_alarm(int) {}

TEST(MessageClient, SignalsNeitherEndNorLengthenTheWait) {
  const private_dir dir;
  fake_manager manager(dir.path);
  call("connect");
  manager.add_fault({fault_kind::delay, -1, 1, 300});
  manager.add_fault({fault_kind::hang, -1, 1, 0});
  struct sigaction action = {};
  struct sigaction before;
  action.sa_handler = on_alarm;
  sigaction(SIGALRM, &action, &before);
  const itimerval often = {{0, 5000}, {0, 5000}};
  const itimerval never = {};
  setitimer(ITIMER_REAL, &often, nullptr);
  const call_result delayed = call("delayed");
  call_result hung;
  const long waited = took_ms([&] { hung = call("hung"); });
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &before, nullptr);
  EXPECT_EQ(delayed.payload, "delayed");
  EXPECT_EQ(hung.why, ETIMEDOUT);
  EXPECT_GE(waited, 990);
  EXPECT_LT(waited, 1500);
}

TEST(MessageClient, ForkedChildDoesNotTakeItsParentsAnswers) {
  const private_dir dir;
  fake_manager manager(dir.path);
  call("parent");
  const pid_t child = fork();
  if (child == 0) {
    _exit(call("child").payload == "child" ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(call("parent").payload, "parent");
  EXPECT_EQ(manager.counters().connections, 2U);
}

TEST(MessageClient, AnotherRunDirectoryMeansAnotherManager) {
  const private_dir first;
  fake_manager one(first.path);
  call("one");
  const private_dir second;
  fake_manager two(second.path);
  call("two");
  EXPECT_EQ(one.seen().size(), 1U);
  EXPECT_EQ(two.seen().size(), 1U);
}

TEST(MessageClient, RunDirectoryThatCannotHoldASocketIsRefused) {
  const private_dir dir;
  EXPECT_EQ(platform_set_run_dir(std::string(100, 'd').c_str()), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_EQ(platform_run_dir(), dir.path);
}

// A receiver that gives up a connection takes nothing more from it: what is sent in that moment goes to the next one.
TEST(MessageClient, ARequestThatTheConnectionDidNotTakeGoesToTheNextOne) {
  const private_dir dir;
  const int listener = local_socket_listen((dir.path + "/vsan-manager.sock").c_str());
  ASSERT_GE(listener, 0);
  std::thread receiver([&] {
    const auto serve_one = [&](bool gives_up) {
      pollfd polled = {listener, POLLIN, 0};
      poll(&polled, 1, 5000);
      const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      uint8_t frame[256];
      const ssize_t got = recv(fd, frame, sizeof frame, 0);
      frame[6] = 0, frame[7] = kMessageIsAnswer;
      send(fd, frame, static_cast<size_t>(got), MSG_NOSIGNAL);
      if (gives_up) {
        shutdown(fd, SHUT_RD);
      }
      return fd;
    };
    const int first = serve_one(true);
    const int second = serve_one(false);
    close(first);
    close(second);
  });
  EXPECT_EQ(call("a").payload, "a");
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(call("b").payload, "b");
  receiver.join();
  close(listener);
}

}  // namespace
