// vsanctl: the operator's command for the switch that switchd plays.
#include <errno.h>
#include <string.h>

#include <exception>

#include "commands.h"
#include "question.h"
#include "switchplatform/run_dir.h"

namespace {

constexpr char kFooter[] =
    "\nExit codes: 0 done; 1 switchd refused; 2 command line; 3 no switchd, no answer in time, or an answer that is "
    "none.";

int run(int argc, char **argv) {
  common_options common;
  std::string run_dir = platform_run_dir();
  CLI::App app("Shows and changes the VSANs, interfaces, timers and notifications of a switch.", "vsanctl");
  app.add_option("--run-dir", run_dir, "where the sockets of switchd are")->capture_default_str();
  app.add_flag("--json", common.json, "print JSON instead of tables");
  app.footer(kFooter);
  app.require_subcommand(1);
  app.fallthrough();
  // Commands run while the line is parsed, after its options: the run directory must be known by then.
  app.parse_complete_callback([&] {
    if (platform_set_run_dir(run_dir.c_str()) != 0) {
      fail(kExitUsage, "--run-dir " + run_dir + ": " + strerror(errno));
    }
  });
  add_show_commands(app, common);
  add_change_commands(app);
  add_kdx_commands(app);
  add_history_commands(app, common);
  add_fault_commands(app, common);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? kExitOk : kExitUsage;
  }
  return kExitOk;
}

}  // namespace

int main(int argc, char **argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception &error) {  // such as an answer that is no JSON
    fprintf(stderr, "vsanctl: %s\n", error.what());
    return kExitNoSwitch;
  }
}
