// What is read off the published page is what the managers answer, after whatever change.
#include "published_page.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <random>
#include <thread>

#include "big_endian.h"
#include "distribution_records.h"
#include "distribution_service.h"
#include "port_manager.h"
#include "port_records.h"
#include "published/published_rows.h"
#include "published_reads.h"
#include "record_words.h"
#include "requests.h"
#include "statuses.h"
#include "switch_under_test.h"

namespace {

constexpr uint32_t kNoInterface = 0xFFFFFFFF;

// Checking every memory access costs a multiple.
#ifdef NDEBUG
constexpr int kReadsBesideAWriter = 1'000'000;
#else
constexpr int kReadsBesideAWriter = 100'000;
#endif

struct question {
  int service;
  int opcode;
  int msg_type;
  bytes payload;
};

message_handler handler_of(int service) {
  switch (service) {
    case kServiceVsanManager:
      return vsan_manager_handle;
    case kServiceIdentity:
      return identity_handle;
    default:
      return port_manager_handle;
  }
}

bytes pair_payload(uint32_t vsan, uint32_t interface) {
  return record_bytes(active_membership{vsan, interface, 0, {}});
}

std::vector<question> scalar_questions() {
  const auto latency = [](uint32_t type) { return record_bytes(vsanLatency{type, 0, 0}); };
  return {{kServiceVsanManager, kOpVsanNumber, kMsgGet, {}},
          {kServiceVsanManager, kOpTableLastChange, kMsgGet, {}},
          {kServiceVsanManager, kOpInterfaceNumber, kMsgGet, {}},
          {kServiceVsanManager, kOpInorderDelivery, kMsgGet, {}},
          {kServiceVsanManager, kOpLatency, kMsgGet, latency(kAttrSwitchLatency)},
          {kServiceVsanManager, kOpLatency, kMsgGet, latency(kAttrNetworkLatency)},
          {kServiceVsanManager, kOpLatency, kMsgGet, latency(3)},
          {kServiceIdentity, kOpSwitchWwn, kMsgGet, {}}};
}

// Every read that can be made of a VSAN's number, and of an interface's.
void add_vsan_questions(std::vector<question> &all, uint32_t vsan) {
  for (const int type : {kMsgGet, kMsgGetNext}) {
    all.push_back({kServiceVsanManager, kOpVsanRow, type, row_payload(vsan)});
    for (const uint32_t interface : {0U, 101U, 103U, 106U, kNoInterface}) {
      all.push_back({kServicePortManager, kOpActiveMembership, type, pair_payload(vsan, interface)});
    }
  }
  for (const int type : {kMsgGet, kMsgKdxGet}) {
    for (uint32_t key = 0; key <= kTimerFirst + kTimerKinds; ++key) {
      all.push_back({kServiceVsanManager, kOpFcTimer, type, timer_payload(key, 5, 1, 0, vsan)});
      all.push_back({kServiceVsanManager, kOpFcTimer, type, timer_payload(key, 0, 0, 1, vsan)});
    }
    all.push_back({kServiceVsanManager, kOpFcTimer, type, timer_payload(kTimerFirst, 0, 2, 0, vsan)});
    all.push_back({kServiceVsanManager, kOpFcTimer, type, timer_payload(kTimerFirst, 0, 1, 2, vsan)});
  }
}

std::vector<question> all_questions() {
  std::vector<question> all = scalar_questions();
  for (const uint32_t vsan : {0U,  1U,  2U,  9U,    10U,   20U,   21U,   30U,         31U,         32U,
                              63U, 64U, 95U, 4093U, 4094U, 4095U, 4096U, 0x80000000U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
    add_vsan_questions(all, vsan);
  }
  for (const uint32_t interface : {0U, 100U, 101U, 102U, 103U, 104U, 105U, 106U, 0x80000000U, kNoInterface}) {
    for (const int type : {kMsgGet, kMsgGetNext}) {
      all.push_back({kServiceVsanManager, kOpInterfaceVsan, type, interface_payload(interface, 77)});
      all.push_back(
          {kServicePortManager, kOpInterface, type, record_bytes(switch_interface{interface, 7, "not looked at"})});
    }
  }
  return all;
}

class Published : public switch_under_test {
 protected:
  void SetUp() override {
    switch_under_test::SetUp();
    page = std::make_unique<published_page>();
    publish_state(*page, managers.state, false);
    managers.published = page.get();
  }

  // One answer from the page beside the manager's. What the manager refuses as malformed is not answered from the page.
  void expect_same(const question &asked) {
    const read_request read = {asked.service, asked.opcode, asked.msg_type,
                               asked.payload.empty() ? nullptr : asked.payload.data(),
                               static_cast<uint32_t>(asked.payload.size())};
    ASSERT_NE(published_bit(read), 0U);
    const uint64_t malformed = managers.malformed;
    const message_reply expected = ask_of(handler_of(asked.service), asked.opcode, asked.msg_type, asked.payload);
    read_answer got = {};
    const bool answered = published_read(*page, read, &got);
    SCOPED_TRACE("opcode " + std::to_string(asked.opcode) + " type " + std::to_string(asked.msg_type));
    ASSERT_EQ(answered, managers.malformed == malformed);
    if (answered) {
      ASSERT_EQ(got.status, expected.status);
      const auto *payload = static_cast<const uint8_t *>(got.payload);
      ASSERT_EQ(bytes(payload, payload + got.size), expected.payload);
    }
    free(got.payload);
  }
  void expect_all_same() {
    for (const question &asked : questions) {
      expect_same(asked);
    }
    EXPECT_EQ(page->sequence.load() % 2, 0U);
  }

  int order(distribution_command command, uint32_t argument = 0) {
    return ask_of(distribution_handle, kOpDistribution, kMsgSet, record_bytes(distribution_order{command, argument}))
        .status;
  }
  int put_timer(uint32_t key, uint32_t value, uint32_t vsan) {
    const uint8_t own = vsan != 0 ? 1 : 0;
    return ask(kOpFcTimer, kMsgSet, timer_payload(key, value, own, 1, vsan)).status;
  }
  int move(uint32_t interface, uint32_t vsan) {
    return ask(kOpInterfaceVsan, kMsgSet, interface_payload(interface, vsan)).status;
  }
  int raise(uint32_t interface, bool up) {
    const switch_interface wanted = {interface, up ? 1U : 0U, {}};
    return ask_of(port_manager_handle, kOpInterface, kMsgSet, record_bytes(wanted)).status;
  }
  int make(uint32_t interface, uint32_t vsan, bool up) {
    const interface_definition row = {interface, vsan, up ? 1U : 0U, "made"};
    return ask_of(port_manager_handle, kOpInterfaceRow, kMsgSet, record_bytes(row)).status;
  }
  int remove(uint32_t interface) {
    return ask_of(port_manager_handle, kOpInterfaceRow, kMsgDelete,
                  record_bytes(interface_definition{interface, 0, 0, {}}))
        .status;
  }
  int rename(uint32_t interface, const std::string &name) {
    switch_interface wanted = {interface, 0, {}};
    std::ranges::copy(name, wanted.name);
    return ask_of(port_manager_handle, kOpInterfaceName, kMsgSet, record_bytes(wanted)).status;
  }
  void change_at_random(std::mt19937 &random);

  const std::vector<question> questions = all_questions();
  std::unique_ptr<published_page> page;
};

void Published::change_at_random(std::mt19937 &random) {
  static constexpr uint32_t kVsans[] = {1, 10, 20, 30, 31, 32, 64, 4093, 4094};
  const auto any = [&](uint32_t below) { return static_cast<uint32_t>(random() % below); };
  const uint32_t vsan = kVsans[any(std::size(kVsans))];
  const uint32_t interface = 101 + any(6);
  vsanEntry row = new_row(vsan, "v" + std::to_string(random() % 4 == 0 ? 7 : vsan));
  row.vsanAdminState = 1 + any(2);
  row.vsanMtu = 256 + any(1800);
  switch (any(16)) {
    case 0:
    case 1:
    case 2:
      set_row(row);
      break;
    case 3:
      delete_row(vsan);
      break;
    case 4:
    case 5:
      move(interface, vsan);
      break;
    case 6:
      raise(interface, random() % 2 == 0);
      break;
    case 7:
    case 8: {
      const uint32_t key = kTimerFirst + any(kTimerKinds);
      const timer_range &range = range_of_timer(key);
      put_timer(key, range.low + any(range.high - range.low), random() % 3 == 0 ? 0 : vsan);
      break;
    }
    case 9:
      ask(kOpLatency, kMsgSet, record_bytes(vsanLatency{kAttrSwitchLatency + any(2), any(60000), 0}));
      break;
    case 10:
      ask(kOpInorderDelivery, kMsgSet, words({1 + any(2)}));
      break;
    case 11:
      remove(interface);
      break;
    case 12:
    case 13:
      make(interface, vsan, random() % 2 == 0);
      break;
    case 14:
      rename(interface, "r" + std::to_string(interface));
      break;
    default:
      order(static_cast<distribution_command>(1 + any(7)), random() % 3 == 0 ? vsan : any(2));
  }
}

TEST_F(Published, AFirstPageAnswersAsTheManagersDo) {
  expect_all_same();
}

TEST_F(Published, FiveHundredRandomChangesAreAnsweredAsTheManagersAnswer) {
  std::mt19937 random(20'261);
  for (int i = 0; i < 500 && !HasFatalFailure(); ++i) {
    SCOPED_TRACE("change " + std::to_string(i));
    change_at_random(random);
    expect_all_same();
  }
}

TEST_F(Published, APageMadeLaterIsTheSameAsOneThatWasKept) {
  std::mt19937 random(20'262);
  for (int i = 0; i < 500; ++i) {
    change_at_random(random);
  }
  page = std::make_unique<published_page>();
  publish_state(*page, managers.state, managers_locked_out(managers));
  expect_all_same();
}

TEST_F(Published, ARefusedChangeIsNotPublished) {
  const uint32_t before = page->sequence;
  EXPECT_EQ(delete_row(kDefaultVsan), kStatusVsanConflict);
  EXPECT_EQ(move(101, 999), kStatusNoVsan);
  EXPECT_EQ(page->sequence.load(), before);
}

TEST_F(Published, AChangeThatTheStoreDoesNotTakeIsNotPublished) {
  std::error_code ignored;
  const uint32_t before = page->sequence;
  std::filesystem::remove(store_path(), ignored);
  EXPECT_EQ(set_row(new_row(10, "lost")), kStatusStoreFailed);
  EXPECT_EQ(page->sequence.load(), before);
  expect_all_same();
}

TEST_F(Published, APageInTheMiddleOfAChangeIsNotAnsweredFrom) {
  page->sequence.fetch_add(1);
  for (const question &asked : questions) {
    const read_request read = {asked.service, asked.opcode, asked.msg_type, asked.payload.data(),
                               static_cast<uint32_t>(asked.payload.size())};
    read_answer got = {};
    EXPECT_FALSE(published_read(*page, read, &got));
  }
}

// The row of a change, all of it following from the change's number.
vsan_record nth_vsan(uint32_t n) {
  vsan_record vsan;
  vsan.id = 10;
  vsan.name = "n" + std::to_string(n);
  vsan.mtu = kMtuMin + n % 1800;
  vsan.drop_latency = 1 + n % kLatencyMax;
  return vsan;
}

bool is_one_change(const vsanEntry &row) {
  const vsan_record expected = nth_vsan(static_cast<uint32_t>(std::stoul(row.vsanName + 1)));
  return expected.name == row.vsanName && expected.mtu == row.vsanMtu &&
         expected.drop_latency == row.vsanNetworkDropLatency;
}

// The reader is a thread here, so that the two meet as often as they can: the writer does nothing but publish.
TEST_F(Published, AReaderBesideTheWriterNeverSeesHalfOfAChange) {
  switch_state state = managers.state;
  state.vsans[10] = nth_vsan(0);
  publish_change(*page, state, {}, {10}, false);
  std::atomic<bool> over = false;
  std::thread writer([&] {
    for (uint32_t n = 1; !over; ++n) {
      state.vsans[10] = nth_vsan(n);
      publish_change(*page, state, {}, {10}, false);
    }
  });
  const bytes request = row_payload(10);
  const read_request read = {kServiceVsanManager, kOpVsanRow, kMsgGet, request.data(), sizeof(vsanRowMessage)};
  const uint32_t first = page->sequence;
  unsigned answered = 0;
  unsigned torn = 0;
  for (int i = 0; i < kReadsBesideAWriter; ++i) {
    read_answer got = {};
    if (published_read(*page, read, &got)) {
      ++answered;
      const auto *row = static_cast<const uint8_t *>(got.payload) + offsetof(vsanRowMessage, row);
      torn += is_one_change(record_read<vsanEntry>(row)) ? 0 : 1;
    }
    free(got.payload);
  }
  const uint32_t changes = (page->sequence - first) / 2;
  over = true;
  writer.join();
  EXPECT_EQ(torn, 0U);
  EXPECT_GT(answered, 1000U);
  EXPECT_GT(changes, 1000U);
}

// A hostile or half-written page may hold anything: nothing is read beyond it, and nothing takes long.
TEST_F(Published, APageOfNoiseIsReadWithinItsBounds) {
  std::mt19937 random(20'263);
  auto *words = reinterpret_cast<published_word *>(page.get());
  for (size_t i = 0; i < sizeof(published_page) / sizeof(published_word); ++i) {
    words[i] = static_cast<uint32_t>(random());
  }
  page->sequence = 0;
  for (const question &asked : questions) {
    const read_request read = {asked.service, asked.opcode, asked.msg_type, asked.payload.data(),
                               static_cast<uint32_t>(asked.payload.size())};
    read_answer got = {};
    published_read(*page, read, &got);
    free(got.payload);
  }
}

TEST_F(Published, WritesAndForeignSizesAreNotAnsweredFromThePage) {
  const bytes row = row_payload(10);
  EXPECT_EQ(published_bit({kServiceVsanManager, kOpVsanRow, kMsgSet, row.data(), sizeof(vsanRowMessage)}), 0U);
  EXPECT_EQ(published_bit({kServiceVsanManager, kOpVsanRow, kMsgDelete, row.data(), sizeof(vsanRowMessage)}), 0U);
  EXPECT_EQ(published_bit({kServiceVsanManager, kOpVsanRow, kMsgGet, row.data(), sizeof(vsanRowMessage) - 1}), 0U);
  EXPECT_EQ(published_bit({kServicePortManager, kOpVsanRow, kMsgGet, row.data(), sizeof(vsanRowMessage)}), 0U);
  EXPECT_EQ(published_bit({kServiceVsanManager, kOpVsanNumber, kMsgGetNext, nullptr, 0}), 0U);
}

}  // namespace
