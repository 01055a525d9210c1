#include "fabric_host.h"

#include <errno.h>
#include <event2/event.h>
#include <string.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "etcd_json.h"
#include "log.h"
#include "managers.h"
#include "published/published_rows.h"
#include "rules/fabric_rules.h"
#include "statuses.h"
#include "vsan_values.h"
#include "wwn_text.h"

using nlohmann::json;

namespace {

constexpr size_t kPasswordMax = 1024;  // octets

fabric_host &host_of(void *context) {
  return *static_cast<fabric_host *>(context);
}

switch_state &state_of(void *context) {
  return host_of(context).managers->state;
}

bool is_standard(const std::pair<const timer_key, uint32_t> &timer) {
  return timer.first.first == 0 && timer.second == range_of_timer(timer.first.second).standard;
}

fabric_standing standing_of(void *context) {
  const switch_state &state = state_of(context);
  const timer_map own = distributed_timers(state);
  fabric_standing standing;
  standing.name = state.settings.name;
  standing.wwn = wwn_text(state.settings.wwn);
  standing.store = state.settings.store_id;
  standing.version = VSANMIB_VERSION;
  standing.fabric = state.settings.fabric;
  standing.fabric_id = state.settings.fabric_id;
  standing.revision = state.settings.fabric_revision;
  standing.commit = state.settings.fabric_commit;
  standing.session = state.settings.distribution;
  standing.values = listed_values(own);
  standing.has_values = !std::ranges::all_of(own, is_standard);
  standing.vsans.push_back(0);
  for (const auto &[id, vsan] : state.vsans) {
    if (!state.kept_out.contains(id)) {
      standing.vsans.push_back(id);
    }
  }
  return standing;
}

int apply_commit(void *context, const std::string &fabric, const std::string &id, const fabric_commit &commit) {
  switch_managers &managers = *host_of(context).managers;
  switch_change change = change_begin(managers.state);
  plan_fabric_commit(managers.state, fabric, id, commit, change);
  return managers_commit(managers, change);
}

int lose_session(void *context) {
  switch_managers &managers = *host_of(context).managers;
  switch_change change = change_begin(managers.state);
  change.settings.distribution.lost = 1;
  return managers_commit(managers, change);
}

void holder_changed(void *context) {
  switch_managers &managers = *host_of(context).managers;
  if (managers.published != nullptr) {
    publish_lock(*managers.published, managers_locked_out(managers));
  }
}

void finished(void *context, fabric_operation, int status) {
  answer_parked(*host_of(context).managers, status);
}

void on_link_log(void *, bool warning, const std::string &line) {
  warning ? log_warn(line) : log_info(line);
}

// The engine's operations.

std::string engine_holder(void *context, const char *) {
  const fabric_host &host = host_of(context);
  const std::string &played = host.managers->fabric.played_holder;
  return played.empty() && host.link != nullptr ? fabric_link_holder(host.link) : played;
}

// 0, or why this switch cannot change anything by itself: its store says that it is in a fabric.
int alone_problem(const fabric_host &host) {
  return is_in_fabric(host.managers->state) ? int{kStatusFabricAway} : 0;
}

int engine_lock(void *context, const char *application, distribution_session &session) {
  fabric_host &host = host_of(context);
  if (!engine_holder(context, application).empty()) {
    return kStatusRemoteLock;
  }
  return host.link == nullptr ? alone_problem(host) : fabric_link_lock(host.link, session);
}

void engine_unlock(void *context, const char *) {
  if (fabric_host &host = host_of(context); host.link != nullptr) {
    fabric_link_look(host.link);
  }
}

int engine_spread(void *context, const char *application, const std::vector<distribution_value> &changed,
                  const std::vector<distribution_value> &all) {
  fabric_host &host = host_of(context);
  if (!engine_holder(context, application).empty()) {
    return kStatusRemoteLock;
  }
  return host.link == nullptr ? alone_problem(host) : fabric_link_commit(host.link, changed, all);
}

int engine_may_disable(void *context) {
  const fabric_host &host = host_of(context);
  return host.link != nullptr || is_in_fabric(host.managers->state) ? int{kStatusInFabric} : 0;
}

int engine_may_abort(void *context) {
  const fabric_host &host = host_of(context);
  return host.link == nullptr ? 0 : fabric_link_may_abort(host.link);
}

}  // namespace

