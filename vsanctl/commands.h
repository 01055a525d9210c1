// The commands of vsanctl. Each `add_` puts its commands on the command line; what a command does happens when it is
// found there.
#ifndef VSANCTL_COMMANDS_H
#define VSANCTL_COMMANDS_H

#include <CLI/CLI.hpp>

// What applies to all commands.
struct common_options {
  bool json = false;
};

void add_show_commands(CLI::App &app, const common_options &common);
void add_vsan_commands(CLI::App &app);
void add_interface_commands(CLI::App &app);
void add_timer_commands(CLI::App &app);
void add_switch_commands(CLI::App &app);
void add_configuration_commands(CLI::App &app, const common_options &common);
void add_kdx_commands(CLI::App &app);
void add_fabric_commands(CLI::App &app);
void add_history_commands(CLI::App &app, const common_options &common);
void add_debug_commands(CLI::App &app);
void add_fault_commands(CLI::App &app, const common_options &common);
void add_scenario_commands(CLI::App &app, const common_options &common);

#endif
