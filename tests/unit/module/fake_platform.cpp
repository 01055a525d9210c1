#include "fake_platform.h"

#include <arpa/inet.h>
#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "memory_ledger.h"
#include "platform/cmi.h"
#include "platform/kdx.h"
#include "platform/port_manager.h"
#include "platform/sdwrap.h"
#include "platform/syserr.h"
#include "platform/sysmgr.h"
#include "platform/vsan_range.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_records.h"

namespace fake {
namespace {

platform world;

void put(bytes &out, uint32_t word) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    out.push_back(static_cast<uint8_t>(word >> shift));
  }
}

uint32_t get(const bytes &in, size_t at) {
  uint32_t word;
  memcpy(&word, in.data() + at, sizeof word);
  return ntohl(word);
}

bytes message_of(vsanEntry row) {
  vsanEntry_hton(&row);
  bytes out(sizeof(vsanRowMessage), 0);
  memcpy(out.data() + offsetof(vsanRowMessage, row), &row, sizeof row);
  return out;
}

bytes words(std::initializer_list<uint32_t> values) {
  bytes out;
  for (uint32_t value : values) {
    put(out, value);
  }
  return out;
}

reply answer_row(const exchange &e) {
  vsanEntry row = row_of(e.request);
  if (e.msg_type == kMsgGetNext) {
    const auto next = world.vsans.upper_bound(row.vsanIndex);
    if (next == world.vsans.end()) {
      return {kStatusNoEntry, 0, {}, {}};
    }
    return {0, 0, message_of(next->second), {}};
  }
  const auto found = world.vsans.find(row.vsanIndex);
  const bool present = found != world.vsans.end();
  if (e.msg_type == kMsgGet) {
    return present ? reply{0, 0, message_of(found->second), {}} : reply{kStatusNoVsan, 0, {}, {}};
  }
  if (e.msg_type == kMsgDelete) {
    if (!present) {
      return {kStatusNoVsan, 0, {}, {}};
    }
    world.vsans.erase(found);
    return {};
  }
  if (!present && row.vsanRowStatus != 1) {
    return {kStatusNoVsan, 0, {}, {}};
  }
  if (row.vsanInorderDelivery == 0) {
    row.vsanInorderDelivery = present ? found->second.vsanInorderDelivery : 2;
  }
  if (row.vsanNetworkDropLatency == 0) {
    row.vsanNetworkDropLatency = present ? found->second.vsanNetworkDropLatency : 2000;
  }
  row.vsanRowStatus = 1;
  world.vsans[row.vsanIndex] = row;
  return {};
}

bytes interface_bytes(const vsanIfEntry &row) {
  return words({row.ifIndex, row.vsanIfVsan, row.vsanIfDenyList, row.vsanIfRowStatus});
}

reply answer_interface(const exchange &e) {
  const uint32_t index = get(e.request, 0);
  if (e.msg_type == kMsgGetNext) {
    const auto next = world.interfaces.upper_bound(index);
    if (next == world.interfaces.end()) {
      return {kStatusNoEntry, 0, {}, {}};
    }
    return {0, 0, interface_bytes(next->second), {}};
  }
  const auto found = world.interfaces.find(index);
  if (found == world.interfaces.end()) {
    return {kStatusNoEntry, 0, {}, {}};
  }
  if (e.msg_type == kMsgGet) {
    return {0, 0, interface_bytes(found->second), {}};
  }
  found->second.vsanIfVsan = get(e.request, 4);
  return {};
}

reply answer_timer(const exchange &e) {
  const std::pair<uint32_t, uint32_t> key = {get(e.request, 10), get(e.request, 0)};
  if (e.msg_type == kMsgSet) {
    world.timers[key] = get(e.request, 4);
    return {};
  }
  bytes out = e.request;
  uint32_t value = htonl(world.timers.count(key) != 0 ? world.timers[key] : key.second * 1000 + key.first);
  memcpy(out.data() + 4, &value, sizeof value);
  return {0, 0, out, {}};
}

