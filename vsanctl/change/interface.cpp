// vsanctl interface …
#include "ask/question.h"
#include "ask/rows.h"
#include "command_line/arguments.h"
#include "commands.h"
#include "port_records.h"
#include "record_words.h"
#include "requests.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

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

}  // namespace

void add_interface_commands(CLI::App &app) {
  static interface_options options;
  CLI::App *interface = app.add_subcommand("interface", "move an interface, take it up or down")->require_subcommand(1);
  CLI::App *move = interface->add_subcommand("move", "put an interface into another VSAN");
  CLI::App *up = interface->add_subcommand("up", "take an interface up");
  CLI::App *down = interface->add_subcommand("down", "take an interface down");
  for (CLI::App *each : {move, up, down}) {
    add_text(*each, "interface", options.interface, "INTERFACE", "its name or index")->required();
  }
  add_vsan(*move, options.vsan);
  move->callback([] { move_interface(options); });
  up->callback([] { set_interface(options, true); });
  down->callback([] { set_interface(options, false); });
}
