// vsanctl fabric …: this switch in a fabric of switches.
#include <time.h>

#include "arguments.h"
#include "ask/control.h"
#include "commands.h"
#include "output/failure.h"
#include "requests.h"
#include "statuses.h"

namespace {

using nlohmann::json;

constexpr int kJoinPause = 100;  // milliseconds
constexpr int kJoinLooks = 60;

struct join_options {
  std::string take;
};

void pause_joining() {
  const timespec pause = {0, kJoinPause * 1000000L};
  nanosleep(&pause, nullptr);
}

// The switch joins when it has read the fabric; whoever asked for it is to know what came of it.
void join_fabric(const join_options &options) {
  tell_control("the switch did not join", kOpFabric, kMsgSet, {{"command", "join"}, {"take", options.take}});
  json fabric;
  for (int look = 0; look < kJoinLooks; ++look) {
    pause_joining();
    fabric = ask_control("the fabric", kOpFabric, kMsgGet);
    if (fabric.at("state") == "member") {
      return;
    }
    if (fabric.at("state") == "conflict" && look > 0) {
      break;
    }
  }
  fail(kExitRefused, "the switch did not join the fabric: " + fabric.at("why").get<std::string>(), kStatusNotJoined);
}

void leave_fabric() {
  tell_control("the switch did not leave", kOpFabric, kMsgSet, {{"command", "leave"}});
}

}  // namespace

void add_fabric_commands(CLI::App &app) {
  static join_options options;
  CLI::App *fabric =
      app.add_subcommand("fabric", "the fabric of switches that switchd was started in")->require_subcommand(1);
  CLI::App *join = fabric->add_subcommand("join", "take the switch in again, or say whose timers hold");
  add_word(*join, "--take", options.take, {"theirs", "ours"},
           "whose timers hold when those of the fabric and of the switch differ");
  join->callback([] { join_fabric(options); });
  fabric->add_subcommand("leave", "take the switch out: its timers stay as they are")->callback([] { leave_fabric(); });
}