reply answer(const exchange &e) {
  const uint32_t vsans = static_cast<uint32_t>(world.vsans.size());
  const uint32_t interfaces = static_cast<uint32_t>(world.interfaces.size());
  switch (e.opcode) {
    case kOpVsanNumber:
      return {0, 0, words({vsans}), {}};
    case kOpInterfaceNumber:
      return {0, 0, words({interfaces}), {}};
    case kOpTableLastChange:
      return {0, 0, words({world.change_seconds, world.change_microseconds}), {}};
    case kOpFcTimer:
      return answer_timer(e);
    case kOpLatency:
      if (e.msg_type == kMsgSet) {
        world.latencies[get(e.request, 0)] = get(e.request, 4);
        return {};
      }
      return {0, 0, words({get(e.request, 0), world.latencies[get(e.request, 0)], 0}), {}};
    case kOpInorderDelivery:
      if (e.msg_type == kMsgSet) {
        world.inorder = get(e.request, 0);
        return {};
      }
      return {0, 0, words({world.inorder}), {}};
    case kOpVsanRow:
      return answer_row(e);
    case kOpInterfaceVsan:
      return answer_interface(e);
    case kOpSwitchWwn:
      return {0, 0, world.wwn, {}};
    case kOpNotificationControl:
      return {};
    default:
      return {-1, ENOENT, {}, {}};
  }
}

// Whether this call is the one that was to fail.
bool fails(const char *call) {
  if (++world.failable_calls != world.fail_at) {
    return false;
  }
  world.failed_call = call;
  world.failed_phase = world.phase;
  return true;
}

// The same for a call whose failure changes nothing.
bool fails_unheeded(const char *call) {
  return world.fail_unheeded && fails(call);
}

constexpr const char *kNameLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789";

// "name(12)" and "name : name(12)" at a line's begin with "#" for the number.
std::string without_line_numbers(const std::string &text) {
  const size_t open = text.find('(');
  const size_t close = text.find_first_not_of("0123456789", open == text.npos ? open : open + 1);
  if (close == text.npos || close == open + 1 || text[close] != ')') {
    return text;
  }
  const size_t blank = text.find_first_not_of(kNameLetters);
  const bool one_name = blank == open;
  const bool two_names = text.compare(blank, 3, " : ") == 0 && text.find_first_not_of(kNameLetters, blank + 3) == open;
  return one_name || two_names ? text.substr(0, open) + "(#" + text.substr(close) : text;
}

}  // namespace

std::vector<exchange> platform::sent(int opcode) const {
  std::vector<exchange> found;
  std::copy_if(exchanges.begin(), exchanges.end(), std::back_inserter(found),
               [&](const exchange &e) { return e.opcode == opcode; });
  return found;
}

bool platform::traced(const std::string &text, int level) const {
  return std::any_of(history.begin(), history.end(), [&](const auto &line) {
    return line.first == level && without_line_numbers(line.second) == text;
  });
}

size_t platform::count_traced(const std::string &text) const {
  return static_cast<size_t>(std::count_if(
      history.begin(), history.end(), [&](const auto &line) { return without_line_numbers(line.second) == text; }));
}

platform &the() {
  return world;
}

void reset() {
  // PDU numbers go on, so that no test meets what another left in the one-row cache.
  const int pdu = world.pdu < 2000000000 ? world.pdu + 1000 : 1;
  const auto handlers = world.handlers;
  world = platform{};
  world.pdu = pdu;
  world.handlers = handlers;
}

reply answer_of_managers(const exchange &e) {
  return answer(e);
}

