// vsanctl vsan …, interface …, timer …, switch …
#include <string.h>

#include "big_endian.h"
#include "commands.h"
#include "port_records.h"
#include "question.h"
#include "record_words.h"
#include "requests.h"
#include "rows.h"
#include "statuses.h"
#include "value_words.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

// Words for the values of row fields.
using word_map = std::map<std::string, uint32_t>;
word_map map_of(const value_words &words) {
  return {{words.of_1, 1}, {words.of_2, 2}};
}

struct vsan_options {
  uint32_t id = 0;
  std::string name;
  vsanEntry row = {};  // the values that were given
};

struct row_option {
  const char *name;
  const char *about;
  uint32_t vsanEntry::*field;
  const value_words *words;  // null: a number
};
constexpr row_option kRowOptions[] = {
    {"--state", "administrative state", &vsanEntry::vsanAdminState, &kAdminWords},
    {"--media", "media type", &vsanEntry::vsanMediaType, &kMediaWords},
    {"--mtu", "largest frame payload in bytes, 256 to 2112", &vsanEntry::vsanMtu, nullptr},
    {"--load-balancing", "load balancing", &vsanEntry::vsanLoadBalancingType, &kLoadBalancingWords},
    {"--interop", "interoperability mode, 0 (default) to 4", &vsanEntry::vsanInteropMode, nullptr},
    {"--inorder", "in-order delivery", &vsanEntry::vsanInorderDelivery, &kSwitchWords},
    {"--drop-latency", "network drop latency in milliseconds, 1 to 60000", &vsanEntry::vsanNetworkDropLatency, nullptr},
};

void add_row_options(CLI::App &command, vsan_options &options) {
  command.add_option("vsan", options.id, "the VSAN, 1 to 4094")->required();
  command.add_option("--name", options.name, "name, at most 32 octets without a blank");
  for (const row_option &each : kRowOptions) {
    CLI::Option *option = command.add_option(each.name, options.row.*each.field, each.about);
    if (each.words != nullptr) {
      option->transform(CLI::CheckedTransformer(map_of(*each.words)));
    }
  }
}

// The values by field, as a refusal names them.
std::vector<named_value> named_values(const vsan_options &options, const vsanEntry &row) {
  std::vector<named_value> values{{"vsan", std::to_string(options.id)}, {"name", "\"" + options.name + "\""}};
  for (const row_option &each : kRowOptions) {
    values.push_back({each.name + 2, std::to_string(row.*each.field)});
  }
  return values;
}

// Puts what was given into the row.
void put_given(const CLI::App &command, const vsan_options &options, const std::string &what, vsanEntry &row) {
  if (command.count("--name") > 0) {
    if (options.name.size() >= kVsanNameField) {
      fail_refused(what, kStatusNameRange, named_values(options, row));
    }
    memset(row.vsanName, 0, sizeof row.vsanName);
    memcpy(row.vsanName, options.name.data(), options.name.size());
  }
  for (const row_option &each : kRowOptions) {
    if (command.count(each.name) == 0) {
      continue;
    }
    row.*each.field = options.row.*each.field;
    // A 0 in these two would mean "leave it as it is".
    if (row.*each.field == 0 &&
        (each.field == &vsanEntry::vsanInorderDelivery || each.field == &vsanEntry::vsanNetworkDropLatency)) {
      fail_refused(what, kStatusLatencyRange, named_values(options, row));
    }
  }
}

void send_vsan(const vsan_options &options, const std::string &what, const vsanEntry &row, int msg_type) {
  const int status = write_vsan(row, msg_type);
  if (status != 0) {
    fail_refused(what, status, named_values(options, row));
  }
}

void create_vsan(const CLI::App &command, vsan_options &options) {
  const std::string what = "VSAN " + std::to_string(options.id) + " was not created";
  vsanEntry row = {};
  if (read_vsan(options.id, row) == 0) {
    fail(kExitRefused, what + ": vsan " + std::to_string(options.id) + ": it exists");
  }
  row.vsanIndex = options.id;
  row.vsanMediaType = kMediaFibreChannel;
  row.vsanAdminState = kAdminActive;
  row.vsanMtu = kMtuDefault;
  row.vsanInteropMode = kVsanInteropDefault;
  row.vsanLoadBalancingType = kLoadBalancingExchange;
  row.vsanRowStatus = kRowStatusActive;
  snprintf(row.vsanName, sizeof row.vsanName, "VSAN%.4u", options.id);
  put_given(command, options, what, row);
  send_vsan(options, what, row, kMsgSet);
}

void set_vsan(const CLI::App &command, vsan_options &options) {
  const std::string what = "VSAN " + std::to_string(options.id) + " was not changed";
  vsanEntry row = {};
  const int status = read_vsan(options.id, row);
  if (status != 0) {
    fail_refused(what, status, named_values(options, row));
  }
  put_given(command, options, what, row);
  send_vsan(options, what, row, kMsgSet);
}

void delete_vsan(vsan_options &options) {
  vsanEntry row = {};
  row.vsanIndex = options.id;
  const int status = write_vsan(row, kMsgDelete);
  if (status == kStatusVsanConflict) {
    fail(kExitRefused, "VSAN " + std::to_string(options.id) + " was not deleted: the default VSAN must stay");
  }
  if (status != 0) {
    fail_refused("VSAN " + std::to_string(options.id) + " was not deleted", status,
                 {{"vsan", std::to_string(options.id)}});
  }
}

