// One switch: its managers, and the servers through which they are reached, in one event loop.
#ifndef SWITCHD_HOST_H
#define SWITCHD_HOST_H

#include <stddef.h>
#include <stdint.h>

#include <array>
#include <string>

#include "agent_pages.h"
#include "configuration_transfer.h"
#include "event_ptr.h"
#include "fabric_host.h"
#include "managers.h"
#include "message_server.h"
#include "monotonic_clock.h"
#include "notification_server.h"
#include "published_server.h"

struct event_base;

struct hosted_service {
  int service;
  const char *name;  // for people
  message_handler handle;
  connection_ended ended;  // null: nothing is kept of a connection
  bool takes_faults;       // the control service must stay reachable
  uint32_t published_bit;  // under which its reads are answered from the published page; 0: none are
};
extern const std::array<hosted_service, 5> kHostedServices;

struct switch_host {
  switch_managers managers;
  std::string run_dir;
  std::string topology_file;  // what a new store is filled from; empty: nothing
  configuration_transfers transfers = {};
  agent_pages unshared = {};  // agents that do not share the page
  fabric_host fabric = {};    // its options are the caller's to fill, before the switch is opened
  event_base *base = nullptr;
  std::array<message_server *, 5> servers{};  // in the order of kHostedServices
  notification_server *notifications = nullptr;
  published_server *published = nullptr;  // null: every read is an exchange
  int lock = -1;                          // of the run directory
  int64_t group = -1;                     // a gid: whose members may connect; -1: those of the process's own group
  event_ptr page_timer = {};
  distribution_session distribution_told = {.enabled = 2, .owner = {}};  // what the shared page says; 2: nothing yet
  bool lost_run_dir = false;  // the run directory was removed, or is another switchd's; the log was told
  int64_t started = monotonic_ms();
};

// What starting a switch ended with; the values are the exit codes of switchd.
enum host_result {
  kHostOk = 0,
  kHostFailed = 1,          // the run directory, a socket or the shared page cannot be used
  kHostUsage = 2,           // the command line
  kHostTopology = 3,        // the topology file has an error
  kHostStore = 4,           // the store cannot be used: of a newer schema, damaged, not writable
  kHostSecondInstance = 5,  // another switchd uses the run directory
};

// Makes the run directory if needed, locks it, opens the store, applies the topology (an empty path: none) when the
// store is new, and maps the shared page. The fabric of the topology file counts where `host.fabric.options` says
// nothing. Nobody can connect yet. On failure `error` tells why; `host_close` is due in
// any case.
host_result host_open(switch_host &host, const std::string &run_dir, const std::string &state_file,
                      const std::string &topology_file, std::string &error);

// Opens the sockets, with everything else in place.
host_result host_listen(switch_host &host, std::string &error);

// To be called when faults came or went: reads that a fault is to meet are not answered from the published page.
void host_publish_answers(switch_host &host);

// Closes sockets and store, and gives the run directory back.
void host_close(switch_host &host);

#endif
