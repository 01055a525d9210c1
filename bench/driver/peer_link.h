// One peer as the driver talks to it: a request at a time over UDP on loopback, every answer checked.
#ifndef BENCH_DRIVER_PEER_LINK_H
#define BENCH_DRIVER_PEER_LINK_H

#include <stdint.h>

#include <string>

#include "shapes.h"

namespace bench {

struct peer_link {
  int socket = -1;
  uint32_t last_id = 0;
};

// Opens a socket to a port of loopback; an answer is waited for `wait_ms`. Returns an empty text, or what went wrong.
std::string open_link(peer_link &link, uint16_t port, int wait_ms);
void close_link(peer_link &link);

// Sends the request and checks the answer: request id, error status, and each varbind's OID, type and value. Returns an
// empty text, or what is wrong with it: the OID, what was expected and what came.
std::string ask(peer_link &link, const workload &work, exchange &request);

}  // namespace bench

#endif