vsanEntry make_row(uint32_t vsan) {
  vsanEntry row = {};
  row.vsanIndex = vsan;
  vsanEntry_defaults(&row);
  row.vsanInorderDelivery = 2;
  row.vsanRowStatus = 1;
  row.vsanOperState = 2;
  row.vsanNetworkDropLatency = 2000;
  for (size_t i = 0; i < sizeof row.rest; ++i) {
    row.rest[i] = static_cast<uint8_t>(i + vsan);
  }
  return row;
}

vsanEntry &add_vsan(uint32_t vsan) {
  return world.vsans[vsan] = make_row(vsan);
}

void add_interface(uint32_t if_index, uint32_t vsan, bool active) {
  world.interfaces[if_index] = {if_index, vsan, 0x700 + if_index, 0x900 + if_index};
  if (active) {
    world.members.insert({vsan, if_index});
  }
}

vsanEntry row_of(const bytes &message) {
  vsanEntry row = {};
  if (message.size() >= offsetof(vsanRowMessage, row) + sizeof row) {
    memcpy(&row, message.data() + offsetof(vsanRowMessage, row), sizeof row);
  }
  vsanEntry_ntoh(&row);
  return row;
}

bytes to_hex_bytes(const std::string &text) {
  bytes out;
  std::string digits;
  for (char c : text) {
    if (isxdigit(static_cast<unsigned char>(c)) != 0) {
      digits += c;
    }
  }
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    out.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  }
  return out;
}

std::string hex(const bytes &octets) {
  std::string out;
  char pair[3];
  for (uint8_t octet : octets) {
    snprintf(pair, sizeof pair, "%02x", octet);
    out += pair;
  }
  return out;
}

}  // namespace fake

using fake::world;

// Lists: a sorted vector.
namespace {

// What every caller owes the platform.
void expect_contract(bool kept) {
  if (!kept) {
    abort();
  }
}

struct element {
  void *key;
  void *data;
};
struct list {
  indxobj_comp_t comp;
  std::vector<element> elements;
};

list *list_in(const indxobj_t *object) {
  return static_cast<list *>(object->opaque[0]);
}

}  // namespace

namespace fake {

size_t listed(const indxobj_t &object) {
  return list_in(&object) == nullptr ? 0 : list_in(&object)->elements.size();
}

vsanEntry *in_list(indxobj_t &object, uint32_t vsan) {
  vsanEntry key = {};
  key.vsanIndex = vsan;
  for (const element &e : list_in(&object)->elements) {
    if (vsanEntry_comp(e.key, &key) == 0) {
      return static_cast<vsanEntry *>(e.data);
    }
  }
  return nullptr;
}

}  // namespace fake

