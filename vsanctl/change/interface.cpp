// vsanctl interface …
#include <string.h>

#include "arguments.h"
#include "ask/question.h"
#include "ask/rows.h"
#include "commands.h"
#include "port_records.h"
#include "record_words.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

struct interface_options {
  std::string interface;  // name or index
  std::string name;       // a new one
  uint32_t index = 0;
  uint32_t vsan = kDefaultVsan;
  bool down = false;
};

void move_interface(const interface_options &options) {
  const shown_interface row = find_interface_row(options.interface);
  const vsanIfEntry wanted = {row.index, options.vsan, 0, kRowStatusActive};
  ask_or_fail("interface " + options.interface + " was not moved",
              {kServiceVsanManager, kOpInterfaceVsan, kMsgSet, record_bytes(wanted), 0},
              {{"vsan", std::to_string(options.vsan)}, {"interface", options.interface}});
}

void set_interface(const interface_options &options, bool up) {
  const shown_interface row = find_interface_row(options.interface);
  const switch_interface wanted = {row.index, up ? 1U : 0U, {}};
  ask_or_fail("interface " + options.interface + " was not taken " + (up ? "up" : "down"),
              {kServicePortManager, kOpInterface, kMsgSet, record_bytes(wanted), 0},
              {{"interface", options.interface}});
}

// The name into its field of a record; one that does not fit is refused as the manager would.
template <size_t room>
void put_name(const std::string &what, const std::string &name, char (&field)[room]) {
  if (name.size() >= room) {
    fail_refused(what, kStatusInterfaceName, {{"name", "\"" + name + "\""}});
  }
  memcpy(field, name.data(), name.size());
}

void create_interface(const interface_options &options) {
  const std::string what = "interface " + options.interface + " was not created";
  interface_definition wanted = {options.index, options.vsan, options.down ? 0U : 1U, {}};
  put_name(what, options.interface, wanted.name);
  ask_or_fail(what, {kServicePortManager, kOpInterfaceRow, kMsgSet, record_bytes(wanted), 0},
              {{"name", "\"" + options.interface + "\""},
               {"index", std::to_string(options.index)},
               {"vsan", std::to_string(options.vsan)}});
}

void delete_interface(const interface_options &options) {
  const shown_interface row = find_interface_row(options.interface);
  ask_or_fail(
      "interface " + options.interface + " was not deleted",
      {kServicePortManager, kOpInterfaceRow, kMsgDelete, record_bytes(interface_definition{row.index, 0, 0, {}}), 0});
}

void rename_interface(const interface_options &options) {
  const std::string what = "interface " + options.interface + " was not renamed";
  switch_interface wanted = {find_interface_row(options.interface).index, 0, {}};
  put_name(what, options.name, wanted.name);
  ask_or_fail(what, {kServicePortManager, kOpInterfaceName, kMsgSet, record_bytes(wanted), 0},
              {{"name", "\"" + options.name + "\""}});
}

}  // namespace

void add_interface_commands(CLI::App &app) {
  static interface_options options;
  CLI::App *interface =
      app.add_subcommand("interface", "create, delete, rename or move an interface, take it up or down")
          ->require_subcommand(1);
  const auto add_command = [interface](const char *name, const char *about, void (*run)()) {
    CLI::App *command = interface->add_subcommand(name, about);
    add_text(*command, "interface", options.interface, "INTERFACE", "its name or index")->required();
    command->callback(run);
    return command;
  };
  CLI::App *move = add_command("move", "put an interface into another VSAN", [] { move_interface(options); });
  add_vsan(*move, "vsan", options.vsan)->required();
  add_command("up", "take an interface up", [] { set_interface(options, true); });
  add_command("down", "take an interface down", [] { set_interface(options, false); });
  add_command("delete", "take an interface away", [] { delete_interface(options); });
  CLI::App *rename = add_command("rename", "give an interface another name", [] { rename_interface(options); });
  add_text(*rename, "name", options.name, "NAME", "1 to 31 octets")->required();
  CLI::App *create = interface->add_subcommand("create", "make an interface");
  add_text(*create, "name", options.interface, "NAME", "its name, 1 to 31 octets, such as fc1/9")->required();
  add_number(*create, "--index", options.index, "its ifIndex, 1 to 4294967294", {1, UINT32_MAX - 1})->required();
  add_vsan(*create, "--vsan", options.vsan, "the VSAN that it is in")->capture_default_str();
  create->add_flag("--down", options.down, "it is down at first");
  create->callback([] { create_interface(options); });
}
