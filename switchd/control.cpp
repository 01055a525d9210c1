#include "control.h"

#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "host.h"
#include "log.h"
#include "monotonic_clock.h"
#include "notification_meaning.h"
#include "port_manager.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_values.h"
#include "wwn_text.h"

namespace {

using nlohmann::json;

constexpr size_t kQueueEntriesShown = 64;
constexpr int kFaultDelayMax = 600000;    // milliseconds
constexpr int kFaultLastsMax = 86400000;  // milliseconds: a day
constexpr size_t kFaultsMax = 64;         // of one service

struct fault_name {
  const char *name;
  fault_kind kind;
};
constexpr fault_name kFaultNames[] = {
    {"delay", fault_kind::delay}, {"status", fault_kind::status},
    {"drop", fault_kind::drop},   {"short-answer", fault_kind::short_answer},
    {"hang", fault_kind::hang},
};

struct side_name {
  const char *name;
  fault_side side;
};
constexpr side_name kSideNames[] = {
    {"both", fault_side::both},
    {"reads", fault_side::reads},
    {"writes", fault_side::writes},
};

void answer(const json &object, message_reply &reply) {
  const std::string text = object.dump(-1, ' ', false, json::error_handler_t::replace);
  reply.payload.assign(text.begin(), text.end());
}

std::string hexadecimal(const std::vector<uint8_t> &bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

json queue_counters(const switch_host &host) {
  const switch_settings &settings = host.managers.state.settings;
  const notification_counters counters = notification_server_counters(host.notifications);
  return {{"enabled", settings.notifications == kNotificationsOn},
          {"queued", host.managers.state.notifications.size()},
          {"limit", kNotificationsMax},
          {"raised", settings.last_notification},
          {"dropped", settings.dropped_notifications},
          {"subscribed", counters.subscribed},
          {"sent", counters.sent},
          {"acknowledged", counters.acknowledged}};
}

json service_counters(const switch_host &host) {
  json services = json::array();
  for (size_t i = 0; i < kHostedServices.size(); ++i) {
    const message_counters counters = message_server_counters(host.servers[i]);
    services.push_back({{"service", kHostedServices[i].name},
                        {"requests", counters.requests},
                        {"refused", counters.refused},
                        {"bad_frames", counters.malformed},
                        {"connections", counters.connections},
                        {"peers_refused", counters.peers_refused},
                        {"faults", message_server_faults(host.servers[i]).size()}});
  }
  return services;
}

size_t count_active_memberships(const switch_state &state) {
  size_t count = 0;
  std::pair<uint32_t, uint32_t> pair;
  while (next_active_membership(state, pair, pair)) {
    ++count;
  }
  return count;
}

int get_status(switch_host &host, const message_request &, message_reply &reply) {
  const switch_state &state = host.managers.state;
  answer({{"name", state.settings.name},
          {"wwn", wwn_text(state.settings.wwn)},
          {"pid", getpid()},
          {"uptime", (monotonic_ms() - host.started) / 1000},
          {"run_dir", host.run_dir},
          {"schema", kStoreSchemaVersion},
          {"vsans", state.vsans.size()},
          {"interfaces", state.interfaces.size()},
          {"active_memberships", count_active_memberships(state)},
          {"table_changed", state.settings.changed_seconds},
          {"bad_requests", host.managers.malformed},
          {"notifications", queue_counters(host)},
          {"services", service_counters(host)},
          {"agents_without_page", agent_pages_shown(host.unshared)}},
         reply);
  return 0;
}

int get_queue(switch_host &host, const message_request &, message_reply &reply) {
  json queue = queue_counters(host);
  json entries = json::array();
  for (const notification_record &record : host.managers.state.notifications) {
    if (entries.size() == kQueueEntriesShown) {
      break;
    }
    entries.push_back({{"number", record.number},
                       {"id", record.id},
                       {"meaning", notification_meaning(host.managers.state, record)},
                       {"payload", hexadecimal(record.payload)}});
  }
  queue["oldest"] = std::move(entries);
  answer(queue, reply);
  return 0;
}

int get_faults(switch_host &host, const message_request &, message_reply &reply) {
  json faults = json::array();
  for (size_t i = 0; i < kHostedServices.size(); ++i) {
    for (const message_fault &fault : message_server_faults(host.servers[i])) {
      const auto name = std::ranges::find(kFaultNames, fault.kind, &fault_name::kind);
      const auto side = std::ranges::find(kSideNames, fault.side, &side_name::side);
      faults.push_back({{"service", kHostedServices[i].name},
                        {"kind", name->name},
                        {"opcode", fault.opcode},
                        {"count", fault.count},
                        {"value", fault.value},
                        {"side", side->name},
                        {"spares_operator", fault.spares_operator},
                        {"ends_in", fault.ends == 0 ? -1 : std::max<int64_t>(fault.ends - monotonic_ms(), 0)}});
    }
  }
  answer({{"faults", std::move(faults)}}, reply);
  return 0;
}

// A whole number of the object within the range, or the default when it is absent. Returns false for anything else.
bool number_of(const json &object, const char *key, int64_t low, int64_t high, int standard, int &number) {
  const auto value = object.find(key);
  if (value == object.end()) {
    number = standard;
    return true;
  }
  if (!value->is_number_integer() || (value->is_number_unsigned() && value->get<uint64_t>() > INT64_MAX) ||
      value->get<int64_t>() < low || value->get<int64_t>() > high) {
    return false;
  }
  // A status is a 32-bit word, and an int holds it.
  number = static_cast<int>(value->get<int64_t>());
  return true;
}

json object_of(const message_request &request) {
  return json::parse(request.payload.begin(), request.payload.end(), nullptr, false);
}

int set_fault(switch_host &host, const message_request &request, message_reply &) {
  const json object = object_of(request);
  if (!object.is_object() || !object.contains("service") || !object.contains("kind")) {
    return kStatusUnknownFault;
  }
  const auto service = std::ranges::find_if(
      kHostedServices, [&](const hosted_service &each) { return each.takes_faults && object["service"] == each.name; });
  const auto kind =
      std::ranges::find_if(kFaultNames, [&](const fault_name &each) { return object["kind"] == each.name; });
  message_fault fault{.kind = fault_kind::delay};
  const std::string wanted_side = object.value("side", json("both")).is_string() ? object.value("side", "both") : "";
  const auto side = std::ranges::find(kSideNames, wanted_side, &side_name::name);
  int lasts = 0;
  if (service == kHostedServices.end() || kind == std::end(kFaultNames) || side == std::end(kSideNames) ||
      !number_of(object, "lasts", 0, kFaultLastsMax, 0, lasts) ||
      !number_of(object, "opcode", -1, INT32_MAX, -1, fault.opcode) ||
      !number_of(object, "count", -1, INT32_MAX, -1, fault.count) ||
      !number_of(object, "value", 0, kind->kind == fault_kind::delay ? kFaultDelayMax : UINT32_MAX, 0, fault.value)) {
    return kStatusUnknownFault;
  }
  fault.kind = kind->kind;
  fault.side = side->side;
  fault.spares_operator = object.value("spares_operator", json()) == true;
  fault.ends = lasts == 0 ? 0 : monotonic_ms() + lasts;
  message_server *server = host.servers[static_cast<size_t>(service - kHostedServices.begin())];
  if (message_server_faults(server).size() >= kFaultsMax) {
    return kStatusBusy;
  }
  message_server_add_fault(server, fault);
  host_publish_answers(host);
  log_warn(std::string("a fault is on: ") + object.dump());
  return 0;
}

int clear_faults(switch_host &host, const message_request &, message_reply &) {
  for (message_server *server : host.servers) {
    message_server_clear_faults(server);
  }
  host_publish_answers(host);
  log_info("all faults are off");
  return 0;
}

int get_configuration(switch_host &host, const message_request &request, message_reply &reply) {
  json object;
  const int status = configuration_give(host.transfers, host.managers, request.peer_pid, object_of(request), object);
  answer(object, reply);
  return status;
}

int set_configuration(switch_host &host, const message_request &request, message_reply &reply) {
  json object;
  const int status = configuration_take(host.transfers, host.managers, request.peer_pid, object_of(request), object);
  answer(object, reply);
  return status;
}

int reset_configuration(switch_host &host, const message_request &, message_reply &reply) {
  json object;
  const int status = configuration_reset(host.managers, host.topology_file, object);
  answer(object, reply);
  return status;
}

int set_agent_page(switch_host &host, const message_request &request, message_reply &) {
  return agent_pages_keep(host.unshared, request.connection, request.peer_pid, object_of(request));
}

int get_fabric(switch_host &host, const message_request &request, message_reply &reply) {
  return fabric_host_show(&host.fabric, request, reply);
}

int set_fabric(switch_host &host, const message_request &request, message_reply &reply) {
  return fabric_host_command(&host.fabric, request, reply);
}

struct control_row {
  int opcode;
  int msg_type;
  int (*handle)(switch_host &host, const message_request &request, message_reply &reply);
};
constexpr control_row kOpcodes[] = {
    {kOpStatus, kMsgGet, get_status},
    {kOpFaults, kMsgGet, get_faults},
    {kOpFaults, kMsgSet, set_fault},
    {kOpFaults, kMsgDelete, clear_faults},
    {kOpNotificationQueue, kMsgGet, get_queue},
    {kOpConfiguration, kMsgGet, get_configuration},
    {kOpConfiguration, kMsgSet, set_configuration},
    {kOpConfiguration, kMsgDelete, reset_configuration},
    {kOpAgentPage, kMsgSet, set_agent_page},
    {kOpFabric, kMsgGet, get_fabric},
    {kOpFabric, kMsgSet, set_fabric},
};

}  // namespace

void control_handle(void *context, const message_request &request, message_reply &reply) {
  auto &host = *static_cast<switch_host *>(context);
  const auto row = std::ranges::find_if(kOpcodes, [&](const control_row &each) {
    return each.opcode == request.opcode && each.msg_type == request.msg_type;
  });
  if (row == std::end(kOpcodes)) {
    reply.status = kStatusUnknownOpcode;
  } else {
    reply.status = row->handle(host, request, reply);
  }
  if (reply.status != 0) {
    reply.payload.clear();
    managers_refuse(host.managers, request, reply.status, "control service");
  }
}

void control_connection_ended(void *context, uint64_t connection) {
  static_cast<switch_host *>(context)->unshared.erase(connection);
}
