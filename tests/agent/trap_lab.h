// What tests of notifications share: receivers, and changes that raise notifications fast.
#ifndef TESTS_AGENT_TRAP_LAB_H
#define TESTS_AGENT_TRAP_LAB_H

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "lab.h"
#include "snmp_client.h"

namespace trap_lab {

using namespace mib;

// One notification as a receiver wrote it: OIDs start with a dot, values are decimal, dotted or hex.
struct heard {
  bool inform = false;
  std::vector<std::pair<std::string, std::string>> varbinds;  // sysUpTime.0 and snmpTrapOID.0 are the first two
};

// A client that no one here wrote, as a process that prints what it hears.
enum class client { snmptrapd, pysnmp, npm };

struct receiver {
  client kind = client::snmptrapd;
  lab::process process;
  std::string dir;
  int port = 0;

  ~receiver();
};

// Starts it on a free port; its files are in `dir`. Throws when it does not start.
void start(receiver &r, client kind, const std::string &dir);

// Everything heard so far, in order.
std::vector<heard> all_heard(const receiver &r);

// The notifications of one name among them.
std::vector<heard> heard_of(const receiver &r, const name_t &trap);

// A receiver inside the test, for bursts: a thread that takes what comes and answers informs. Its socket buffer is
// large (32 MiB where the test may force that): what a receiver loses because it is slow says nothing about the
// sender. `drops` tells whether it did lose some.
struct sink {
  struct entry {
    bool inform;
    name_t trap;
    std::vector<varbind> varbinds;  // after snmpTrapOID.0
  };

  // 0: a free port.
  explicit sink(int port = 0);
  ~sink();
  sink(const sink &) = delete;
  sink &operator=(const sink &) = delete;

  std::vector<entry> entries() const;
  // Those that came since the last call; they are kept no longer.
  std::vector<entry> take();
  size_t count() const;
  // Datagrams that the socket's buffer had no room for.
  unsigned drops() const;

  int port;
  void *session = nullptr;
  int fd = -1;
  std::atomic<bool> stopping = false;
  mutable std::mutex lock;
  std::vector<entry> received;
  std::thread thread;
};

// The membership change that a received one tells of.
struct move {
  unsigned long interface;
  unsigned long vsan;
  auto operator<=>(const move &) const = default;
};
std::vector<move> moves_of(const std::vector<sink::entry> &entries);

// A topology of `interfaces` interfaces that are down, from index 1, and VSANs 1 to `vsans`: moves among them raise
// one membership notification each and nothing else.
std::string quiet_topology(int interfaces, int vsans);

// The moves 0 to `count` - 1: every one is another pair, and each changes something.
move nth_move(int n, int interfaces);

// Asks the VSAN manager for the move, without the agent. Returns the status; -1: no answer.
int make_move(const lab::lab &l, const move &m);

// Switches notifications off (2) or on (1). Returns the status.
int control_notifications(const lab::lab &l, uint32_t value);

struct counters {
  long queued, raised, dropped, sent;
};
counters queue_counters(const lab::lab &l);

// Waits until the queue is empty: the agent took everything.
bool wait_until_taken(const lab::lab &l, double seconds = 30);

}  // namespace trap_lab

#endif
