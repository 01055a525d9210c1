// Requests that wait until the distribution engine has asked the other switches.
#ifndef FEATURE_MANAGERS_PARKED_REQUESTS_H
#define FEATURE_MANAGERS_PARKED_REQUESTS_H

#include <stdint.h>

#include <span>
#include <string>
#include <vector>

#include "message_server.h"

struct opcode_row;
struct switch_managers;

// A copy of a request, with what answers it.
struct parked_request {
  std::span<const opcode_row> rows;
  message_request request;
  std::vector<uint8_t> payload;
  std::string user;
  std::string session;
  bool handled_again;  // else its status is what the engine ends with
  int64_t since;       // monotonic milliseconds
};

// Keeps a request whose handler answered kDistributionAgain or kDistributionOutcome. One too many is answered
// kStatusBusy.
void park_request(switch_managers &managers, std::span<const opcode_row> rows, const message_request &request,
                  message_reply &reply);

// The engine has ended with the status: the requests that waited for it are answered. Those whose client has gone are
// forgotten: nobody is to learn later that something was done for them.
void answer_parked(switch_managers &managers, int status);

#endif
