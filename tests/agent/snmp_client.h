// SNMP from inside a test: one PDU a call, over net-snmp's client library.
#ifndef TESTS_AGENT_SNMP_CLIENT_H
#define TESTS_AGENT_SNMP_CLIENT_H

#include <functional>
#include <string>
#include <vector>

#include "mib_objects.h"

namespace lab {
struct lab;
}

namespace snmp {

using namespace mib;

// Readies net-snmp's library, once; a client does it too.
void init_library();

constexpr int kNoSuchObject = 0x80, kNoSuchInstance = 0x81, kEndOfMibView = 0x82;

// Who asks.
struct identity {
  int version;       // 1, 2 or 3
  std::string name;  // community or user; a user's keys are NAME-auth-key and NAME-priv-key
  enum class level { noauth = 1, auth = 2, priv = 3 } security = level::priv;  // of a user
};
identity community(const std::string &name, int version = 2);
identity user(const std::string &name, identity::level security = identity::level::priv);

struct client {
  client(const ::lab::lab &l, const identity &who, double timeout_seconds = 2);
  ~client();
  client(const client &) = delete;
  client &operator=(const client &) = delete;

  void *session;
  // The request id of the next PDU; 0: the library's own.
  long next_request_id = 0;
  // Asked some times a second while an answer is awaited; true gives the PDU up, and its answer is nobody's.
  std::function<bool()> gives_up{};
  // False: a PDU is sent and not waited for. Its answer, if one comes, is counted in `unawaited` by `listen`.
  bool waits = true;
  size_t unawaited = 0;
};

// Counts what comes back to clients that do not wait, for so many seconds.
void listen(const std::vector<client *> &clients, double seconds);

struct answer {
  bool sent_back = false;  // false: no answer in time
  int status = 0;          // SNMP error status
  long index = 0;          // of the varbind it is about, 1-based
  std::vector<varbind> varbinds;
  bool given_up = false;  // see client::gives_up
};

answer get(client &c, const std::vector<name_t> &names);
answer getnext(client &c, const std::vector<name_t> &names);
answer getbulk(client &c, const std::vector<name_t> &names, int repetitions);
answer set(client &c, const std::vector<varbind> &varbinds);

// A GETNEXT walk of everything under `prefix`; stops at an error, and after `most` steps.
std::vector<varbind> walk(client &c, const name_t &prefix, size_t most = 200000);
// The same with GETBULK.
std::vector<varbind> bulkwalk(client &c, const name_t &prefix, int repetitions = 50, size_t most = 400000);

}  // namespace snmp

#endif
