// vsanctl show …
#include <iterator>

#include "arguments.h"
#include "ask/page_choice.h"
#include "commands.h"
#include "output/writer.h"
#include "show/shows.h"
#include "vsan_values.h"

namespace {

struct show_row {
  const char *name;
  const char *about;
  void (*show)(const writer &to, const show_options &options);
  bool takes_vsan = false;
  bool takes_page = false;
};
constexpr show_row kShows[] = {
    {"vsan", "the VSANs, or one", show_vsan, true},
    {"interface", "interfaces and the VSANs they are in", show_interface},
    {"membership", "active memberships: interfaces that are up, in active VSANs", show_membership},
    {"timers", "the timers in force, in milliseconds", show_timers, true},
    {"switch", "what applies to the whole switch: name, latencies, in-order delivery", show_switch},
    {"kdx", "distribution of the timers: session, pending values, VSANs kept out", show_kdx},
    {"fabric", "the fabric of switches: who is in it, who holds the lock, the last commits", show_fabric},
    {"errors", "why SETs failed: the last errors of SNMP users, newest first", show_errors, false, true},
    {"notifications", "the notification queue and its counters", show_notifications},
    {"levels", "which levels of debug lines are recorded in the history, and which are printed", show_levels, false,
     true},
    {"status", "switchd and its services", show_status},
};

}  // namespace

void add_show_commands(CLI::App &app, const common_options &common) {
  CLI::App *show = app.add_subcommand("show", "show something")->require_subcommand(1);
  static show_options options;
  for (const show_row &row : kShows) {
    CLI::App *command = show->add_subcommand(row.name, row.about);
    if (row.takes_vsan) {
      add_vsan(*command, "vsan", options.vsan, "only this VSAN");
    }
    if (row.takes_page) {
      add_page(*command);
    }
    if (row.show == show_timers) {
      command->add_flag("--pending", options.pending, "as a commit of the distribution session would leave them");
    }
    command->callback([&row, &common] {
      const writer to = writer_open(common.json);
      row.show(to, options);
      writer_close(to);
    });
  }
}
