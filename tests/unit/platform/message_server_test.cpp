#include <event2/event.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "client_call.h"
#include "fake_manager.h"
#include "message_frame.h"
#include "private_dir.h"
#include "raw_client.h"
#include "statuses.h"

namespace {

void no_answer(void *, const message_request &, message_reply &) {}

TEST(MessageServer, SocketIsForOwnerAndGroupAndGoesWithTheServer) {
  const private_dir dir;
  struct stat found;
  {
    fake_manager manager(dir.path);
    ASSERT_EQ(stat((dir.path + "/vsan-manager.sock").c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0660U);
    EXPECT_TRUE(S_ISSOCK(found.st_mode));
  }
  EXPECT_NE(stat((dir.path + "/vsan-manager.sock").c_str(), &found), 0);
}

TEST(MessageServer, AnAnswerThatComesLaterHoldsNobodyElseUp) {
  const private_dir dir;
  fake_manager manager(dir.path);
  uint64_t connection = 0, number = 0;
  std::atomic<bool> came = false;
  manager.answer = [&](const message_request &request, message_reply &reply) {
    reply.later = request.payload.size() == 5;  // "later"
    if (reply.later) {
      connection = request.connection;
      number = request.number;
      came = true;
    }
  };
  std::thread waits([] { EXPECT_EQ(call("later", {.opcode = 1}).status, 7); });
  while (!came) {
    usleep(1000);
  }
  manager.in_loop([&] {
    EXPECT_TRUE(message_server_is_awaited(manager.server, connection, number));
    EXPECT_FALSE(message_server_is_awaited(manager.server, connection, number + 1));
    message_server_answer(manager.server, connection, number, {7, {}});
    EXPECT_FALSE(message_server_is_awaited(manager.server, connection, number));
    message_server_answer(manager.server, connection, number, {8, {}});  // nobody waits for it
  });
  waits.join();
  EXPECT_EQ(manager.counters().refused, 1U);
}

TEST(MessageServer, SecondServerIsRefusedWhileTheFirstLives) {
  const private_dir dir;
  fake_manager manager(dir.path);
  event_base *base = event_base_new();
  EXPECT_EQ(message_server_open(base, dir.path.c_str(), 15, no_answer, nullptr), nullptr);
  EXPECT_EQ(errno, EADDRINUSE);
  EXPECT_EQ(call("still there").payload, "still there");
  event_base_free(base);
}

TEST(MessageServer, UnknownServiceAndMissingDirectoryAreRefused) {
  const private_dir dir;
  event_base *base = event_base_new();
  EXPECT_EQ(message_server_open(base, dir.path.c_str(), 99, no_answer, nullptr), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(message_server_open(base, (dir.path + "/none").c_str(), 15, no_answer, nullptr), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(message_server_open(base, std::string(200, 'd').c_str(), 15, no_answer, nullptr), nullptr);
  EXPECT_EQ(errno, ENAMETOOLONG);
  event_base_free(base);
}

TEST(MessageServer, CloseLeavesASuccessorsSocketAlone) {
  const private_dir dir;
  const std::string path = dir.path + "/vsan-manager.sock";
  auto first = std::make_unique<fake_manager>(dir.path);
  ASSERT_EQ(rename(path.c_str(), (path + ".old").c_str()), 0);
  fake_manager second(dir.path);
  first.reset();
  EXPECT_EQ(call("second").payload, "second");
  EXPECT_EQ(second.seen().size(), 1U);
}

TEST(MessageServer, CountersTellRequestsAndRefusals) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.answer = [](const message_request &request, message_reply &reply) {
    reply.status = request.payload.empty() ? 0x40490002 : 0;
  };
  call("x");
  call("");
  call("y");
  const message_counters counters = manager.counters();
  EXPECT_EQ(counters.requests, 3U);
  EXPECT_EQ(counters.refused, 1U);
  EXPECT_EQ(counters.connections, 1U);
  EXPECT_EQ(counters.malformed, 0U);
}

TEST(MessageServer, AnswerLargerThanAMessageBecomesAStatus) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.answer = [](const message_request &, message_reply &reply) { reply.payload.resize(64 * 1024 - 36 + 1); };
  const call_result result = call("x");
  EXPECT_EQ(result.status, kStatusAnswerTooLarge);
  EXPECT_FALSE(result.payload);
}

TEST(MessageServer, FirstMatchingFaultIsAppliedAndCountedDown) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::status, 124, -1, 0x111});
  manager.add_fault({fault_kind::status, -1, 2, 0x222});
  manager.add_fault({fault_kind::status, 149, 1, 0x333});
  EXPECT_EQ(call("x", {.opcode = 149}).status, 0x222);
  EXPECT_EQ(call("x", {.opcode = 124}).status, 0x111);
  EXPECT_EQ(call("x", {.opcode = 149}).status, 0x222);
  EXPECT_EQ(call("x", {.opcode = 149}).status, 0x333);
  EXPECT_EQ(call("x", {.opcode = 149}).status, 0);
  EXPECT_EQ(manager.seen().size(), 1U);  // a request that gets a fault's status is not handled
  std::vector<message_fault> left;
  manager.in_loop([&] { left = message_server_faults(manager.server); });
  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(left[0].opcode, 124);
  manager.in_loop([&] { message_server_clear_faults(manager.server); });
  EXPECT_EQ(call("x", {.opcode = 124}).status, 0);
}