distribution_engine fabric_host_engine(fabric_host *host) {
  return {host, engine_holder, engine_lock, engine_unlock, engine_spread, engine_may_disable, engine_may_abort};
}

namespace {

// The first line of the file.
bool read_password(const std::string &file, std::string &password, std::string &error) {
  std::ifstream input(file, std::ios::binary);
  std::getline(input, password);
  if (password.empty() || password.size() > kPasswordMax) {
    error = file + ": a line with the password of the fabric's user is wanted";
    return false;
  }
  return true;
}

// In a fabric timers are distributed.
bool turn_on(switch_managers &managers, std::string &error) {
  switch_change change = change_begin(managers.state);
  change.settings.distribution.enabled = 1;
  change.settings.fabric_left = 0;
  if (managers_commit(managers, change) != 0) {
    error = "the store could not take that timers are distributed in the fabric";
    return false;
  }
  return true;
}

bool open_link(fabric_host *host, std::string &error) {
  const fabric_options &options = host->options;
  etcd_access access;
  access.endpoints = options.endpoints;
  access.user = options.user;
  http_transport transport;
  if ((!options.user.empty() && !read_password(options.password_file, access.password, error)) ||
      !http_transport_load(host->base, {options.ca, options.cert, options.key}, transport, error)) {
    return false;
  }
  etcd_client *client = etcd_client_open(host->base, transport, access);
  if (!turn_on(*host->managers, error)) {
    etcd_client_close(client);
    return false;
  }
  const fabric_owner owner = {host, standing_of, apply_commit, lose_session, holder_changed, finished, on_link_log};
  host->link = fabric_link_open(host->base, options.name, client, owner, {});
  return true;
}

void close_link(fabric_host *host) {
  fabric_link_close(host->link);
  host->link = nullptr;
}

void note_absent_fabric(const switch_settings &settings) {
  log_warn("the store is of a switch in the fabric " + settings.fabric +
           ", and switchd was started without --fabric: distributed timers cannot be changed; \"vsanctl fabric leave\" "
           "takes the switch out");
}

}  // namespace

bool fabric_host_open(fabric_host *host, std::string &error) {
  const switch_settings &settings = host->managers->state.settings;
  if (host->options.name.empty()) {
    if (is_in_fabric(host->managers->state)) {
      note_absent_fabric(settings);
    }
    return true;
  }
  if (settings.fabric_left != 0) {
    log_info("an operator took this switch out of its fabric: \"vsanctl fabric join\" takes it in");
    return true;
  }
  return open_link(host, error);
}

void fabric_host_look(fabric_host *host) {
  const switch_settings &settings = host->managers->state.settings;
  if (host->link == nullptr || (host->name == settings.name && host->wwn == settings.wwn)) {
    return;
  }
  host->name = settings.name;
  host->wwn = settings.wwn;
  fabric_link_look(host->link);
}

void fabric_host_close(fabric_host *host) {
  host->closing.reset();
  close_link(host);
}

