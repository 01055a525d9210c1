// vsanctl kdx …: distribution of the timers.
#include "arguments.h"
#include "ask/question.h"
#include "commands.h"
#include "distribution_records.h"
#include "record_words.h"
#include "requests.h"

namespace {

enum class kdx_argument { none, on_off, vsan };

struct kdx_row {
  const char *name;
  const char *about;
  distribution_command command;
  kdx_argument argument;
  uint32_t fixed;  // the argument when the command line has none
};
constexpr kdx_row kCommands[] = {
    {"enable", "collect timer changes in a session", kDistributionEnable, kdx_argument::none, 1},
    {"disable", "let timer changes work at once", kDistributionEnable, kdx_argument::none, 0},
    {"show-running", "whether reads show running values while a session is open", kDistributionShowRunning,
     kdx_argument::on_off, 0},
    {"commit", "bring the session's values into force", kDistributionCommit, kdx_argument::none, 0},
    {"resume", "open the session whose lock was lost anew, its values kept", kDistributionResume, kdx_argument::none,
     0},
    {"abort", "drop the session's values", kDistributionAbort, kdx_argument::none, 0},
    {"keep-out", "keep a VSAN out of distribution", kDistributionKeepOut, kdx_argument::vsan, 0},
    {"take-in", "let a VSAN take part again", kDistributionTakeIn, kdx_argument::vsan, 0},
    {"remote-lock", "play another switch that holds the lock", kDistributionRemoteLock, kdx_argument::on_off, 0},
};

void command_kdx(const kdx_row &row, uint32_t argument) {
  const distribution_order order = {row.command, row.argument == kdx_argument::none ? row.fixed : argument};
  ask_or_fail(std::string("kdx ") + row.name, {kServiceDistribution, kOpDistribution, kMsgSet, record_bytes(order), 0},
              {{"vsan", std::to_string(argument)}});
}

}  // namespace

void add_kdx_commands(CLI::App &app) {
  static uint32_t argument = 0;
  CLI::App *kdx = app.add_subcommand("kdx", "distribution of the timers")->require_subcommand(1);
  for (const kdx_row &row : kCommands) {
    CLI::App *command = kdx->add_subcommand(row.name, row.about);
    if (row.argument == kdx_argument::vsan) {
      add_vsan(*command, "vsan", argument)->required();
    } else if (row.argument == kdx_argument::on_off) {
      add_choice(*command, "switch", argument, kOnOff, "on or off")->required();
    }
    command->callback([&row] { command_kdx(row, argument); });
  }
}