TEST(MessageServer, DelayedAnswerHoldsUpNoOtherRequest) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::delay, 124, 1, 700});
  const int slow = connect_raw(dir.path);
  send_raw(slow, request_frame(1, 124, "slow"));
  const long quick = took_ms([&] { EXPECT_EQ(call("quick").payload, "quick"); });
  EXPECT_LT(quick, 400);
  EXPECT_EQ(receive_raw(slow).payload, "slow");
  close(slow);
}

TEST(MessageServer, ConnectionClosedUnderADelayedAnswerIsForgotten) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::delay, 124, 1, 200});
  const int fd = connect_raw(dir.path);
  send_raw(fd, request_frame(1, 124, "gone"));
  call("in between");
  close(fd);
  usleep(400'000);
  EXPECT_EQ(call("still there").payload, "still there");
}

TEST(MessageServer, PeerThatDoesNotReadIsNotReadFromAndLosesNothing) {
  const private_dir dir;
  fake_manager manager(dir.path);
  const int fd = connect_raw(dir.path);
  fcntl(fd, F_SETFL, O_NONBLOCK);
  const std::string payload(8000, 'p');
  uint32_t sent = 0;
  for (int patience = 0; patience < 100; ++patience) {
    while (send_raw(fd, request_frame(sent + 1, 149, payload))) {
      ++sent, patience = 0;
    }
    usleep(2000);
  }
  ASSERT_GT(sent, 20U);
  EXPECT_LT(sent, 1000U);  // the peer's own socket buffers, and what the server may hold
  EXPECT_EQ(call("others are served").payload, "others are served");
  const clock_t busy_before = clock();
  usleep(300'000);
  EXPECT_LT(clock() - busy_before, CLOCKS_PER_SEC / 10);  // the server waits, it does not spin
  fcntl(fd, F_SETFL, 0);
  for (uint32_t number = 1; number <= sent; ++number) {
    const raw_answer answer = receive_raw(fd);
    ASSERT_EQ(answer.header.sequence, number);
    ASSERT_EQ(answer.payload, payload);
  }
  close(fd);
}

constexpr int64_t kNever = 3'600'000;  // milliseconds

void limit(fake_manager &manager, const message_limits &limits) {
  manager.in_loop([&] { message_server_limit(manager.server, limits); });
}

bool is_closed(int fd) {
  char byte;
  return recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

bool is_closed_soon(int fd) {
  for (int patience = 0; patience < 500 && !is_closed(fd); ++patience) {
    usleep(10'000);
  }
  return is_closed(fd);
}

TEST(MessageServer, IdleConnectionIsClosedAndTheClientDoesNotNotice) {
  const private_dir dir;
  fake_manager manager(dir.path);
  EXPECT_EQ(call("first").payload, "first");
  const int fd = connect_raw(dir.path);
  send_raw(fd, request_frame(1, 149, "x"));
  EXPECT_EQ(receive_raw(fd).payload, "x");
  EXPECT_FALSE(is_closed(fd));
  limit(manager, {.idle = 100, .gives_way = kNever});
  EXPECT_TRUE(is_closed_soon(fd));
  EXPECT_EQ(call("second").payload, "second");
  close(fd);
}

// The numbers of the connections that have ended.
std::vector<uint64_t> ended;

TEST(MessageServer, TheOwnerOfAConnectionLearnsOfItsEndByItsNumber) {
  const private_dir dir;
  fake_manager manager(dir.path);
  std::vector<uint64_t> asked;
  ended.clear();
  manager.in_loop([&] {
    message_server_on_end(manager.server, [](void *, uint64_t connection) { ended.push_back(connection); });
    manager.answer = [&](const message_request &request, message_reply &) { asked.push_back(request.connection); };
  });
  const int first = connect_raw(dir.path), second = connect_raw(dir.path);
  for (const int fd : {first, second, first}) {
    send_raw(fd, request_frame(1, 149, "x"));
    receive_raw(fd);
  }
  EXPECT_EQ(asked[0], asked[2]);
  EXPECT_NE(asked[0], asked[1]);
  const auto ends = [&] {
    size_t count = 0;
    manager.in_loop([&] { count = ended.size(); });
    return count;
  };
  EXPECT_EQ(ends(), 0U);
  close(second);
  for (int patience = 0; patience < 500 && ends() == 0; ++patience) {
    usleep(10'000);
  }
  EXPECT_EQ(ended, (std::vector<uint64_t>{asked[1]}));
  limit(manager, {.idle = 100, .gives_way = kNever});
  EXPECT_TRUE(is_closed_soon(first));
  EXPECT_EQ(ends(), 2U);
  EXPECT_EQ(ended, (std::vector<uint64_t>{asked[1], asked[0]}));
  close(first);
}

TEST(MessageServer, ConnectionWithAnAnswerOutstandingIsNotIdle) {
  const private_dir dir;
  fake_manager manager(dir.path);
  manager.add_fault({fault_kind::delay, 124, 1, 1200});
  const int fd = connect_raw(dir.path);
  send_raw(fd, request_frame(1, 124, "slow"));
  limit(manager, {.idle = 100, .gives_way = 100});
  EXPECT_EQ(receive_raw(fd).payload, "slow");
  EXPECT_TRUE(is_closed_soon(fd));
  close(fd);
}

TEST(MessageServer, RequestThatArrivesJustBeforeItsConnectionIsClosedIsAnswered) {
  const private_dir dir;
  fake_manager manager(dir.path);
  const int fd = connect_raw(dir.path);
  send_raw(fd, request_frame(1, 149, "first"));
  EXPECT_EQ(receive_raw(fd).payload, "first");
  manager.in_loop([&] {
    send_raw(fd, request_frame(2, 149, "in flight"));
    message_server_limit(manager.server, {.idle = 1, .gives_way = kNever});
    usleep(20'000);  // the sweep is due together with the request
  });
  EXPECT_EQ(receive_raw(fd).payload, "in flight");
  EXPECT_TRUE(is_closed_soon(fd));
  close(fd);
}

TEST(MessageServer, LongestIdleConnectionGivesWayWhenAllPlacesAreTaken) {
  const private_dir dir;
  fake_manager manager(dir.path);
  std::vector<int> open;
  for (int i = 0; i < 256; ++i) {
    open.push_back(connect_raw(dir.path));
    send_raw(open.back(), request_frame(1, 149, "x"));
    ASSERT_EQ(receive_raw(open.back()).payload, "x");
  }
  usleep(20'000);
  send_raw(open[0], request_frame(2, 149, "used again"));
  ASSERT_EQ(receive_raw(open[0]).payload, "used again");
  limit(manager, {.idle = kNever, .gives_way = 10});
  usleep(20'000);
  EXPECT_EQ(call("room").payload, "room");
  EXPECT_TRUE(is_closed(open[1]));
  EXPECT_FALSE(is_closed(open[0]));
  EXPECT_FALSE(is_closed(open[2]));
  EXPECT_EQ(manager.counters().peers_refused, 0U);
  for (const int fd : open) {
    close(fd);
  }
}

TEST(MessageServer, ConnectionsAreBounded) {
  const private_dir dir;
  fake_manager manager(dir.path);
  limit(manager, {.idle = kNever, .gives_way = kNever});
  std::vector<int> open;
  for (int i = 0; i < 256; ++i) {
    open.push_back(connect_raw(dir.path));
    send_raw(open.back(), request_frame(1, 149, "x"));
    ASSERT_EQ(receive_raw(open.back()).payload, "x");
  }
  const int one_more = connect_raw(dir.path);
  char byte;
  EXPECT_EQ(recv(one_more, &byte, 1, 0), 0);
  close(one_more);
  EXPECT_EQ(manager.counters().peers_refused, 1U);
  for (const int fd : open) {
    close(fd);
  }
  call_result again;
  for (int patience = 0; patience < 200 && !again.payload; ++patience) {
    again = call("room again");
    usleep(10'000);
  }
  EXPECT_EQ(again.payload, "room again");
}

TEST(MessageServer, PeersDoNotFillTheLogTheRestIsCounted) {
  constexpr size_t kTimes = 2000;
  const private_dir dir;
  fake_manager manager(dir.path);
  const int fd = connect_raw(dir.path);
  for (uint32_t i = 0; i < kTimes; ++i) {
    ASSERT_TRUE(send_raw(fd, request_frame(i, 149, "x") + "too long"));
    ASSERT_EQ(receive_raw(fd).header.status, static_cast<uint32_t>(kStatusMalformed));
  }
  const auto reports = [&] {
    const std::lock_guard lock(manager.mutex);
    return manager.reports;
  };
  EXPECT_EQ(manager.counters().malformed, kTimes);
  EXPECT_GE(reports().size(), 1U);
  EXPECT_LE(reports().size(), 200U);  // twenty at once, and some for the seconds that a busy machine takes
  sleep(2);
  send_raw(fd, request_frame(1, 149, "x") + "too long");
  ASSERT_TRUE(receive_raw(fd).came);
  const std::vector<std::string> after = reports();
  EXPECT_TRUE(std::ranges::any_of(after, [](const std::string &line) {
    return line.find("lines like the next one were left out") != std::string::npos;
  }));
  close(fd);
}

// Runs `work` in a child with another user's and group's ids; returns its exit status.
int as_nobody(const std::string &run_dir, int (*work)(const std::string &), gid_t supplementary) {
  const pid_t child = fork();
  if (child == 0) {
    const gid_t groups[] = {supplementary};
    if (setgroups(supplementary == 65534 ? 0 : 1, groups) != 0 || setgid(65534) != 0 || setuid(65534) != 0) {
      _exit(90);
    }
    _exit(work(run_dir));
  }
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 91;
}

int ask(const std::string &run_dir) {
  const int fd = connect_raw(run_dir);
  if (fd < 0) {
    return 2;
  }
  send_raw(fd, request_frame(1, 149, "x"));
  return receive_raw(fd).payload == "x" ? 0 : 1;
}

TEST(MessageServer, PeerOfAnotherUserIsRefusedEvenWhenTheFileLetsItIn) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "needs root to become another user";
  }
  const private_dir dir;
  chmod(dir.path.c_str(), 0755);
  fake_manager manager(dir.path);
  EXPECT_EQ(as_nobody(dir.path, ask, 65534), 2);  // the file's mode
  chmod((dir.path + "/vsan-manager.sock").c_str(), 0666);
  EXPECT_EQ(as_nobody(dir.path, ask, 65534), 1);  // its credentials
  EXPECT_EQ(manager.counters().peers_refused, 1U);
  EXPECT_TRUE(manager.seen().empty());
}

TEST(MessageServer, MemberOfTheServersGroupIsServed) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "needs root to become another user";
  }
  const private_dir dir;
  chmod(dir.path.c_str(), 0755);
  fake_manager manager(dir.path);
  EXPECT_EQ(as_nobody(dir.path, ask, getegid()), 0);
  EXPECT_EQ(manager.counters().peers_refused, 0U);
}

}  // namespace
