// A faked platform: every call that the module makes is recorded in order, and answers come from a small VSAN manager
// in memory that a test can overrule, or from a switch that fails the N-th call.
#ifndef TESTS_UNIT_MODULE_FAKE_PLATFORM_H
#define TESTS_UNIT_MODULE_FAKE_PLATFORM_H

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/agent.h"
#include "platform/mts.h"
#include "vsan_mib.h"
#include "vsan_records.h"

namespace fake {

using bytes = std::vector<uint8_t>;

// Where a call belongs to no phase of a SET: a read, the look-up before the first phase, a notification.
enum { kNoPhase = -1 };

// One exchange as the module asked for it.
struct exchange {
  int opcode;
  int msg_type;
  bool has_request;
  bytes request;
  uint32_t size;
  bool wants_response;
  std::optional<std::string> user;     // none: null
  std::optional<std::string> session;  // none: null
  int service;
  mts_queue_t queue;
  int timeout;
  int phase;  // of the SET that is served, or kNoPhase
};

// What is answered. With `payload`, a heap buffer of exactly that size is handed out.
struct reply {
  int status = 0;
  int error = 0;  // errno for status -1
  std::optional<bytes> payload;
  std::optional<uint32_t> size;  // what the size word says; none: the payload's size
};

struct platform {
  // The world, as the faked managers hold it.
  std::map<uint32_t, vsanEntry> vsans;
  std::map<uint32_t, vsanIfEntry> interfaces;
  std::set<std::pair<uint32_t, uint32_t>> members;
  std::map<std::pair<uint32_t, uint32_t>, uint32_t> timers;  // (VSAN, type); VSAN 0 is the switch
  std::map<uint32_t, uint32_t> latencies;                    // by type
  uint32_t inorder = 1;
  uint32_t change_seconds = 0;
  uint32_t change_microseconds = 0;
  bytes wwn = {0x20, 0x00, 0x00, 0x0d, 0xec, 0x01, 0x02, 0x03};

  // Overrules the faked managers for a request, or leaves it to them.
  std::function<std::optional<reply>(const exchange &)> overrule;

  // Who asks.
  std::string user = "operator";
  std::string session = "session-1";
  int pdu = 1;
  bool restricted = false;
  int restricted_answer = 1;  // what a restricted user's question is answered with
  std::set<uint32_t> allowed;
  int interface_refusal = 0;

  int kdx_enabled = 0;
  int kdx_show_running = 0;
  bool history_on = true;
  bool debug_on = false;
  int list_created = 2;    // what indxobj_create answers
  int fail_create_at = 0;  // the how-manieth creation fails; 0: none

  // The N-th platform call that can fail does; 0: none. `failable_calls` counts them.
  int fail_at = 0;
  int failable_calls = 0;
  // Whether calls whose failure changes nothing fail, and count, too: records, heartbeats, registrations.
  bool fail_unheeded = false;
  // An exchange that fails reached the manager, and its answer is lost; else it does not get there.
  bool lose_answers = false;
  // What failed last, and in which phase.
  std::string failed_call;
  int failed_phase = kNoPhase;
  // Of the SET that the small agent serves.
  int phase = kNoPhase;

  // What was called.
  std::vector<std::string> calls;  // names with their telling arguments, in order
  std::vector<exchange> exchanges;
  std::vector<std::pair<int, std::string>> history;  // level, text
  std::vector<std::string> debug;
  std::vector<snmp_error_record_t> error_records;
  std::vector<std::pair<int, int>> set_errors;
  std::map<int, notification_handler_t> handlers;
  std::vector<std::vector<oid>> unregistered;  // from the agent

  // Exchanges of one opcode, in order.
  std::vector<exchange> sent(int opcode) const;
  // Whether a trace line with exactly this text, its line number taken as "#", was recorded.
  bool traced(const std::string &text, int level = 101) const;
  size_t count_traced(const std::string &text) const;
};

// The platform of this test; `reset` starts a new one.
platform &the();
void reset();

// What the faked managers answer to a request, for tests that change it.
reply answer_of_managers(const exchange &e);

// A row as the faked manager answers it.
vsanEntry make_row(uint32_t vsan);
// Adds such a row.
vsanEntry &add_vsan(uint32_t vsan);
void add_interface(uint32_t if_index, uint32_t vsan, bool active = true);

// The row that a 149 message carries, in host order.
vsanEntry row_of(const bytes &message);
bytes to_hex_bytes(const std::string &hex);
std::string hex(const bytes &octets);

// How many elements a list holds, and one of them.
size_t listed(const indxobj_t &list);
vsanEntry *in_list(indxobj_t &list, uint32_t vsan);

// A notification message that mts_payload_get and mts_payload_size read.
struct message {
  bytes payload;
};

}  // namespace fake

#endif
