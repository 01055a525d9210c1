// vsanfleet: many virtual switches from one description.
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>

#include "arguments.h"
#include "fleet_commands.h"
#include "fleet_lists.h"
#include "wrong_line.h"

namespace {

constexpr char kFooter[] =
    "\nThe keys of FILE are in vsanfleet.toml(5).\n\n"
    "Exit codes: 0 done; 1 not for all switches, each of them named; 2 command line or description; 3 supervisor,\n"
    "programs or files; 4 the output could not be written.";

struct fleet_options {
  std::string file;
  std::string host;
  std::string switches;
  std::string scenario;
  std::vector<std::string> words;
  std::string share = "100%";
  uint32_t at_once = 0;
  bool foreground = false;
  bool json = false;
  bool remove = false;
};

// "10%" or "10".
int percent_of(const std::string &share, uint32_t &percent) {
  const std::string digits = share.ends_with('%') ? share.substr(0, share.size() - 1) : share;
  const bool number =
      !digits.empty() && digits.size() <= 3 && digits.find_first_not_of("0123456789") == std::string::npos;
  percent = number ? static_cast<uint32_t>(std::stoul(digits)) : 0;
  return percent >= 1 && percent <= 100 ? 0 : -1;
}

// What the options leave of the fleet. `here`: the command is about this machine's switches, not about all.
int take_fleet(const fleet_options &options, bool here, fleet_description &fleet) {
  std::string problem;
  uint32_t percent = 100;
  if (read_fleet(options.file, fleet, problem) != 0) {
    fprintf(stderr, "%s\n", problem.c_str());
    return kFleetUsage;
  }
  const bool by_host = here ? !fleet.hosts.empty() || !options.host.empty() : !options.host.empty();
  if (percent_of(options.share, percent) != 0) {
    problem = "--share " + options.share + ": 1% to 100% is wanted";
  } else if (by_host && keep_host(fleet, options.host, problem) != 0) {
    problem = options.file + ": " + problem + "; --host NAME says which one this is";
  } else if (keep_switches(fleet, options.switches, percent, problem) != 0) {
    problem = "--switches: " + problem;
  }
  if (!problem.empty()) {
    fprintf(stderr, "vsanfleet: %s\n", problem.c_str());
    return kFleetUsage;
  }
  return kFleetOk;
}

int print_list(const fleet_options &options, std::string (*list)(const fleet_description &fleet)) {
  fleet_description fleet;
  const int code = take_fleet(options, false, fleet);
  if (code == kFleetOk) {
    fputs(list(fleet).c_str(), stdout);
  }
  return code;
}

int run_words(const fleet_options &options, const std::vector<std::string> &words) {
  fleet_description fleet;
  const int code = take_fleet(options, true, fleet);
  return code != kFleetOk ? code : run_for_each(fleet, words, options.at_once, options.json);
}

int start_command(const fleet_options &options) {
  fleet_description fleet;
  const int code = take_fleet(options, true, fleet);
  return code != kFleetOk ? code : start_fleet(fleet, options.foreground);
}

int stop_command(const fleet_options &options) {
  fleet_description fleet;
  const int code = take_fleet(options, true, fleet);
  return code != kFleetOk ? code : stop_fleet(fleet, options.remove);
}

int status_command(const fleet_options &options) {
  fleet_description fleet;
  const int code = take_fleet(options, true, fleet);
  return code != kFleetOk ? code : show_fleet(fleet, options.json);
}

CLI::App *add_command(CLI::App &app, const char *name, const char *about, fleet_options &options) {
  CLI::App *command = app.add_subcommand(name, about);
  add_text(*command, "file", options.file, "FILE", "the description of the fleet, in TOML")->required();
  add_text(*command, "--host", options.host, "NAME",
           "the machine that it is about, of a description with several; this one unless said otherwise");
  return command;
}

void add_choice_of_switches(CLI::App &command, fleet_options &options) {
  add_text(command, "--switches", options.switches, "LIST",
           "only these: numbers, ranges, names, groups, such as 1,5-9,core-a,edge");
  add_text(command, "--share", options.share, "PERCENT", "only so many of these, spread evenly, such as 10%");
  command.add_flag("--json", options.json, "print JSON");
}

void add_each_commands(CLI::App &app, fleet_options &options) {
  CLI::App *scenario = add_command(app, "scenario", "play a scenario of vsanctl at some or all switches", options);
  add_text(*scenario, "scenario", options.scenario, "SCENARIO", "the scenario, in TOML: see vsanctl(1)")->required();
  CLI::App *each = add_command(app, "exec", "run a command of vsanctl at some or all switches", options);
  each->add_option("words", options.words, "the command, behind --")->type_name("WORDS")->required();
  for (CLI::App *command : {scenario, each}) {
    add_choice_of_switches(*command, options);
    add_number(*command, "--at-once", options.at_once, "so many at a time; all unless said otherwise", {1, 65535});
  }
}

void add_commands(CLI::App &app, fleet_options &options) {
  CLI::App *start = add_command(app, "start", "start the switches and agents that do not run", options);
  start->add_flag("--foreground", options.foreground, "stay until SIGTERM or SIGINT, then stop the fleet");
  CLI::App *stop = add_command(app, "stop", "stop all switches and agents", options);
  stop->add_flag("--remove", options.remove, "remove their files, too, stores included");
  add_choice_of_switches(*add_command(app, "status", "which switches and agents run", options), options);
  add_command(app, "targets", "print the agents as targets for Prometheus", options);
  add_command(app, "list", "print the agents in CSV, for an NMS to import", options);
  add_each_commands(app, options);
}

int run_chosen(const CLI::App &app, const fleet_options &options) {
  const std::string name = app.get_subcommands().front()->get_name();
  if (name == "targets" || name == "list") {
    return print_list(options, name == "list" ? import_list : target_list);
  }
  if (name == "scenario") {
    return run_words(options, {"scenario", std::filesystem::absolute(options.scenario).string()});
  }
  if (name == "exec") {
    return run_words(options, options.words);
  }
  return name == "start" ? start_command(options) : name == "stop" ? stop_command(options) : status_command(options);
}

int parse_and_run(int argc, char **argv) {
  fleet_options options;
  CLI::App app("Starts, lists and stops many virtual switches, each with an SNMP agent, from one description.",
               "vsanfleet");
  app.set_version_flag("--version", std::string("vsanfleet ") + VSANMIB_VERSION, "print the version and exit");
  app.footer(kFooter);
  app.require_subcommand(1);
  add_commands(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success &asked) {  // help, version
    return app.exit(asked);
  } catch (const CLI::ParseError &error) {
    fprintf(stderr, "vsanfleet: %s\n", wrong_line_text(app, error).c_str());
    return kFleetUsage;
  }
  return run_chosen(app, options);
}

}  // namespace

int main(int argc, char **argv) {
  signal(SIGPIPE, SIG_IGN);  // what was begun is done to its end although nobody reads any more
  try {
    const int code = parse_and_run(argc, argv);
    if (fflush(stdout) != 0 || ferror(stdout) != 0) {
      fprintf(stderr, "vsanfleet: standard output: %s\n", strerror(errno));
      return kFleetOutput;
    }
    return code;
  } catch (const std::exception &error) {  // such as no memory
    fprintf(stderr, "vsanfleet: %s\n", error.what());
    return kFleetSupervisor;
  }
}