namespace {

constexpr const char *kPhaseWords[] = {"joining", "member", "conflict", "unreachable"};

void answer_json(const json &object, message_reply &reply) {
  const std::string text = object.dump(-1, ' ', false, json::error_handler_t::replace);
  reply.payload.assign(text.begin(), text.end());
}

// What is known without asking.
json known_of(const fabric_host &host) {
  const switch_settings &settings = host.managers->state.settings;
  const bool left = !host.options.name.empty() && settings.fabric_left != 0;
  json shown = {{"fabric", host.options.name.empty() ? settings.fabric : host.options.name},
                {"state", left ? "left" : "none"},
                {"why", ""},
                {"endpoint", ""},
                {"revision", settings.fabric_revision},
                {"commit", settings.fabric_commit},
                {"holder", ""},
                {"holder_user", ""},
                {"switches", json::array()},
                {"commits", json::array()}};
  if (host.link != nullptr) {
    const fabric_view view = fabric_link_view(host.link);
    shown["state"] = kPhaseWords[static_cast<size_t>(view.phase)];
    shown["why"] = view.why;
    shown["endpoint"] = view.endpoint;
    shown["holder"] = view.lock.switch_name;
    shown["holder_user"] = view.lock.user;
  }
  return shown;
}

waiting_client *wait_as(fabric_host *host, const message_request &request) {
  host->waiting.push_back({host, request.server, request.connection, request.number});
  return &host->waiting.back();
}

void answer_waiting(void *caller, const message_reply &reply) {
  const waiting_client client = *static_cast<waiting_client *>(caller);
  client.host->waiting.remove_if([caller](const waiting_client &each) { return &each == caller; });
  message_server_answer(client.server, client.connection, client.number, reply);
}

void on_shown(void *caller, const json &lists) {
  json shown = known_of(*static_cast<waiting_client *>(caller)->host);
  if (lists.is_object()) {
    shown.update(lists);
  }
  message_reply reply;
  answer_json(shown, reply);
  answer_waiting(caller, reply);
}

void on_close_due(evutil_socket_t, short, void *context) {
  close_link(static_cast<fabric_host *>(context));
}

// Not from within what the link has called.
void close_link_soon(fabric_host *host) {
  const timeval now = {};
  host->closing.reset(event_new(host->base, -1, 0, on_close_due, host));
  event_add(host->closing.get(), &now);
}

int leave_now(fabric_host *host) {
  switch_managers &managers = *host->managers;
  if (managers.state.settings.distribution.open != 0) {
    log_warn("the switch leaves its fabric with a session open: its values are dropped");
  }
  switch_change change = change_begin(managers.state);
  plan_fabric_leave(managers.state, change);
  return managers_commit(managers, change);
}

void on_left(void *caller, bool done) {
  fabric_host *host = static_cast<waiting_client *>(caller)->host;
  message_reply reply;
  reply.status = leave_now(host);
  if (reply.status == 0) {
    log_info(std::string("the switch has left its fabric") +
             (done ? "" : ", which did not answer and lists it still as one that is not alive"));
    close_link_soon(host);
  }
  answer_waiting(caller, reply);
}

int join(fabric_host *host, const std::string &take_word) {
  static constexpr const char *kTakeWords[] = {"", "theirs", "ours"};
  const auto word = std::ranges::find(kTakeWords, take_word);
  if (word == std::end(kTakeWords)) {
    return kStatusMalformed;
  }
  if (host->options.name.empty()) {
    return kStatusNoFabric;
  }
  std::string error;
  if (host->link == nullptr && !open_link(host, error)) {
    log_error(error);
    return kStatusFabricAway;
  }
  fabric_link_join(host->link, static_cast<fabric_take>(word - std::begin(kTakeWords)));
  return 0;
}

int leave(fabric_host *host, const message_request &request, message_reply &reply) {
  if (host->link == nullptr) {
    return is_in_fabric(host->managers->state) ? leave_now(host) : int{kStatusNoFabric};
  }
  if (!host->managers->parked.empty() || host->closing) {
    return kStatusBusy;
  }
  reply.later = true;
  fabric_link_leave(host->link, on_left, wait_as(host, request));
  return 0;
}

}  // namespace

int fabric_host_show(fabric_host *host, const message_request &request, message_reply &reply) {
  // One that did not answer a moment ago is not waited for.
  if (host->link == nullptr || fabric_link_view(host->link).phase == fabric_phase::unreachable) {
    answer_json(known_of(*host), reply);
    return 0;
  }
  reply.later = true;
  fabric_link_show(host->link, on_shown, wait_as(host, request));
  return 0;
}

int fabric_host_command(fabric_host *host, const message_request &request, message_reply &reply) {
  const json object = json::parse(request.payload.begin(), request.payload.end(), nullptr, false);
  const std::string command = json_text(object, "command");
  if (command == "join") {
    return join(host, json_text(object, "take"));
  }
  return command == "leave" ? leave(host, request, reply) : int{kStatusMalformed};
}
