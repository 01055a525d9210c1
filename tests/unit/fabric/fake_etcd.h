// An etcd in the test's own process, as far as a fabric uses it, that loses and delays what a network loses and delays.
#ifndef TESTS_UNIT_FABRIC_FAKE_ETCD_H
#define TESTS_UNIT_FABRIC_FAKE_ETCD_H

#include <stdint.h>

#include <map>
#include <string>
#include <vector>

#include "etcd_json.h"
#include "event_ptr.h"
#include "http_transport.h"

struct fake_lease {
  int64_t ends = 0;  // monotonic milliseconds
  int64_t seconds = 0;
};

struct fake_event {
  bool deleted = false;
  etcd_value value;
};

struct fake_request {
  uint64_t number = 0;
  void *port = nullptr;  // whose it is
  std::string url;
  std::string body;
  int64_t ends = 0;
  http_line line = nullptr;
  http_done done = nullptr;
  void *caller = nullptr;
  bool silent = false;  // its answer is lost
  int64_t done_at = 0;  // when it is done, if later than it came
  int64_t told_at = 0;  // when its answer comes, if later than it was done
  http_outcome answer = {};
  size_t told = 0;       // events that its watch has been told
  bool created = false;  // its watch said so
  std::string prefix;
  int64_t from = 0;
};

struct fake_etcd {
  event_base *base = nullptr;
  std::map<std::string, etcd_value> values = {};
  std::map<int64_t, fake_lease> leases = {};
  std::vector<fake_event> history = {};
  int64_t revision = 1;
  int64_t compacted = 0;
  std::map<uint64_t, fake_request> requests = {};
  uint64_t started = 0;

  // What goes wrong.
  bool gone = false;          // nobody listens
  int lost_requests = 0;      // so many of the next transactions that write never arrive
  int lost_answers = 0;       // so many of the next ones that write are done, and not answered
  int64_t late = 0;           // for so many milliseconds the next one that writes is not done, nor answered
  int64_t slow_write = 0;     // the next one that writes is done so many milliseconds later
  int64_t slow_read = 0;      // the next look at the whole fabric is answered so many milliseconds later
  bool watch_stands = false;  // watches tell nothing
  std::string user = {};      // that is asked for
  std::string password = {};
  int authentications = 0;
  int lease_refusals = 0;                                   // leases of so many signs of life are not known
  std::vector<std::pair<int64_t, std::string>> later = {};  // bodies of transactions that are done at a time
  event_ptr timer = {};
};

// The transport to it. It goes through what is asked every millisecond.
http_transport fake_etcd_transport(fake_etcd *etcd);

// By hand.
void fake_put(fake_etcd *etcd, const std::string &key, const std::string &value, int64_t lease = 0);
void fake_delete(fake_etcd *etcd, const std::string &key);
void fake_end_lease(fake_etcd *etcd, int64_t lease);
// Ends one watch. Returns whether there was one.
bool fake_end_watch(fake_etcd *etcd);

#endif
