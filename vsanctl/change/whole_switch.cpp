// vsanctl switch …
#include "ask/question.h"
#include "big_endian.h"
#include "command_line/arguments.h"
#include "commands.h"
#include "record_words.h"
#include "requests.h"
#include "value_words.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

struct switch_options {
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

void set_switch(const CLI::App &command, const switch_options &options) {
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
  add_number(*set, "--switch-latency", options.switch_latency, "milliseconds, 0 to 60000");
  add_number(*set, "--network-latency", options.network_latency, "milliseconds, 0 to 60000");
  add_choice(*set, "--inorder", options.inorder, choices_of(kSwitchWords), "in-order delivery");
  add_choice(*set, "--notifications", options.notifications, choices_of(kSwitchWords),
             "whether changes raise notifications");
  set->callback([set] { set_switch(*set, options); });
}
