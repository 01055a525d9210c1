#include "host.h"

#include <errno.h>
#include <event2/event.h>
#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>

#include "configuration.h"
#include "control.h"
#include "distribution_service.h"
#include "epoch_seconds.h"
#include "local_socket.h"
#include "log.h"
#include "port_manager.h"
#include "published/published_rows.h"
#include "published_page.h"
#include "requests.h"
#include "switchplatform/run_dir.h"
#include "switchplatform/shared_page.h"
#include "topology.h"
#include "vsan_manager/vsan_manager.h"
#include "vsan_values.h"

const std::array<hosted_service, 5> kHostedServices = {{
    {kServiceVsanManager, "vsan-manager", vsan_manager_handle, nullptr, true, kAnsweredVsanManager},
    {kServiceIdentity, "identity", identity_handle, nullptr, true, kAnsweredIdentity},
    {kServicePortManager, "port-manager", port_manager_handle, nullptr, true, kAnsweredPortManager},
    {kServiceDistribution, "distribution", distribution_handle, nullptr, true, 0},
    {kServiceControl, "control", control_handle, control_connection_ended, false, 0},
}};

namespace {

std::string lock_path(const switch_host &host) {
  return host.run_dir + "/switchd.lock";
}

void on_log(void *, const std::string &line) {
  log_warn(line);
}

// Of a message server, whose context is the switch_managers.
void on_server_log(void *, const char *text) {
  log_warn(text);
}

// Whether the lock is still the file under its name. If not, the page in the run directory is another switchd's, or
// will be; what is published there would be taken for its state.
bool holds_run_dir(switch_host &host) {
  struct stat own;
  struct stat named;
  const bool held = fstat(host.lock, &own) == 0 && stat(lock_path(host).c_str(), &named) == 0 &&
                    own.st_dev == named.st_dev && own.st_ino == named.st_ino;
  if (!held && !host.lost_run_dir) {
    log_error(host.run_dir + ": the run directory was removed, or is another switchd's now: it is left alone");
  }
  host.lost_run_dir = !held;
  return held;
}

void publish_distribution(switch_host &host) {
  if (!holds_run_dir(host)) {
    return;
  }
  const distribution_session &session = host.managers.state.settings.distribution;
  if (platform_kdx_publish(kFcTimerApplication, session.enabled != 0, session.show_running != 0) != 0) {
    return log_error(std::string("the distribution state could not be published: ") + strerror(errno));
  }
  host.distribution_told = session;
}

void on_served(void *context) {
  if (published_server *published = static_cast<switch_host *>(context)->published; published != nullptr) {
    published_server_beat(published);
  }
}

void on_changed(void *context) {
  auto &host = *static_cast<switch_host *>(context);
  const distribution_session &session = host.managers.state.settings.distribution;
  const distribution_session &told = host.distribution_told;
  if (told.enabled != session.enabled || told.show_running != session.show_running) {
    publish_distribution(host);
  }
  fabric_host_look(&host.fabric);
  if (host.notifications != nullptr) {
    notification_server_pump(host.notifications);
  }
}

// A directory that the agent's user can enter; what is in it has modes of its own.
host_result open_run_dir(switch_host &host, std::string &error) {
  if (platform_set_run_dir(host.run_dir.c_str()) != 0) {
    error = "run directory " + host.run_dir + ": " + strerror(errno) + ": its sockets could not be named";
    return kHostFailed;
  }
  if (mkdir(host.run_dir.c_str(), 0755) != 0 && errno != EEXIST) {
    error = host.run_dir + ": " + strerror(errno);
    return kHostFailed;
  }
  const std::string path = lock_path(host);
  host.lock = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0640);
  if (host.lock < 0) {
    error = path + ": " + strerror(errno);
    return kHostFailed;
  }
  if (flock(host.lock, LOCK_EX | LOCK_NB) != 0) {
    error = host.run_dir + ": another switchd uses this run directory";
    return kHostSecondInstance;
  }
  return kHostOk;
}

// Whether the file was written after the VSAN table changed last: then it is what somebody wants, and not what the
// switch was once filled from.
bool is_newer(const std::string &file, const switch_settings &settings) {
  struct stat found = {};
  return stat(file.c_str(), &found) == 0 && epoch_seconds(found.st_mtime) > settings.changed_seconds;
}

// An edited file must not be taken for what the switch is.
void note_unapplied(const switch_host &host, const switch_change &topology) {
  const switch_state &state = host.managers.state;
  const std::string extent = configuration_extent(state, configuration_change(state, topology));
  const std::string text = host.topology_file + " is not applied: the store has a configuration";
  if (extent == "nothing") {
    return log_info(text + ", the same one");
  }
  if (!is_newer(host.topology_file, state.settings)) {
    return log_info(text + ", which was changed since, in " + extent);
  }
  log_warn(text + ", which is older and differs in " + extent + "; \"vsanctl import --check " + host.topology_file +
           "\" shows what the file would change, \"vsanctl import\" applies it");
}

