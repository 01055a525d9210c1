// vsanctl: the operator's command for the switch that switchd plays.
#include <errno.h>
#include <fcntl.h>
#include <locale.h>
#include <string.h>

#include <exception>

#include "commands.h"
#include "help/completion.h"
#include "help/examples.h"
#include "output/failure.h"
#include "switchplatform/operator_requests.h"
#include "switchplatform/run_dir.h"
#include "wrong_line.h"

namespace {

constexpr char kFooter[] =
    "Examples:\n"
    "  vsanctl show vsan\n"
    "  vsanctl vsan create 50 --name edge\n"
    "  vsanctl interface move fc1/3 50\n"
    "  vsanctl timer set e_d_tov 2500 --vsan 50 --force\n"
    "  vsanctl export > switch.toml\n"
    "  vsanctl show errors\n"
    "\nExit codes: 0 done; 1 switchd refused; 2 command line; 3 no switchd, no answer in time, or an answer that is "
    "none;\n4 the output could not be written.";

void add_commands(CLI::App &app, const common_options &common) {
  add_show_commands(app, common);
  add_vsan_commands(app);
  add_interface_commands(app);
  add_timer_commands(app);
  add_switch_commands(app);
  add_configuration_commands(app, common);
  add_kdx_commands(app);
  add_fabric_commands(app);
  add_history_commands(app, common);
  add_debug_commands(app);
  add_fault_commands(app, common);
  add_scenario_commands(app, common);
}

int run(int argc, char **argv) {
  common_options common;
  std::string run_dir = platform_run_dir();
  CLI::App app("Shows and changes the VSANs, interfaces, timers and notifications of a switch.", "vsanctl");
  app.set_version_flag("--version", std::string("vsanctl ") + VSANMIB_VERSION, "print the version and exit");
  app.add_option("--run-dir", run_dir, "where the sockets of switchd are")
      ->envname("SWITCHD_RUN_DIR")
      ->type_name("DIR")
      ->capture_default_str();
  app.add_flag("--json", common.json, "print JSON instead of tables, errors too");
  app.footer(kFooter);
  app.require_subcommand(1);
  app.fallthrough();
  // Commands run while the line is parsed, after its options: the run directory must be known by then.
  app.parse_complete_callback([&] {
    if (common.json) {
      messages_as_json();
    }
    if (platform_set_run_dir(run_dir.c_str()) != 0) {
      fail(kExitUsage, "--run-dir " + run_dir + ": " + strerror(errno));
    }
  });
  add_commands(app, common);
  add_examples(app);
  if (is_completion(argc, argv)) {
    return complete(app, argc, argv);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success &asked) {  // help, version
    return app.exit(asked);
  } catch (const CLI::ParseError &error) {
    if (app.count("--json") > 0) {
      messages_as_json();
    }
    fail(kExitUsage, wrong_line_text(app, error));
  }
  return kExitOk;
}

// A socket must not get the number of a stream that is closed. What is written there fails, and is told.
void occupy_streams() {
  for (int fd = 0; fd <= 2; ++fd) {
    if (fcntl(fd, F_GETFD) < 0) {
      static_cast<void>(open("/dev/null", O_RDONLY));
    }
  }
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): only fail() could, where it writes the text of another one
int main(int argc, char **argv) {
  occupy_streams();
  setlocale(LC_CTYPE, "");  // names are shown as the terminal can show them
  platform_operator_requests();
  try {
    const int code = run(argc, argv);
    check_output();
    return code;
  } catch (const std::exception &error) {  // such as an answer that is no JSON
    fail(kExitNoSwitch, error.what());
  }
}
