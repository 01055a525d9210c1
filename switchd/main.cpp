// switchd: the managers of one switch.
#include <event2/event.h>
#include <grp.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>

#include <CLI/CLI.hpp>
#include <exception>

#ifdef HAVE_LIBSYSTEMD
#include <systemd/sd-daemon.h>
#endif

#include "arguments.h"
#include "event_ptr.h"
#include "host.h"
#include "log.h"
#include "switchplatform/run_dir.h"
#include "topology.h"
#include "wrong_line.h"

namespace {

constexpr char kFooter[] =
    "\nSIGTERM and SIGINT stop it cleanly, SIGHUP reopens the log file. It prints \"ready\" on standard output when "
    "its sockets\n"
    "listen.\n\n"
    "Exit codes: 0 stopped cleanly; 1 the run directory, a socket, the log or the shared page cannot be used;\n"
    "2 command line; 3 topology file; 4 store (newer schema, damaged, not writable, in use);\n"
    "5 another switchd uses the run directory.";

struct options {
  std::string run_dir = platform_run_dir();
  std::string state_file;
  std::string topology_file;
  std::string log_level = "info";
  std::string log_file;
  std::string group;
  fabric_options fabric;
  bool check = false;
};

// The gid of a group given by name or number; -1 when there is none. Gids go up to 2^32 - 2.
int64_t group_id(const std::string &group) {
  if (const struct group *entry = getgrnam(group.c_str()); entry != nullptr) {
    return entry->gr_gid;
  }
  const bool number =
      !group.empty() && group.size() <= 10 && group.find_first_not_of("0123456789") == std::string::npos;
  const int64_t id = number ? std::stoll(group) : -1;
  return id < int64_t{UINT32_MAX} ? id : -1;
}

std::string group_problem(const std::string &group) {
  return group_id(group) < 0 ? "\"" + group + "\": there is no such group" : "";
}

void on_stop(evutil_socket_t signal_number, short, void *context) {
  log_info(std::string("stopping on ") + strsignal(static_cast<int>(signal_number)));
  event_base_loopbreak(static_cast<event_base *>(context));
}

void on_hangup(evutil_socket_t, short, void *) {
  log_reopen();
}

void tell_system_manager([[maybe_unused]] const char *state) {
#ifdef HAVE_LIBSYSTEMD
  sd_notify(0, state);
#endif
}

// Shows the system manager, where it watches, that the loop turns. Null when nobody does.
event_ptr watch([[maybe_unused]] event_base *base) {
#ifdef HAVE_LIBSYSTEMD
  uint64_t microseconds = 0;
  if (sd_watchdog_enabled(0, &microseconds) > 0) {
    const uint64_t half = microseconds / 2;
    const timeval every{static_cast<time_t>(half / 1000000), static_cast<suseconds_t>(half % 1000000)};
    const auto on_watchdog = [](evutil_socket_t, short, void *) { tell_system_manager("WATCHDOG=1"); };
    event_ptr timer(event_new(base, -1, EV_PERSIST, on_watchdog, nullptr));
    event_add(timer.get(), &every);
    return timer;
  }
#endif
  return nullptr;
}

void serve(event_base *base) {
  const event_ptr signals[] = {event_ptr(evsignal_new(base, SIGTERM, on_stop, base)),
                               event_ptr(evsignal_new(base, SIGINT, on_stop, base)),
                               event_ptr(evsignal_new(base, SIGHUP, on_hangup, nullptr))};
  for (const event_ptr &each : signals) {
    event_add(each.get(), nullptr);
  }
  const event_ptr watchdog = watch(base);
  log_info("ready");
  printf("ready\n");
  fflush(stdout);
  tell_system_manager("READY=1");
  event_base_dispatch(base);
  tell_system_manager("STOPPING=1");
}

int run(const options &chosen) {
  std::string error;
  if (log_open(chosen.log_level, chosen.log_file, error) != 0) {
    fprintf(stderr, "switchd: %s\n", error.c_str());
    return kHostFailed;
  }
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);  // a limit on file sizes fails one write, as a full disk does
  switch_host host;
  host.base = event_base_new();
  host.group = chosen.group.empty() ? -1 : group_id(chosen.group);
  host.fabric.options = chosen.fabric;
  host_result result = host_open(host, chosen.run_dir, chosen.state_file, chosen.topology_file, error);
  if (result == kHostOk) {
    result = host_listen(host, error);
  }
  if (result == kHostOk) {
    serve(host.base);
  } else {
    log_error(error);
  }
  host_close(host);
  event_base_free(host.base);
  return result;
}