host_result open_store(switch_host &host, const std::string &state_file, switch_change &topology, bool has_topology,
                       std::string &error) {
  host.managers.kept = store_open(state_file, error);
  if (host.managers.kept == nullptr || store_load(host.managers.kept, host.managers.state, error) != 0) {
    return kHostStore;
  }
  if (!host.managers.state.vsans.empty()) {
    if (has_topology) {
      note_unapplied(host, topology);
    }
    return kHostOk;
  }
  timeval now{};
  gettimeofday(&now, nullptr);
  topology.settings.changed_seconds = epoch_seconds(now.tv_sec);
  topology.settings.changed_microseconds = static_cast<uint64_t>(now.tv_usec);
  if (managers_first_start(host.managers, topology, error) != 0) {
    return kHostStore;
  }
  log_info("first start: " + std::to_string(host.managers.state.vsans.size()) + " VSANs, " +
           std::to_string(host.managers.state.interfaces.size()) + " interfaces");
  return kHostOk;
}

}  // namespace

host_result host_open(switch_host &host, const std::string &run_dir, const std::string &state_file,
                      const std::string &topology_file, std::string &error) {
  host.run_dir = run_dir;
  host.topology_file = topology_file;
  host.fabric.base = host.base;
  host.fabric.managers = &host.managers;
  host.managers.engine = fabric_host_engine(&host.fabric);
  host.managers.served = on_served;
  host.managers.changed = on_changed;
  host.managers.log = on_log;
  host.managers.context = &host;
  switch_change topology = default_topology();
  fabric_options fabric;
  if (!topology_file.empty() && read_topology(topology_file, topology, error, &fabric) != 0) {
    return kHostTopology;
  }
  fabric_options_overlay(fabric, host.fabric.options);
  host.fabric.options = fabric;
  error = fabric_options_problem(fabric);
  if (!error.empty()) {
    return kHostUsage;
  }
  host_result result = open_run_dir(host, error);
  if (result == kHostOk) {
    result = open_store(host, state_file, topology, !topology_file.empty(), error);
  }
  if (result == kHostOk && platform_page_own(host.group) != 0) {
    error = run_dir + ": the shared page: " + strerror(errno);
    result = kHostFailed;
  }
  if (result == kHostOk) {
    publish_distribution(host);
  }
  return result;
}

namespace {

// Whoever may write to the page can also remove or cut it.
void on_page_timer(evutil_socket_t, short, void *context) {
  auto &host = *static_cast<switch_host *>(context);
  const bool held = holds_run_dir(host);
  host_publish_answers(host);
  if (!held) {
    return;
  }
  const int kept = platform_page_keep();
  if (kept < 0) {
    log_error(std::string("the shared page cannot be made: ") + strerror(errno));
  } else if (kept > 0) {
    log_warn("the shared page was removed or cut, and made anew");
    publish_distribution(host);
  }
}

bool watch_page(switch_host &host) {
  static constexpr timeval kEvery{1, 0};
  host.page_timer.reset(event_new(host.base, -1, EV_PERSIST, on_page_timer, &host));
  return host.page_timer && event_add(host.page_timer.get(), &kEvery) == 0;
}

void on_beat(void *context) {
  host_publish_answers(*static_cast<switch_host *>(context));
}

// A host on which this is not to be had works without: its readers ask.
void publish_rows(switch_host &host) {
  host.published = published_server_open(host.base, host.run_dir.c_str(), on_beat, &host);
  if (host.published == nullptr) {
    log_warn(std::string("reads are not answered from memory: ") + strerror(errno));
    return;
  }
  host.managers.published = &published_server_page(host.published);
  publish_state(*host.managers.published, host.managers.state, managers_locked_out(host.managers));
}

host_result socket_failure(const char *name, std::string &error) {
  error = std::string(name) + ": " + strerror(errno);
  return kHostFailed;
}

}  // namespace

host_result host_listen(switch_host &host, std::string &error) {
  local_socket_set_group(host.group);
  if (!watch_page(host)) {
    return socket_failure("the shared page's timer", error);
  }
  host.notifications = notification_server_open(host.base, host.run_dir.c_str(), host.managers);
  if (host.notifications == nullptr) {
    return socket_failure("notifications", error);
  }
  publish_rows(host);
  for (size_t i = 0; i < kHostedServices.size(); ++i) {
    const hosted_service &hosted = kHostedServices[i];
    void *context = hosted.service == kServiceControl ? static_cast<void *>(&host) : &host.managers;
    host.servers[i] = message_server_open(host.base, host.run_dir.c_str(), hosted.service, hosted.handle, context);
    if (host.servers[i] == nullptr) {
      return socket_failure(hosted.name, error);
    }
    message_server_log_to(host.servers[i], on_server_log);
    message_server_on_end(host.servers[i], hosted.ended);
  }
  host_publish_answers(host);
  return fabric_host_open(&host.fabric, error) ? kHostOk : kHostFailed;
}

void host_publish_answers(switch_host &host) {
  if (host.published == nullptr) {
    return;
  }
  uint32_t services = 0;
  for (size_t i = 0; i < kHostedServices.size() && !host.lost_run_dir; ++i) {
    services |= message_server_has_faults(host.servers[i]) ? 0 : kHostedServices[i].published_bit;
  }
  published_server_answer(host.published, services);
}

void host_close(switch_host &host) {
  fabric_host_close(&host.fabric);
  host.page_timer.reset();
  host.managers.published = nullptr;
  published_server_close(host.published);
  host.published = nullptr;
  for (message_server *&server : host.servers) {
    message_server_close(server);
    server = nullptr;
  }
  notification_server_close(host.notifications);
  host.notifications = nullptr;
  store_close(host.managers.kept);
  host.managers.kept = nullptr;
  if (host.lock >= 0) {
    close(host.lock);
    host.lock = -1;
  }
}