void add_vsan_commands(CLI::App &app) {
  static vsan_options options;
  CLI::App *vsan = app.add_subcommand("vsan", "create, delete or change a VSAN")->require_subcommand(1);
  CLI::App *create = vsan->add_subcommand("create", "create a VSAN; what is not given has its default");
  add_row_options(*create, options);
  create->callback([create] { create_vsan(*create, options); });
  CLI::App *set = vsan->add_subcommand("set", "change a VSAN; what is not given stays");
  add_row_options(*set, options);
  set->callback([set] { set_vsan(*set, options); });
  CLI::App *remove = vsan->add_subcommand("delete", "delete a VSAN; its interfaces return to VSAN 1");
  remove->add_option("vsan", options.id, "the VSAN")->required();
  remove->callback([] { delete_vsan(options); });
}

struct interface_options {
  std::string interface;
  uint32_t vsan = 0;
};

void move_interface(const interface_options &options) {
  const interface_row row = find_interface_row(options.interface);
  const vsanIfEntry wanted = {row.index, options.vsan, 0, kRowStatusActive};
  ask_or_fail("interface " + options.interface + " was not moved",
              {kServiceVsanManager, kOpInterfaceVsan, kMsgSet, record_bytes(wanted), 0},
              {{"vsan", std::to_string(options.vsan)}, {"interface", options.interface}});
}

void set_interface(const interface_options &options, bool up) {
  const interface_row row = find_interface_row(options.interface);
  const switch_interface wanted = {row.index, up ? 1U : 0U, {}};
  ask_or_fail("interface " + options.interface + " was not taken " + (up ? "up" : "down"),
              {kServicePortManager, kOpInterface, kMsgSet, record_bytes(wanted), 0},
              {{"interface", options.interface}});
}

void add_interface_commands(CLI::App &app) {
  static interface_options options;
  CLI::App *interface = app.add_subcommand("interface", "move an interface, take it up or down")->require_subcommand(1);
  CLI::App *move = interface->add_subcommand("move", "put an interface into another VSAN");
  CLI::App *up = interface->add_subcommand("up", "take an interface up");
  CLI::App *down = interface->add_subcommand("down", "take an interface down");
  for (CLI::App *each : {move, up, down}) {
    each->add_option("interface", options.interface, "its name or index")->required();
  }
  move->add_option("vsan", options.vsan, "the VSAN")->required();
  move->callback([] { move_interface(options); });
  up->callback([] { set_interface(options, true); });
  down->callback([] { set_interface(options, false); });
}

struct timer_options {
  uint32_t key = 0;
  uint32_t value = 0;
  uint32_t vsan = 0;
  bool force = false;
};

void set_timer(const CLI::App &command, const timer_options &options) {
  const bool of_vsan = command.count("--vsan") > 0;
  const vsanFcTimerEntry timer = {
      .timer_type = options.key,
      .timer_value = options.value,
      .flag = of_vsan ? uint8_t{1} : uint8_t{0},
      .force = options.force ? uint8_t{1} : uint8_t{0},
      .vsan_id = options.vsan,
      .reserved = 0,
  };
  const timer_range &range = range_of_timer(options.key);
  ask_or_fail(std::string(range.name) + " was not set (it can be " + std::to_string(range.low) + " to " +
                  std::to_string(range.high) + " ms)",
              {kServiceVsanManager, kOpFcTimer, kMsgSet, record_bytes(timer), 0},
              {{"value", std::to_string(options.value)}, {"vsan", std::to_string(options.vsan)}});
}

void add_timer_commands(CLI::App &app) {
  static timer_options options;
  word_map words;
  for (uint32_t i = 0; i < kTimerKinds; ++i) {
    words[kTimerRanges[i].word] = kTimerFirst + i;
  }
  CLI::App *timer = app.add_subcommand("timer", "set a timer")->require_subcommand(1);
  CLI::App *set = timer->add_subcommand("set", "set a timer of the switch, or of one VSAN");
  set->add_option("timer", options.key, "which timer")->required()->transform(CLI::CheckedTransformer(words));
  set->add_option("value", options.value, "milliseconds")->required();
  set->add_option("--vsan", options.vsan, "of this VSAN only");
  set->add_flag("--force", options.force, "although the VSAN is operational");
  set->callback([set] { set_timer(*set, options); });
}

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

void add_switch_commands(CLI::App &app) {
  static switch_options options;
  CLI::App *whole = app.add_subcommand("switch", "set what applies to the whole switch")->require_subcommand(1);
  CLI::App *set = whole->add_subcommand("set", "each option that is given is one request, in this order");
  set->add_option("--switch-latency", options.switch_latency, "milliseconds, 0 to 60000");
  set->add_option("--network-latency", options.network_latency, "milliseconds, 0 to 60000");
  set->add_option("--inorder", options.inorder, "in-order delivery")
      ->transform(CLI::CheckedTransformer(map_of(kSwitchWords)));
  set->add_option("--notifications", options.notifications, "whether changes raise notifications")
      ->transform(CLI::CheckedTransformer(map_of(kSwitchWords)));
  set->require_option(1, 4);
  set->callback([set] { set_switch(*set, options); });
}

}  // namespace

void add_change_commands(CLI::App &app) {
  add_vsan_commands(app);
  add_interface_commands(app);
  add_timer_commands(app);
  add_switch_commands(app);
}