extern "C" {

mts_queue_t mts_response_q = reinterpret_cast<mts_queue_t>(0x5151);
char sdwrap_dbg_modname[] = "vsan";

int cmi_req_resp(int opcode, int msg_type, void *request, void **response, uint32_t *size, const char *user,
                 const char *session, int service, mts_queue_t queue, int timeout) {
  fake::exchange e = {};
  e.opcode = opcode;
  e.msg_type = msg_type;
  e.has_request = request != nullptr;
  if (request != nullptr) {
    e.request.assign(static_cast<uint8_t *>(request), static_cast<uint8_t *>(request) + *size);
  }
  e.size = *size;
  e.wants_response = response != nullptr;
  if (user != nullptr) {
    e.user = user;
  }
  if (session != nullptr) {
    e.session = session;
  }
  e.service = service;
  e.queue = queue;
  e.timeout = timeout;
  e.phase = world.phase;
  world.exchanges.push_back(e);
  world.calls.push_back("cmi_req_resp " + std::to_string(opcode) + " " + std::to_string(msg_type));
  if (response != nullptr && *response != nullptr) {
    abort();  // the pointer must be null before an exchange
  }
  const bool fails = fake::fails(world.calls.back().c_str());
  if (fails && !world.lose_answers) {
    errno = ECONNRESET;
    return -1;
  }
  std::optional<fake::reply> overruled;
  if (world.overrule) {
    overruled = world.overrule(e);
  }
  const fake::reply reply = overruled ? *overruled : fake::answer(e);
  if (fails) {
    errno = ETIMEDOUT;
    return -1;
  }
  if (response != nullptr && reply.payload) {
    *response = fake::make_answer(reply.payload->size());
    if (!reply.payload->empty()) {
      memcpy(*response, reply.payload->data(), reply.payload->size());
    }
    *size = reply.size.value_or(static_cast<uint32_t>(reply.payload->size()));
  }
  errno = reply.error;
  return reply.status;
}

int pm_cmi_get_active_vsan_port_membership(mts_queue_t, int operation, uint32_t *vsan, uint32_t *interface,
                                           uint8_t *is_static, const char *user, const char *session, int timeout) {
  world.calls.push_back("pm " + std::to_string(operation) + " " + std::to_string(*vsan) + "." +
                        std::to_string(*interface) + " " + user + " " + session + " " + std::to_string(timeout));
  if (fake::fails(__func__)) {
    errno = ETIMEDOUT;
    return -1;
  }
  const auto found =
      operation == kMsgGet ? world.members.find({*vsan, *interface}) : world.members.upper_bound({*vsan, *interface});
  if (found == world.members.end()) {
    return kStatusNoEntry;
  }
  *vsan = found->first;
  *interface = found->second;
  *is_static = 1;
  return 0;
}

void *mts_payload_get(void *msg) {
  if (fake::fails(__func__)) {
    return nullptr;
  }
  auto &payload = static_cast<fake::message *>(msg)->payload;
  return payload.empty() ? nullptr : payload.data();
}
uint32_t mts_payload_size(void *msg) {
  return static_cast<uint32_t>(static_cast<fake::message *>(msg)->payload.size());
}

int register_for_notification(int id, notification_handler_t handler) {
  world.calls.push_back("register_for_notification " + std::to_string(id));
  if (fake::fails_unheeded(__func__)) {
    return -1;
  }
  world.handlers[id] = handler;
  return 0;
}
int unregister_for_notification(int id) {
  world.calls.push_back("unregister_for_notification " + std::to_string(id));
  if (fake::fails_unheeded(__func__)) {
    return -1;
  }
  world.handlers.erase(id);
  return 0;
}
const char *get_snmp_username(int unused) {
  expect_contract(unused == 0);
  world.calls.push_back("get_snmp_username");
  return world.user.c_str();
}
const char *get_snmp_sessionid(int unused) {
  expect_contract(unused == 0);
  world.calls.push_back("get_snmp_sessionid");
  return world.session.c_str();
}
int get_pdu_reqid(void) {
  return world.pdu;
}

int snmp_get_allowed_vsans_subtree(vsan_set_t *set, const oid *, size_t, int pdu_type) {
  world.calls.push_back("snmp_get_allowed_vsans_subtree " + std::to_string(pdu_type));
  if (set->size != 512 || std::any_of(set->bits, set->bits + 512, [](uint8_t b) { return b != 0; })) {
    abort();
  }
  if (!world.restricted) {
    return 0;
  }
  for (uint32_t vsan : world.allowed) {
    set->bits[vsan / 8] = static_cast<uint8_t>(set->bits[vsan / 8] | 1 << vsan % 8);
  }
  return world.restricted_answer;
}
int snmp_is_vsan_allowed_in_list(uint32_t vsan, vsan_set_t *set) {
  world.calls.push_back("snmp_is_vsan_allowed_in_list " + std::to_string(vsan));
  const bool allowed = vsan <= 4095 && (set->bits[vsan / 8] >> vsan % 8 & 1) != 0;
  memset(set->bits, 0xff, sizeof set->bits);  // the platform may change what it is handed
  return allowed ? 1 : 0;
}
int snmp_get_next_allowed_vsan_in_list(uint32_t *vsan, vsan_set_t *set) {
  world.calls.push_back("snmp_get_next_allowed_vsan_in_list " + std::to_string(*vsan));
  for (uint32_t next = *vsan + 1; next <= 4095; ++next) {
    if ((set->bits[next / 8] >> next % 8 & 1) == 0) {
      continue;
    }
    *vsan = next;
    memset(set->bits, 0xff, sizeof set->bits);
    return 1;
  }
  return 0;
}
int snmp_is_vsan_allowed_subtree(uint32_t vsan, const oid *, size_t, int pdu_type) {
  world.calls.push_back("snmp_is_vsan_allowed_subtree " + std::to_string(vsan) + " " + std::to_string(pdu_type));
  return !world.restricted || world.allowed.count(vsan) != 0 ? 1 : 0;
}
int intf_chk_vsan_role_allowed(uint32_t interface, int mode, vsan_set_t *) {
  world.calls.push_back("intf_chk_vsan_role_allowed " + std::to_string(interface) + " " + std::to_string(mode));
  if (fake::fails(__func__)) {
    errno = ETIMEDOUT;
    return -1;
  }
  return world.interface_refusal;
}
void log_snmp_error(snmp_error_record_t *record) {
  world.calls.push_back("log_snmp_error");
  world.error_records.push_back(*record);
}
void log_set_error(int code, int detail) {
  world.calls.push_back("log_set_error");
  world.set_errors.emplace_back(code, detail);
}
netsnmp_variable_list *build_varbind(netsnmp_variable_list *varbinds, const void *value, u_char type, size_t length,
                                     const oid *name, size_t name_len) {
  if (fake::fails(__func__)) {
    return nullptr;
  }
  netsnmp_variable_list *head = varbinds;
  const netsnmp_variable_list *added = snmp_varlist_add_variable(&head, name, name_len, type, value, length);
  if (varbinds == nullptr && added != nullptr) {
    fake::note_varbind_list(head);
  }
  return added == nullptr ? nullptr : head;
}

int indxobj_create(indxobj_t *object, int second, int third, indxobj_comp_t comp, int fifth) {
  expect_contract(second == 0 && third == 1 && fifth == 1);
  world.calls.push_back("indxobj_create");
  if ((world.fail_create_at > 0 && --world.fail_create_at == 0) || fake::fails(__func__)) {
    return 0;
  }
  object->opaque[0] = new list{comp, {}};
  return world.list_created;
}
int indxobj_add(indxobj_t *object, void *key, void *data) {
  if (fake::fails(__func__)) {
    return 0;
  }
  list *l = list_in(object);
  for (const element &e : l->elements) {
    if (l->comp(e.key, key) == 0) {
      return 0;
    }
  }
  l->elements.push_back({key, data});
  return 1;
}
void *indxobj_find(indxobj_t *object, const void *key, int third) {
  expect_contract(third == 0);
  for (const element &e : list_in(object)->elements) {
    if (list_in(object)->comp(e.key, key) == 0) {
      return e.data;
    }
  }
  return nullptr;
}
void *indxobj_remove(indxobj_t *object, const void *key) {
  auto &elements = list_in(object)->elements;
  for (auto it = elements.begin(); it != elements.end(); ++it) {
    if (list_in(object)->comp(it->key, key) != 0) {
      continue;
    }
    void *data = it->data;
    elements.erase(it);
    return data;
  }
  return nullptr;
}
int indxobj_destroy(indxobj_t *object) {
  world.calls.push_back("indxobj_destroy");
  delete list_in(object);
  object->opaque[0] = nullptr;
  return 0;
}
void bitset_clear(vsan_set_t *set) {
  memset(set->bits, 0, sizeof set->bits);
}

const char *syserr2str(int code) {
  static char text[32];
  snprintf(text, sizeof text, "str-%x", static_cast<unsigned>(code));
  return text;
}
const char *syserr_format(int code) {
  static char text[32];
  snprintf(text, sizeof text, "fmt-%x", static_cast<unsigned>(code));
  return text;
}

int sdwrap_hist_event_subtype_check(int module, int) {
  errno = EBADF;  // a sink may spoil it
  return module == 0x730000 && world.history_on ? 0 : 1;
}
int sdwrap_hist_event(int module, int length, const void *record) {
  uint32_t level;
  memcpy(&level, record, sizeof level);
  const char *text = static_cast<const char *>(record) + sizeof level;
  if (module != 0x730000 || static_cast<size_t>(length) != strlen(text) + 5) {
    abort();
  }
  world.history.emplace_back(static_cast<int>(level), text);
  errno = EBADF;
  return fake::fails_unheeded(__func__) ? -1 : 0;
}
int sdwrap_chk_int(int level, int second, int third, int fourth) {
  expect_contract((level == 100 || level == 101) && second == 0 && third == 0 && fourth == 1);
  errno = EBADF;
  return world.debug_on ? 1 : 0;
}
void buginf(int, void *name, int, const char *format, ...) {
  if (name != sdwrap_dbg_modname) {
    abort();
  }
  char line[2048];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  world.debug.emplace_back(line);
  errno = EBADF;
}
int sysmgr_heartbeat(int blocking) {
  world.calls.push_back("sysmgr_heartbeat " + std::to_string(blocking));
  return fake::fails_unheeded(__func__) ? -1 : 0;
}
int is_kdx_enabled(const char *application, int *enabled) {
  if (strcmp(application, "fctimer") != 0) {
    abort();
  }
  if (fake::fails(__func__)) {
    return -1;
  }
  *enabled = world.kdx_enabled;
  return 0;
}
int get_kdx_show_run_mode(const char *application, int *mode) {
  if (strcmp(application, "fctimer") != 0) {
    abort();
  }
  if (fake::fails(__func__)) {
    return -1;
  }
  *mode = world.kdx_show_running;
  return 0;
}

// The faked format of notification 145: VSAN, created, first, then pairs of key and value, all big-endian words.
int vsan_range_config_change_get_info(void *payload, uint32_t size, int *first, int *, uint32_t *vsan, int *created,
                                      int *, int *, int *) {
  if (payload == nullptr || size < 12 || fake::fails(__func__)) {
    return -1;
  }
  uint32_t head[3];
  memcpy(head, payload, sizeof head);
  *vsan = ntohl(head[0]);
  *created = static_cast<int>(ntohl(head[1]));
  *first = static_cast<int>(ntohl(head[2]));
  return 0;
}
int vsan_range_config_change_get_attr_values(void *payload, uint32_t size, int key, uint32_t *value, uint32_t *length) {
  if (fake::fails(__func__)) {
    return -1;
  }
  for (uint32_t at = 12; at + 8 <= size; at += 8) {
    uint32_t pair[2];
    memcpy(pair, static_cast<char *>(payload) + at, sizeof pair);
    if (ntohl(pair[0]) != static_cast<uint32_t>(key)) {
      continue;
    }
    *value = ntohl(pair[1]);
    *length = 4;
    return 0;
  }
  return -1;
}

// The linker sends the module's registrations here.
int __real_register_mib(const char *, const struct variable *, size_t, size_t, const oid *, size_t);
[[gnu::visibility("default")]] int __wrap_register_mib(const char *module, const struct variable *rows, size_t width,
                                                       size_t count, const oid *root, size_t root_len) {
  expect_contract(count == kVsanMibObjects && root_len == kVsanMibRootLen);
  if (fake::fails(__func__)) {
    return MIB_REGISTRATION_FAILED;
  }
  return __real_register_mib(module, rows, width, count, root, root_len);
}
int __real_unregister_mib(oid *, size_t);
[[gnu::visibility("default")]] int __wrap_unregister_mib(oid *name, size_t length) {
  world.unregistered.emplace_back(name, name + length);
  return __real_unregister_mib(name, length);
}

}  // extern "C"
