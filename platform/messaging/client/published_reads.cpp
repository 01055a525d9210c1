#include "published_reads.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <bit>
#include <iterator>

#include "big_endian.h"
#include "port_records.h"
#include "record_words.h"
#include "requests.h"
#include "statuses.h"

namespace {

constexpr int kAskTheManager = -1;  // in place of a status
constexpr int kLooks = 4;           // at a page that is being changed: the writer may wait for this very processor

uint32_t word(const published_word &at) {
  return at.load(std::memory_order_relaxed);
}

bool holds(const published_word *set, uint32_t vsan) {
  return vsan < kPublishedVsans && (word(set[vsan / 32]) >> vsan % 32 & 1) != 0;
}

// The first VSAN of the set above `vsan`; 0 when there is none.
uint32_t next_in(const published_word *set, uint32_t vsan) {
  if (vsan >= kPublishedVsans - 1) {
    return 0;
  }
  uint32_t at = (vsan + 1) / 32;
  uint32_t bits = word(set[at]) & ~0U << (vsan + 1) % 32;
  while (bits == 0 && ++at < kPublishedSetWords) {
    bits = word(set[at]);
  }
  return bits == 0 ? 0 : at * 32 + static_cast<uint32_t>(std::countr_zero(bits));
}

// The first of the `count` rows that does not sort before `wanted`. What is read while rows move may be any of them.
template <typename Row, typename Key, typename KeyOf>
uint32_t first_not_before(const Row *rows, uint32_t count, const Key &wanted, KeyOf key_of) {
  const Row *found = std::partition_point(rows, rows + std::min(count, kInterfacesMax),
                                          [&](const Row &row) { return key_of(row) < wanted; });
  return static_cast<uint32_t>(found - rows);
}

// One procedure for each kind of read: fills all of the answer's bytes and returns the status.

int answer_row(const published_page &page, uint32_t vsan, uint8_t *answer) {
  constexpr size_t kEnd = kPublishedRowAt + kPublishedRowBytes;
  const published_word *row = page.vsans[vsan].row;
  memset(answer, 0, kPublishedRowAt);
  memset(answer + kEnd, 0, sizeof(vsanRowMessage) - kEnd);
  for (size_t i = 0; i < std::size(page.vsans[vsan].row); ++i) {
    const uint32_t bytes = word(row[i]);
    memcpy(answer + kPublishedRowAt + i * sizeof bytes, &bytes, sizeof bytes);
  }
  return 0;
}

uint32_t asked_vsan(const uint8_t *request) {
  return get_be32(request + kPublishedRowAt + offsetof(vsanEntry, vsanIndex));
}

int read_row(const published_page &page, const uint8_t *request, uint8_t *answer) {
  const uint32_t vsan = asked_vsan(request);
  return holds(page.present, vsan) ? answer_row(page, vsan, answer) : int{kStatusNoVsan};
}

int read_next_row(const published_page &page, const uint8_t *request, uint8_t *answer) {
  const uint32_t vsan = next_in(page.present, asked_vsan(request));
  return vsan != 0 ? answer_row(page, vsan, answer) : int{kStatusNoEntry};
}

int answer_interface(const published_page &page, uint32_t at, uint8_t *answer) {
  const published_interface &found = page.interfaces[at];
  record_write(vsanIfEntry{word(found.index), word(found.vsan), 0, kRowStatusActive}, answer);
  return 0;
}

uint32_t interface_count(const published_page &page) {
  return std::min(word(page.settings.interfaces), kInterfacesMax);
}

uint32_t find_interface(const published_page &page, uint32_t index) {
  return first_not_before(page.interfaces, interface_count(page), index,
                          [](const published_interface &row) { return word(row.index); });
}

int read_interface(const published_page &page, const uint8_t *request, uint8_t *answer) {
  const auto asked = record_read<vsanIfEntry>(request);
  const uint32_t at = find_interface(page, asked.ifIndex);
  const bool found = at < interface_count(page) && word(page.interfaces[at].index) == asked.ifIndex;
  return found ? answer_interface(page, at, answer) : int{kStatusNoEntry};
}

int read_next_interface(const published_page &page, const uint8_t *request, uint8_t *answer) {
  const auto asked = record_read<vsanIfEntry>(request);
  if (asked.ifIndex == UINT32_MAX) {
    return kStatusNoEntry;
  }
  const uint32_t at = find_interface(page, asked.ifIndex + 1);
  return at < interface_count(page) ? answer_interface(page, at, answer) : int{kStatusNoEntry};
}

int answer_port(const published_page &page, uint32_t at, uint8_t *answer) {
  const published_interface &found = page.interfaces[at];
  switch_interface port = {word(found.index), word(found.up), {}};
  for (size_t i = 0; i < std::size(found.name); ++i) {
    const uint32_t bytes = word(found.name[i]);
    memcpy(port.name + i * sizeof bytes, &bytes, sizeof bytes);
  }
  record_write(port, answer);
  return 0;
}

int read_port(const published_page &page, const uint8_t *request, uint8_t *answer) {
  const uint32_t index = record_read<switch_interface>(request).index;
  const uint32_t at = find_interface(page, index);
  const bool found = at < interface_count(page) && word(page.interfaces[at].index) == index;
  return found ? answer_port(page, at, answer) : int{kStatusNoEntry};
}

int read_next_port(const published_page &page, const uint8_t *request, uint8_t *answer) {
  const uint32_t index = record_read<switch_interface>(request).index;
  if (index == UINT32_MAX) {
    return kStatusNoEntry;
  }
  const uint32_t at = find_interface(page, index + 1);
  return at < interface_count(page) ? answer_port(page, at, answer) : int{kStatusNoEntry};
}

// The first value that is there: 0 is none.
uint32_t first_of(std::initializer_list<const published_word *> values) {
  for (const published_word *each : values) {
    if (const uint32_t value = word(*each); value != 0) {
      return value;
    }
  }
  return 0;
}

uint32_t timer_value(const published_page &page, uint32_t vsan, uint32_t key, bool pending) {
  const size_t at = key - kTimerFirst;
  const published_vsan &own = page.vsans[vsan];
  const published_vsan &wide = page.vsans[0];
  return pending ? first_of({&own.pending[at], &own.timers[at], &wide.pending[at], &wide.timers[at]})
                 : first_of({&own.timers[at], &wide.timers[at]});
}

// 0, or what is wrong with a read of a timer.
int timer_problem(const published_page &page, const vsanFcTimerEntry &asked) {
  const bool malformed =
      asked.flag > 1 || asked.force > 1 || (!is_timer(asked.timer_type) && (asked.flag == 0 || asked.timer_type != 0));
  if (malformed) {
    return kAskTheManager;
  }
  return asked.flag != 0 && !holds(page.present, asked.vsan_id) ? int{kStatusNoVsan} : 0;
}

int answer_timer(const published_page &page, vsanFcTimerEntry asked, bool pending, uint8_t *answer) {
  const uint32_t vsan = asked.flag != 0 ? asked.vsan_id : 0;
  asked.timer_value = asked.timer_type == 0 ? 0 : timer_value(page, vsan, asked.timer_type, pending);
  record_write(asked, answer);
  return 0;
}

int read_timer(const published_page &page, const uint8_t *request, uint8_t *answer) {
  const auto asked = record_read<vsanFcTimerEntry>(request);
  const int problem = timer_problem(page, asked);
  return problem != 0 ? problem : answer_timer(page, asked, false, answer);
}

int read_pending_timer(const published_page &page, const uint8_t *request, uint8_t *answer) {
  if (word(page.settings.distribution) == 0) {
    return read_timer(page, request, answer);
  }
  const auto asked = record_read<vsanFcTimerEntry>(request);
  if (const int problem = timer_problem(page, asked); problem != 0) {
    return problem;
  }
  if (word(page.settings.remote_locked) != 0) {
    return kStatusRemoteLock;
  }
  if (holds(page.kept_out, asked.flag != 0 ? asked.vsan_id : 0)) {
    return kStatusNotInDistribution;
  }
  return answer_timer(page, asked, true, answer);
}

template <published_word published_settings::*First, published_word published_settings::*...More>
int read_words(const published_page &page, const uint8_t *, uint8_t *answer) {
  answer = put_be32(answer, word(page.settings.*First));
  ((answer = put_be32(answer, word(page.settings.*More))), ...);
  return 0;
}

int read_latency(const published_page &page, const uint8_t *request, uint8_t *answer) {
  auto latency = record_read<vsanLatency>(request);
  switch (latency.latency_type) {
    case kAttrSwitchLatency:
      latency.value = word(page.settings.switch_latency);
      break;
    case kAttrNetworkLatency:
      latency.value = word(page.settings.network_latency);
      break;
    default:
      return kAskTheManager;
  }
  record_write(latency, answer);
  return 0;
}

// Memberships are those of interfaces that are up; the active ones are in VSANs that are active.

uint64_t membership_key(uint32_t vsan, uint32_t interface) {
  return uint64_t{vsan} << 32 | interface;
}

uint32_t membership_count(const published_page &page) {
  return std::min(word(page.membership_count), kInterfacesMax);
}

uint32_t find_membership(const published_page &page, uint64_t wanted) {
  return first_not_before(page.memberships, membership_count(page), wanted, [](const published_membership &row) {
    return membership_key(word(row.vsan), word(row.interface));
  });
}

bool is_active(const published_page &page, uint32_t vsan) {
  static_assert(offsetof(vsanEntry, vsanAdminState) % sizeof(uint32_t) == 0);
  if (!holds(page.present, vsan)) {
    return false;
  }
  const uint32_t wire = word(page.vsans[vsan].row[offsetof(vsanEntry, vsanAdminState) / sizeof(uint32_t)]);
  uint8_t bytes[sizeof wire];
  memcpy(bytes, &wire, sizeof wire);
  return get_be32(bytes) == kAdminActive;
}

int answer_membership(const published_page &page, uint32_t at, uint8_t *answer) {
  const published_membership &found = page.memberships[at];
  const auto is_static = static_cast<uint8_t>(word(found.is_static));
  record_write(active_membership{word(found.vsan), word(found.interface), is_static, {}}, answer);
  return 0;
}

int read_membership(const published_page &page, const uint8_t *request, uint8_t *answer) {
  const auto asked = record_read<active_membership>(request);
  const uint32_t at = find_membership(page, membership_key(asked.vsan, asked.interface));
  const bool found = at < membership_count(page) && word(page.memberships[at].vsan) == asked.vsan &&
                     word(page.memberships[at].interface) == asked.interface && is_active(page, asked.vsan);
  return found ? answer_membership(page, at, answer) : int{kStatusNoMembership};
}

int read_next_membership(const published_page &page, const uint8_t *request, uint8_t *answer) {
  const auto asked = record_read<active_membership>(request);
  const uint64_t after = membership_key(asked.vsan, asked.interface);
  if (after == UINT64_MAX) {
    return kStatusEndOfMemberships;
  }
  uint32_t at = find_membership(page, after + 1);
  for (uint32_t looked = 0; at < membership_count(page) && looked < kPublishedVsans; ++looked) {
    const uint32_t vsan = word(page.memberships[at].vsan);
    if (is_active(page, vsan)) {
      return answer_membership(page, at, answer);
    }
    at = find_membership(page, membership_key(vsan, UINT32_MAX) + 1);  // over the whole VSAN
  }
  return kStatusEndOfMemberships;
}

struct read_row_of {
  int service;
  int opcode;
  int msg_type;
  uint32_t request_size;
  uint32_t answer_size;
  int (*read)(const published_page &page, const uint8_t *request, uint8_t *answer);
};

constexpr uint32_t kRow = sizeof(vsanRowMessage), kInterface = sizeof(vsanIfEntry), kTimer = sizeof(vsanFcTimerEntry);
constexpr uint32_t kLatency = sizeof(vsanLatency), kPair = sizeof(active_membership), kWord = sizeof(uint32_t);
constexpr uint32_t kPort = sizeof(switch_interface);
using settings = published_settings;

// By how often they are asked.
constexpr read_row_of kReads[] = {
    {kServiceVsanManager, kOpVsanRow, kMsgGetNext, kRow, kRow, read_next_row},
    {kServiceVsanManager, kOpVsanRow, kMsgGet, kRow, kRow, read_row},
    {kServiceVsanManager, kOpFcTimer, kMsgGet, kTimer, kTimer, read_timer},
    {kServiceVsanManager, kOpFcTimer, kMsgKdxGet, kTimer, kTimer, read_pending_timer},
    {kServiceVsanManager, kOpInterfaceVsan, kMsgGetNext, kInterface, kInterface, read_next_interface},
    {kServiceVsanManager, kOpInterfaceVsan, kMsgGet, kInterface, kInterface, read_interface},
    {kServicePortManager, kOpActiveMembership, kMsgGetNext, kPair, kPair, read_next_membership},
    {kServicePortManager, kOpActiveMembership, kMsgGet, kPair, kPair, read_membership},
    {kServicePortManager, kOpInterface, kMsgGetNext, kPort, kPort, read_next_port},
    {kServicePortManager, kOpInterface, kMsgGet, kPort, kPort, read_port},
    {kServiceVsanManager, kOpVsanNumber, kMsgGet, 0, kWord, read_words<&settings::vsans>},
    {kServiceVsanManager, kOpTableLastChange, kMsgGet, 0, 2 * kWord,
     read_words<&settings::changed_seconds, &settings::changed_microseconds>},
    {kServiceVsanManager, kOpInterfaceNumber, kMsgGet, 0, kWord, read_words<&settings::interfaces>},
    {kServiceVsanManager, kOpLatency, kMsgGet, kLatency, kLatency, read_latency},
    {kServiceVsanManager, kOpInorderDelivery, kMsgGet, 0, kWord, read_words<&settings::inorder>},
    {kServiceIdentity, kOpSwitchWwn, kMsgGet, 0, 2 * kWord, read_words<&settings::wwn_high, &settings::wwn_low>},
};

// The row for the request, or null.
const read_row_of *find_read(const read_request &request) {
  const auto found = std::find_if(std::begin(kReads), std::end(kReads), [&](const read_row_of &row) {
    return row.opcode == request.opcode && row.msg_type == request.msg_type && row.service == request.service;
  });
  const bool fits = found != std::end(kReads) && found->request_size == request.size;
  return fits ? found : nullptr;
}

// Reads until what was read is of one moment.
int read_whole(const published_page &page, const read_row_of &row, const uint8_t *request, uint8_t *answer) {
  for (int look = 0; look < kLooks; ++look) {
    const uint32_t before = page.sequence.load(std::memory_order_acquire);
    const int status = row.read(page, request, answer);
    std::atomic_thread_fence(std::memory_order_acquire);
    if (before % 2 == 0 && page.sequence.load(std::memory_order_relaxed) == before) {
      return status;
    }
  }
  return kAskTheManager;
}

}  // namespace

uint32_t published_bit(const read_request &request) {
  if (find_read(request) == nullptr) {
    return 0;
  }
  switch (request.service) {
    case kServiceVsanManager:
      return kAnsweredVsanManager;
    case kServiceIdentity:
      return kAnsweredIdentity;
    default:
      return kAnsweredPortManager;
  }
}

bool published_read(const published_page &page, const read_request &request, read_answer *answer) {
  const read_row_of *row = find_read(request);
  auto *payload = row == nullptr ? nullptr : static_cast<uint8_t *>(malloc(row->answer_size));
  if (payload == nullptr) {
    return false;
  }
  const int status = read_whole(page, *row, static_cast<const uint8_t *>(request.payload), payload);
  if (status != 0) {
    free(payload);
    *answer = {status, nullptr, 0};
    return status != kAskTheManager;
  }
  *answer = {0, payload, row->answer_size};
  return true;
}