int check_topology(const std::string &file) {
  switch_change unused;
  std::string error;
  if (read_topology(file, unused, error) != 0) {
    fprintf(stderr, "%s\n", error.c_str());
    return kHostTopology;
  }
  return kHostOk;
}

void add_fabric_options(CLI::App &app, fabric_options &fabric) {
  add_text(app, "--fabric", fabric.name, "NAME", "the fabric of switches to be in; timers are distributed in it")
      ->check(fabric_name_problem);
  app.add_option("--fabric-endpoints", fabric.endpoints, "the etcd members that keep the fabric")
      ->type_name("URL,...")
      ->delimiter(',')
      ->check(fabric_endpoint_problem);
  add_text(app, "--fabric-ca", fabric.ca, "FILE", "certificates that the members' certificates are signed by");
  add_text(app, "--fabric-cert", fabric.cert, "FILE", "this switch's certificate, for members that ask for one");
  add_text(app, "--fabric-key", fabric.key, "FILE", "its key");
  add_text(app, "--fabric-user", fabric.user, "USER", "the user of etcd to be");
  add_text(app, "--fabric-password-file", fabric.password_file, "FILE", "the user's password, in the first line");
}

int parse_and_run(int argc, char **argv) {
  options chosen;
  CLI::App app("The managers of one switch: VSANs, interfaces, timers, distribution, notifications.", "switchd");
  app.set_version_flag("--version", std::string("switchd ") + VSANMIB_VERSION, "print the version and exit");
  add_text(app, "--run-dir", chosen.run_dir, "DIR", "where the sockets and the shared page are")
      ->envname("SWITCHD_RUN_DIR")
      ->capture_default_str();
  CLI::Option *state = add_text(app, "--state", chosen.state_file, "FILE", "the store; made when it is absent");
  CLI::Option *topology =
      add_text(app, "--topology", chosen.topology_file, "FILE", "TOML file that a new store is filled from");
  app.add_flag("--check", chosen.check, "only check the topology file; print its errors")->needs(topology);
  add_word(app, "--log-level", chosen.log_level, {std::begin(kLogLevels), std::end(kLogLevels)}, "what is logged");
  add_text(app, "--log-file", chosen.log_file, "FILE", "log to this file instead of standard error");
  add_text(app, "--group", chosen.group, "GROUP",
           "the group, by name or number, whose members may connect besides root and this user; this process's own "
           "unless said otherwise")
      ->check(group_problem);
  add_fabric_options(app, chosen.fabric);
  app.footer(kFooter);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success &asked) {  // help, version
    app.exit(asked);
    return fflush(stdout) == 0 && ferror(stdout) == 0 ? kHostOk : kHostFailed;
  } catch (const CLI::ParseError &error) {
    fprintf(stderr, "switchd: %s\n", wrong_line_text(app, error).c_str());
    return kHostUsage;
  }
  if (chosen.check) {
    return check_topology(chosen.topology_file);
  }
  if (state->count() == 0) {
    fprintf(stderr, "switchd: --state FILE is missing: the file that the switch's configuration is kept in\n");
    return kHostUsage;
  }
  return run(chosen);
}

}  // namespace

int main(int argc, char **argv) {
  try {
    return parse_and_run(argc, argv);
  } catch (const std::exception &error) {  // such as no memory
    fprintf(stderr, "switchd: %s\n", error.what());
    return kHostFailed;
  }
}
