// Which pages a client answers from, and which it does not trust: then the manager is asked, as ever.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/futex.h>
#include <signal.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <optional>
#include <thread>

#include "client_call.h"
#include "fake_manager.h"
#include "local_socket.h"
#include "monotonic_clock.h"
#include "platform/cmi.h"
#include "private_dir.h"
#include "published_page.h"
#include "requests.h"
#include "switchplatform/published_change.h"

namespace {

constexpr int kAllSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_FUTURE_WRITE;
constexpr uint32_t kAnsweredAll = kAnsweredVsanManager | kAnsweredIdentity | kAnsweredPortManager;
constexpr uint32_t kPublishedCount = 7;  // VSANs, as the page has it
constexpr uint32_t kAskedCount = 9;      // as the manager has it

// A page like a living manager's, handed out to each who connects by a thread of its own.
struct fake_publisher {
  explicit fake_publisher(const std::string &run_dir, int seals = kAllSeals, off_t size = sizeof(published_page)) {
    memory = memfd_create("fake-published", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    EXPECT_EQ(ftruncate(memory, size), 0);
    page = static_cast<published_page *>(
        mmap(nullptr, sizeof(published_page), PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0));
    page->magic = kPublishedMagic;
    page->version = kPublishedVersion;
    page->size = sizeof(published_page);
    page->owner[0] = static_cast<uint32_t>(gettid());
    page->answered = kAnsweredAll;
    page->settings.vsans = kPublishedCount;
    EXPECT_EQ(fcntl(memory, F_ADD_SEALS, seals), 0);
    listener = local_socket_listen((run_dir + "/published.sock").c_str());
    EXPECT_GE(listener, 0);
    thread = std::thread([this] { run(); });
  }
  ~fake_publisher() {
    over = true;
    thread.join();
    close(listener);
    close(memory);
    munmap(page, sizeof(published_page));
  }
  fake_publisher(const fake_publisher &) = delete;
  fake_publisher &operator=(const fake_publisher &) = delete;

  void run() {
    while (!over) {
      if (beating) {
        page->beat = monotonic_coarse_ms();
      }
      if (const int peer = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC); peer >= 0) {
        hand_over(peer);
        ++asked;
        close(peer);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  void hand_over(int peer) const {
    char byte = 0;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    iovec part = {&byte, 1};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = sends_memory ? control : nullptr;
    message.msg_controllen = sends_memory ? sizeof control : 0;
    if (cmsghdr *sent = CMSG_FIRSTHDR(&message); sent != nullptr) {
      sent->cmsg_level = SOL_SOCKET;
      sent->cmsg_type = SCM_RIGHTS;
      sent->cmsg_len = CMSG_LEN(sizeof memory);
      memcpy(CMSG_DATA(sent), &memory, sizeof memory);
    }
    sendmsg(peer, &message, MSG_NOSIGNAL);
  }

  int memory;
  int listener;
  published_page *page;
  std::atomic<bool> over = false;
  std::atomic<bool> beating = true;
  std::atomic<int> asked = 0;
  bool sends_memory = true;
  std::thread thread;
};

// A manager that counts, and a page that says otherwise, so that an answer tells where it is from.
struct PublishedMemory : testing::Test {
  const private_dir dir;
  std::optional<fake_manager> manager;

  void SetUp() override { start_manager(); }
  void start_manager() {
    manager.emplace(dir.path);
    manager->answer = [](const message_request &, message_reply &reply) { reply.payload = {0, 0, 0, kAskedCount}; };
  }
  static uint32_t count() {
    void *response = nullptr;
    uint32_t size = 4;
    const int status = cmi_req_resp(kOpVsanNumber, kMsgGet, nullptr, &response, &size, nullptr, nullptr,
                                    kServiceVsanManager, mts_response_q, 1);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(size, 4U);
    const uint32_t answered = response == nullptr ? 0 : static_cast<uint8_t *>(response)[3];
    free(response);
    return answered;
  }
  // Whether reads come from the page, after as many as a client makes before it looks for one, more than once.
  static bool from_page() {
    for (int i = 0; i < 40; ++i) {
      if (count() == kPublishedCount) {
        return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(60));
    }
    return false;
  }
  // Whether `holds` does within ten seconds: a busy machine takes its time.
  static bool is_soon(const std::function<bool()> &holds) {
    for (int i = 0; i < 1000 && !holds(); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return holds();
  }
  // Whether the client asks for the page, and goes on asking the manager all the same.
  static bool is_refused(const fake_publisher &publisher) {
    is_soon([&] { return count() != kAskedCount || publisher.asked > 0; });
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(count(), kAskedCount);
    }
    return publisher.asked > 0;
  }
};

TEST_F(PublishedMemory, OfTheConnectedProcessIsAnsweredFromAfterSomeReads) {
  const fake_publisher publisher(dir.path);
  EXPECT_EQ(count(), kAskedCount);
  EXPECT_TRUE(from_page());
  const auto requests = manager->counters().requests;
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(count(), kPublishedCount);
  }
  EXPECT_EQ(manager->counters().requests, requests);
  EXPECT_EQ(publisher.asked, 1);
}

TEST_F(PublishedMemory, IsNotAnsweredFromWhileItsOwnerIsDead) {
  fake_publisher publisher(dir.path);
  ASSERT_TRUE(from_page());
  for (const uint32_t dead : {0U, uint32_t{FUTEX_OWNER_DIED}, FUTEX_OWNER_DIED | 77U}) {
    publisher.page->owner[0] = dead;
    EXPECT_EQ(count(), kAskedCount) << dead;
  }
  publisher.page->owner[0] = 77;
  EXPECT_EQ(count(), kPublishedCount);
}

TEST_F(PublishedMemory, IsNotAnsweredFromAHundredMillisecondsAfterTheLastBeat) {
  fake_publisher publisher(dir.path);
  ASSERT_TRUE(from_page());
  publisher.beating = false;
  std::this_thread::sleep_for(std::chrono::milliseconds(110));
  EXPECT_EQ(count(), kAskedCount);
  publisher.beating = true;
  EXPECT_TRUE(from_page());
}

TEST_F(PublishedMemory, WithABeatOfAnotherMachinesClockIsNotAnsweredFrom) {
  fake_publisher publisher(dir.path);
  ASSERT_TRUE(from_page());
  publisher.beating = false;
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  publisher.page->beat = monotonic_coarse_ms() + 5000;
  EXPECT_EQ(count(), kAskedCount);
}

TEST_F(PublishedMemory, IsNotAnsweredFromForAServiceThatItTakesOut) {
  fake_publisher publisher(dir.path);
  ASSERT_TRUE(from_page());
  publisher.page->answered = kAnsweredIdentity | kAnsweredPortManager;
  EXPECT_EQ(count(), kAskedCount);
  publisher.page->answered = kAnsweredAll;
  EXPECT_EQ(count(), kPublishedCount);
}

TEST_F(PublishedMemory, TellsOfAChangeWithoutAnExchange) {
  fake_publisher publisher(dir.path);
  uint64_t first = 0;
  uint64_t later = 0;
  EXPECT_EQ(platform_published_change(&first), -1);  // no page yet
  ASSERT_TRUE(from_page());
  const auto requests = manager->counters().requests;
  publisher.beating = false;  // idle or hung: what was published is what there is
  ASSERT_EQ(platform_published_change(&first), 0);
  EXPECT_EQ(platform_published_change(&later), 0);
  EXPECT_EQ(later, first);
  publisher.page->sequence = 1;
  EXPECT_EQ(platform_published_change(&later), -1);
  publisher.page->sequence = 2;
  EXPECT_EQ(platform_published_change(&later), 0);
  EXPECT_NE(later, first);
  publisher.page->owner[0] = FUTEX_OWNER_DIED | 77U;
  EXPECT_EQ(platform_published_change(&later), -1);
  EXPECT_EQ(manager->counters().requests, requests);
}

TEST_F(PublishedMemory, InTheMiddleOfAChangeIsNotWaitedFor) {
  fake_publisher publisher(dir.path);
  ASSERT_TRUE(from_page());
  publisher.page->sequence = 1;
  EXPECT_LT(took_ms([] { EXPECT_EQ(count(), kAskedCount); }), 500);  // an exchange's time, on any machine
  publisher.page->sequence = 2;
  EXPECT_EQ(count(), kPublishedCount);
}

TEST_F(PublishedMemory, OfAnotherVersionSizeOrByteOrderIsNotAnsweredFrom) {
  const std::function<void(published_page &)> foreign[] = {
      [](published_page &page) { page.version = kPublishedVersion + 1; },
      [](published_page &page) { page.size += 4; },
      [](published_page &page) { page.magic = __builtin_bswap32(kPublishedMagic); },
  };
  for (const auto &change : foreign) {
    const fake_publisher publisher(dir.path);
    change(*publisher.page);
    EXPECT_TRUE(is_refused(publisher));
  }
}

TEST_F(PublishedMemory, ThatCouldBeCutOrIsTooShortIsNotAnsweredFrom) {
  {
    const fake_publisher publisher(dir.path, F_SEAL_GROW);
    EXPECT_TRUE(is_refused(publisher));
  }
  const fake_publisher publisher(dir.path, kAllSeals, sizeof(published_page) / 4096 * 4096);
  EXPECT_TRUE(is_refused(publisher));
}

// Such as that of a switchd whose run directory another one took.
TEST_F(PublishedMemory, OfAnotherProcessThanTheConnectedOneIsNotAnsweredFrom) {
  void *shared = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  auto *connections = static_cast<std::atomic<int> *>(shared);
  manager.reset();  // the child has to make threads: what a thread of ours held when it was forked, it would wait for
  const pid_t other = fork();
  ASSERT_GE(other, 0);
  if (other == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const fake_publisher publisher(dir.path);
    for (;;) {
      *connections = publisher.asked.load();
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  start_manager();
  EXPECT_TRUE(is_soon([&] { return access((dir.path + "/published.sock").c_str(), F_OK) == 0; }));
  EXPECT_FALSE(from_page());
  EXPECT_TRUE(is_soon([&] { return *connections > 0; })) << "nobody looked for the page";
  kill(other, SIGKILL);
  waitpid(other, nullptr, 0);
  munmap(shared, sizeof(std::atomic<int>));
}

TEST_F(PublishedMemory, IsNotThereWhenTheMessageBringsNone) {
  fake_publisher publisher(dir.path);
  publisher.sends_memory = false;
  EXPECT_TRUE(is_refused(publisher));
}

TEST_F(PublishedMemory, IsLookedForOnceASecondAtMost) {
  fake_publisher publisher(dir.path);
  publisher.sends_memory = false;
  ASSERT_TRUE(is_refused(publisher));
  publisher.asked = 0;
  const long took = took_ms([] {
    for (int i = 0; i < 400; ++i) {
      count();
    }
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_LE(publisher.asked, 2 + took / 1000);
}

// A listener that is connected and sends nothing costs some milliseconds a second, and no read its answer.
TEST_F(PublishedMemory, ThatNobodySendsHoldsNoReadUp) {
  const int listener = local_socket_listen((dir.path + "/published.sock").c_str());
  ASSERT_GE(listener, 0);
  const long took = took_ms([] {
    for (int i = 0; i < 400; ++i) {
      EXPECT_EQ(count(), kAskedCount);
    }
  });
  EXPECT_LT(took, 900) << "fifty waits of 20 ms would be a second";
  close(listener);
}

TEST_F(PublishedMemory, WritesAreNeverAnsweredFromIt) {
  const fake_publisher publisher(dir.path);
  ASSERT_TRUE(from_page());
  const auto requests = manager->counters().requests;
  call(std::string(4, '\1'), {.opcode = kOpInorderDelivery, .wants_payload = false});
  EXPECT_EQ(manager->counters().requests, requests + 1);
}

// Who closes the connection may be another one when it is made again: the page is that of the process that is
// connected.
TEST_F(PublishedMemory, IsNotAnsweredFromWhileThereIsNoConnection) {
  const fake_publisher publisher(dir.path);
  ASSERT_TRUE(from_page());
  manager->answer = [](const message_request &, message_reply &reply) { reply.payload = {0, 0, 0, kAskedCount}; };
  manager->add_fault({fault_kind::drop, kOpInorderDelivery, 1, 0});
  EXPECT_EQ(call(std::string(4, '\1'), {.opcode = kOpInorderDelivery, .wants_payload = false}).why, ECONNRESET);
  EXPECT_EQ(count(), kAskedCount);
  EXPECT_EQ(count(), kPublishedCount);
}

}  // namespace
