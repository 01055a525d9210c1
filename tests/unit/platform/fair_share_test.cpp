// Who makes room when all places of a service are taken.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "client_call.h"
#include "fake_manager.h"
#include "message_server_internal.h"
#include "private_dir.h"
#include "raw_client.h"

namespace {

constexpr int kPlaces = 256;
constexpr int64_t kNever = 3'600'000;  // milliseconds

// A process of its own that opens connections when it is told to. Made before the manager, whose thread must not be
// forked.
struct greedy_process {
  explicit greedy_process(const std::string &run_dir);
  ~greedy_process();
  // Opens so many more, each of which asks once, as far as it is let. `reads`: takes the answers, too.
  void open(int count, bool reads);
  // How many of its connections stand.
  int standing() { return ask({0, false}); }

  struct order {
    int count;
    bool reads;
  };
  int ask(const order &given);
  int orders[2] = {-1, -1};
  int answers[2] = {-1, -1};
  pid_t pid = -1;
};

int standing_of(const std::vector<int> &fds) {
  int standing = 0;
  for (const int fd : fds) {
    char byte;
    const ssize_t got = recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    standing += got > 0 || (got < 0 && errno == EAGAIN) ? 1 : 0;
  }
  return standing;
}

[[noreturn]] void obey(const std::string &run_dir, int orders, int answers) {
  std::vector<int> fds;
  greedy_process::order given;
  while (read(orders, &given, sizeof given) == sizeof given) {
    for (int i = 0; i < given.count; ++i) {
      const int fd = connect_raw(run_dir);
      fds.push_back(fd);
      send_raw(fd, request_frame(1, 149, "x"));
      if (given.reads) {
        receive_raw(fd);
      }
    }
    const int standing = standing_of(fds);
    if (write(answers, &standing, sizeof standing) != sizeof standing) {
      break;
    }
  }
  _exit(0);
}

greedy_process::greedy_process(const std::string &run_dir) {
  EXPECT_EQ(pipe(orders), 0);
  EXPECT_EQ(pipe(answers), 0);
  pid = fork();
  if (pid == 0) {
    close(orders[1]);
    close(answers[0]);
    obey(run_dir, orders[0], answers[1]);
  }
  close(orders[0]);
  close(answers[1]);
}

greedy_process::~greedy_process() {
  close(orders[1]);
  close(answers[0]);
  waitpid(pid, nullptr, 0);
}

int greedy_process::ask(const order &given) {
  int standing = -1;
  EXPECT_EQ(write(orders[1], &given, sizeof given), ssize_t{sizeof given});
  EXPECT_EQ(read(answers[0], &standing, sizeof standing), ssize_t{sizeof standing});
  return standing;
}

void greedy_process::open(int count, bool reads) {
  ask({count, reads});
}

void limit(fake_manager &manager, const message_limits &limits) {
  manager.in_loop([&] { message_server_limit(manager.server, limits); });
}

TEST(FairShare, AProcessThatHoldsAllPlacesLosesOneToAnother) {
  const private_dir dir;
  greedy_process greedy(dir.path);
  fake_manager manager(dir.path);
  limit(manager, {.idle = kNever, .gives_way = kNever});
  greedy.open(kPlaces, true);
  ASSERT_EQ(greedy.standing(), kPlaces);
  EXPECT_EQ(call("one of us").payload, "one of us");
  EXPECT_EQ(greedy.standing(), kPlaces - 1);
  EXPECT_EQ(manager.counters().peers_refused, 0U);
}

TEST(FairShare, AProcessThatHoldsMostTakesNoPlaceOfOthersThoughTheyAreIdle) {
  const private_dir dir;
  greedy_process greedy(dir.path);
  fake_manager manager(dir.path);
  const int quiet = connect_raw(dir.path);
  send_raw(quiet, request_frame(1, 149, "x"));
  ASSERT_EQ(receive_raw(quiet).payload, "x");
  limit(manager, {.idle = kNever, .gives_way = 10});
  greedy.open(kPlaces - 1, true);
  usleep(20'000);
  greedy.open(5, true);
  EXPECT_EQ(greedy.standing(), kPlaces - 1);
  send_raw(quiet, request_frame(2, 149, "still here"));
  EXPECT_EQ(receive_raw(quiet).payload, "still here");
  close(quiet);
}

TEST(FairShare, AnswersThatAreNotTakenAreNoReasonToStay) {
  const private_dir dir;
  greedy_process greedy(dir.path);
  fake_manager manager(dir.path);
  limit(manager, {.idle = kNever, .gives_way = kNever});
  manager.add_fault({fault_kind::delay, 149, kPlaces, 600'000});
  greedy.open(kPlaces, false);
  for (int patience = 0; patience < 500 && manager.counters().requests < kPlaces; ++patience) {
    usleep(10'000);
  }
  ASSERT_EQ(manager.counters().requests, uint64_t{kPlaces});
  EXPECT_EQ(call("one of us").payload, "one of us");
  EXPECT_EQ(greedy.standing(), kPlaces - 1);
}

using holder = std::pair<uid_t, pid_t>;

// A service whose places are held by whom the test says; nothing gives way for being idle.
struct full_service {
  explicit full_service(const std::vector<holder> &holders);
  ~full_service();
  int standing() { return standing_of(ends); }

  private_dir dir;
  fake_manager manager{dir.path};
  std::vector<int> ends;
};

full_service::full_service(const std::vector<holder> &holders) {
  limit(manager, {.idle = kNever, .gives_way = kNever});
  manager.in_loop([&] {
    for (const auto &[uid, pid] : holders) {
      int pair[2];
      ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair), 0);
      ASSERT_TRUE(server_connection_add(manager.server, pair[0], uid, pid));
      ends.push_back(pair[1]);
    }
  });
}

full_service::~full_service() {
  for (const int end : ends) {
    close(end);
  }
}

// Processes of one user count together, so that many small ones take no more than a large one.
TEST(FairShare, AUserWhoseManyProcessesHoldAllPlacesLosesOneToAnotherUser) {
  std::vector<holder> holders;
  for (int i = 0; i < kPlaces; ++i) {
    holders.emplace_back(4711, 100000 + i);
  }
  full_service service(holders);
  EXPECT_EQ(call("of another user").payload, "of another user");
  EXPECT_EQ(service.standing(), kPlaces - 1);
}

TEST(FairShare, AmongUsersWhoHoldAlikeTheNewOnesOwnLargestProcessLosesOne) {
  std::vector<holder> holders(kPlaces / 2, {4711, 100000});
  holders.resize(kPlaces, {getuid(), 200000});
  full_service service(holders);
  EXPECT_EQ(call("one of us").payload, "one of us");
  EXPECT_EQ(service.standing(), kPlaces - 1);
}

TEST(FairShare, ProcessesOfContainersAreNotTakenForOne) {
  full_service service(std::vector<holder>(kPlaces, {getuid(), 0}));
  EXPECT_EQ(call("one more").payload, std::nullopt);
  EXPECT_EQ(service.standing(), kPlaces);
  limit(service.manager, {.idle = kNever, .gives_way = 10});
  usleep(20'000);
  EXPECT_EQ(call("after the idle").payload, "after the idle");
  EXPECT_EQ(service.standing(), kPlaces - 1);
}

TEST(FairShare, ARequestThatHasArrivedIsAnsweredFirst) {
  full_service service(std::vector<holder>(kPlaces, {4711, 100000}));
  const int asking = service.ends[0];
  const timeval patience = {2, 0};
  setsockopt(asking, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  service.manager.in_loop([&] {
    send_raw(asking, request_frame(1, 149, "in flight"));
    EXPECT_TRUE(message_server_make_room(service.manager.server, 4712, 1));
  });
  EXPECT_EQ(receive_raw(asking).payload, "in flight");
  EXPECT_FALSE(receive_raw(asking).came);
  EXPECT_EQ(service.standing(), kPlaces - 1);
}

}  // namespace
