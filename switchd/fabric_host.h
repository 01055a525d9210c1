// The switch's part in a fabric: the link to the other switches, and what it does to the managers.
#ifndef SWITCHD_FABRIC_HOST_H
#define SWITCHD_FABRIC_HOST_H

#include <list>
#include <string>

#include "distribution.h"
#include "event_ptr.h"
#include "fabric_link.h"
#include "fabric_options.h"
#include "message_server.h"

struct event_base;
struct switch_managers;

struct fabric_host;

// A client whose answer comes later.
struct waiting_client {
  fabric_host *host;
  message_server *server;
  uint64_t connection;
  uint64_t number;
};

// Owned by whoever hosts the switch.
struct fabric_host {
  fabric_options options;
  event_base *base = nullptr;
  switch_managers *managers = nullptr;
  fabric_link *link = nullptr;  // null: by itself, or taken out by an operator
  std::string name = {};        // of the switch, as the link was told last, and its world wide name
  uint64_t wwn = 0;
  event_ptr closing = {};  // closes the link when nothing of it is under way
  std::list<waiting_client> waiting = {};
};

// The managers' way to the other switches. A lock that is played (single_switch_fabric) counts first.
distribution_engine fabric_host_engine(fabric_host *host);

// Begins to join, when there is a fabric and no operator has taken the switch out of it. Returns false with `error`
// filled when its library or the file of the password cannot be used.
bool fabric_host_open(fabric_host *host, std::string &error);
void fabric_host_close(fabric_host *host);

// To be called after each change of the switch: its name or its world wide name may be another.
void fabric_host_look(fabric_host *host);

// The commands of an operator; the answers are JSON texts. kOpFabric in requests.h tells of what.
int fabric_host_show(fabric_host *host, const message_request &request, message_reply &reply);
int fabric_host_command(fabric_host *host, const message_request &request, message_reply &reply);

#endif
