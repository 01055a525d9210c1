#include "help/examples.h"

#include <string>
#include <string_view>

namespace {

// Without the program's name. Those of a group work one after the other on a new switch, but that a commit and an abort
// need a timer that was set before.
constexpr std::string_view kExamples[] = {
    "show vsan",
    "show vsan 20 --json",
    "show interface",
    "show membership",
    "show timers",
    "show timers 20 --pending",
    "show switch",
    "show kdx",
    "show fabric",
    "show errors",
    "show notifications",
    "show levels",
    "show status",
    "vsan create 50 --name edge --mtu 2000",
    "vsan set 50 --state suspended",
    "vsan rename 50 edge-a",
    "vsan delete 50",
    "interface create fc1/20 --index 20 --vsan 20",
    "interface move fc1/20 10",
    "interface down fc1/20",
    "interface up fc1/20",
    "interface rename fc1/20 fc9/20",
    "interface delete 20",
    "timer set e_d_tov 2500",
    "timer set r_a_tov 8000 --vsan 20 --force",
    "switch set --name core-b --notifications on",
    "switch set --switch-latency 400 --inorder on",
    "export > switch.toml",
    "import --check switch.toml",
    "import switch.toml",
    "topology check switch.toml",
    "reset --yes",
    "kdx enable",
    "kdx show-running on",
    "kdx keep-out 20",
    "kdx take-in 20",
    "kdx resume",
    "kdx commit",
    "kdx abort",
    "kdx remote-lock on",
    "kdx disable",
    "fabric join",
    "fabric join --take theirs",
    "fabric leave",
    "history -n 20 --explain",
    "history --user tenant --vsan 50",
    "history --object vsanName --explain",
    "history --follow --json",
    "debug on",
    "debug on --level 7 --record",
    "debug off",
    "fault delay 500 --side reads",
    "fault status 0x40190004 --object vsanName --count 1",
    "fault drop --service port-manager",
    "fault short-answer 8 --opcode 149",
    "fault hang --for 10 --spare-vsanctl",
    "fault list",
    "fault clear",
    "scenario --check evening.toml",
    "scenario evening.toml",
};

bool is_about(std::string_view example, const std::string &command) {
  return example.starts_with(command) && example.substr(command.size()).starts_with(" ");
}

void add_examples_of(CLI::App &app, const std::string &before) {
  for (CLI::App *command : app.get_subcommands({})) {
    const std::string words = before + command->get_name();
    std::string footer = "Examples:";
    for (const std::string_view example : kExamples) {
      if (example == words || is_about(example, words)) {
        footer += "\n  vsanctl " + std::string(example);
      }
    }
    command->footer(footer);
    add_examples_of(*command, words + " ");
  }
}

}  // namespace

void add_examples(CLI::App &app) {
  add_examples_of(app, "");
}
