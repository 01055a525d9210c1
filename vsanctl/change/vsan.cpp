// vsanctl vsan …
#include <stdio.h>
#include <string.h>

#include "arguments.h"
#include "ask/question.h"
#include "ask/rows.h"
#include "commands.h"
#include "output/failure.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

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
  add_vsan(command, "vsan", options.id)->required();
  add_text(command, "--name", options.name, "NAME", "name, at most 32 octets, without a blank");
  for (const row_option &each : kRowOptions) {
    if (each.words != nullptr) {
      add_choice(command, each.name, options.row.*each.field, choices_of(*each.words), each.about);
    } else {
      add_number(command, each.name, options.row.*each.field, each.about);
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

void put_name(const vsan_options &options, const std::string &what, vsanEntry &row) {
  if (options.name.size() >= kVsanNameField) {
    fail_refused(what, kStatusNameRange, named_values(options, row));
  }
  memset(row.vsanName, 0, sizeof row.vsanName);
  memcpy(row.vsanName, options.name.data(), options.name.size());
}

// Puts what was given into the row.
void put_given(const CLI::App &command, const vsan_options &options, const std::string &what, vsanEntry &row) {
  if (command.count("--name") > 0) {
    put_name(options, what, row);
  }
  for (const row_option &each : kRowOptions) {
    if (command.count(each.name) == 0) {
      continue;
    }
    row.*each.field = options.row.*each.field;
    // A 0 in this one would mean "leave it as it is".
    if (row.*each.field == 0 && each.field == &vsanEntry::vsanNetworkDropLatency) {
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

bool anything_given(const CLI::App &command) {
  return command.count("--name") > 0 ||
         std::ranges::any_of(kRowOptions, [&](const row_option &each) { return command.count(each.name) > 0; });
}

std::string option_names() {
  std::string names = "--name";
  for (const row_option &each : kRowOptions) {
    names += std::string(", ") + each.name;
  }
  return names;
}

void set_vsan(const CLI::App &command, vsan_options &options) {
  if (!anything_given(command)) {
    fail(kExitUsage, "vsan set: nothing to change was given; there are " + option_names());
  }
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

// Only the name of a VSAN that is there.
void rename_vsan(const vsan_options &options) {
  const std::string what = "VSAN " + std::to_string(options.id) + " was not renamed";
  vsanEntry row = {};
  const int status = read_vsan(options.id, row);
  if (status != 0) {
    fail_refused(what, status, named_values(options, row));
  }
  put_name(options, what, row);
  send_vsan(options, what, row, kMsgSet);
}

}  // namespace

void add_vsan_commands(CLI::App &app) {
  static vsan_options options;
  CLI::App *vsan = app.add_subcommand("vsan", "create, delete or change a VSAN")->require_subcommand(1);
  CLI::App *create = vsan->add_subcommand("create", "create a VSAN; what is not given has its default");
  add_row_options(*create, options);
  create->get_option("vsan")->type_name("NUMBER");  // a new one: completion must not offer those that exist
  create->callback([create] { create_vsan(*create, options); });
  CLI::App *set = vsan->add_subcommand("set", "change a VSAN; what is not given stays");
  add_row_options(*set, options);
  set->callback([set] { set_vsan(*set, options); });
  CLI::App *rename = vsan->add_subcommand("rename", "give a VSAN another name");
  add_vsan(*rename, "vsan", options.id)->required();
  add_text(*rename, "name", options.name, "NAME", "at most 32 octets, without a blank")->required();
  rename->callback([] { rename_vsan(options); });
  CLI::App *remove = vsan->add_subcommand("delete", "delete a VSAN; its interfaces return to VSAN 1");
  add_vsan(*remove, "vsan", options.id)->required();
  remove->callback([] { delete_vsan(options); });
}
