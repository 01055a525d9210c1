// vsanctl switch …
#include <algorithm>

#include "arguments.h"
#include "ask/question.h"
#include "big_endian.h"
#include "commands.h"
#include "output/failure.h"
#include "record_words.h"
#include "requests.h"
#include "statuses.h"
#include "switch_records.h"
#include "value_words.h"
#include "vsan_records.h"
#include "vsan_values.h"
#include "wwn_text.h"

namespace {

struct switch_options {
  std::string name;
  std::string wwn;
  uint32_t switch_latency = 0;
  uint32_t network_latency = 0;
  uint32_t inorder = 0;
  uint32_t notifications = 0;
};

void set_latency(uint32_t type, uint32_t value, const char *name) {
  ask_or_fail(std::string(name) + " " + std::to_string(value) + " was not set",
              {kServiceVsanManager, kOpLatency, kMsgSet, record_bytes(vsanLatency{type, value, 0}), 0});
}

void set_word(int opcode, uint32_t value, const char *name) {
  std::vector<uint8_t> request(4);
  put_be32(request.data(), value);
  ask_or_fail(std::string(name) + " was not set", {kServiceVsanManager, opcode, kMsgSet, request, 0});
}

void set_name(const std::string &name) {
  const std::string what = "the switch was not renamed";
  const std::vector<named_value> values{{"name", "\"" + name + "\""}};
  std::vector<uint8_t> request(sizeof(switch_name));
  if (name.size() > kSwitchNameMax) {
    fail_refused(what, kStatusSwitchName, values);
  }
  std::ranges::copy(name, request.begin());
  ask_or_fail(what, {kServiceIdentity, kOpSwitchName, kMsgSet, request, 0}, values);
}

std::string wwn_problem(const std::string &text) {
  uint64_t unused = 0;
  return wwn_read(text, unused) ? "" : "\"" + text + "\": a world wide name such as 20:00:02:00:00:00:00:01 is wanted";
}

void set_wwn(const std::string &text) {
  uint64_t wwn = 0;
  wwn_read(text, wwn);
  std::vector<uint8_t> request(8);
  put_be64(request.data(), wwn);
  ask_or_fail("the world wide name was not set", {kServiceIdentity, kOpSwitchWwnChange, kMsgSet, request, 0},
              {{"wwn", text}});
}

void set_switch(const CLI::App &command, const switch_options &options) {
  if (command.get_options([](const CLI::Option *each) { return each->count() > 0; }).empty()) {
    fail(kExitUsage,
         "switch set: nothing to set was given; there are --name, --wwn, --switch-latency, --network-latency, "
         "--inorder, --notifications");
  }
  if (command.count("--name") > 0) {
    set_name(options.name);
  }
  if (command.count("--wwn") > 0) {
    set_wwn(options.wwn);
  }
  if (command.count("--switch-latency") > 0) {
    set_latency(kAttrSwitchLatency, options.switch_latency, "switch-latency");
  }
  if (command.count("--network-latency") > 0) {
    set_latency(kAttrNetworkLatency, options.network_latency, "network-latency");
  }
  if (command.count("--inorder") > 0) {
    set_word(kOpInorderDelivery, options.inorder, "inorder");
  }
  if (command.count("--notifications") > 0) {
    set_word(kOpNotificationControl, options.notifications, "notifications");
  }
}

}  // namespace

void add_switch_commands(CLI::App &app) {
  static switch_options options;
  CLI::App *whole = app.add_subcommand("switch", "set what applies to the whole switch")->require_subcommand(1);
  CLI::App *set = whole->add_subcommand("set", "each option that is given is one request, in this order");
  add_text(*set, "--name", options.name, "NAME", "its name, at most 255 octets; sysName where IF-MIB is served");
  add_text(*set, "--wwn", options.wwn, "WWN", "its world wide name, eight octets, such as 20:00:02:00:00:00:00:01")
      ->check(wwn_problem);
  add_number(*set, "--switch-latency", options.switch_latency, "milliseconds, 0 to 60000", {0, kLatencyMax});
  add_number(*set, "--network-latency", options.network_latency, "milliseconds, 0 to 60000", {0, kLatencyMax});
  add_choice(*set, "--inorder", options.inorder, choices_of(kSwitchWords), "in-order delivery");
  add_choice(*set, "--notifications", options.notifications, choices_of(kSwitchWords),
             "whether changes raise notifications");
  set->callback([set] { set_switch(*set, options); });
}
