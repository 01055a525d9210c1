// A private switch and agent of one test: switchd, a stock snmpd with the module, snmptrapd, on free loopback ports,
// in a temporary directory that goes with the lab. Every wait is bounded.
#ifndef TESTS_AGENT_LAB_H
#define TESTS_AGENT_LAB_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace lab {

struct options {
  std::string topology{};                 // TOML; empty: the lab's own small one (see kSmallTopology)
  std::string topology_file{};            // instead of `topology`
  std::string agent_lines{};              // further lines of snmpd.conf
  std::string module{};                   // instead of the module as it ships
  bool traps = false;                     // start snmptrapd and send v2c traps to it
  std::string agent_modules_off{"smux"};  // what the agent is to leave out of what it has itself, as "a,b"
  std::string agent_user{};  // the account that snmpd runs under, and the group whose members switchd serves
};

// VSANs 1, 5 (name "five", interop 3), 10, 20 and 4093 (suspended); five interfaces; known timers.
extern const char *const kSmallTopology;

struct process {
  pid_t pid = 0;
  std::string log;  // the file that has its output
};

struct lab {
  std::string dir;
  options how;
  int snmp_port = 0;
  int trap_port = 0;
  process switchd;
  process snmpd;
  process snmptrapd;

  lab() = default;
  lab(const lab &) = delete;
  lab &operator=(const lab &) = delete;
  ~lab();  // kills what still runs and removes the directory
};

// What labs start and load: this build's own and the machine's snmpd, unless the environment names those of another
// build, or of another processor: LAB_LIBRARIES and LAB_PROGRAMS are folders, LAB_SNMPD is a program. LAB_PAGE_READER
// is a vsanctl of the agent's byte order, for an agent whose switch has the other one; LAB_SQLITE3 a sqlite3 of the
// switch's, LAB_SWITCH_LIBRARIES a folder for what is preloaded into the switch.
std::string library(const std::string &file);
std::string program(const std::string &name);
std::string agent_program();
std::string store_program();

// LD_PRELOAD for a library of the tests, in this build and in the one that labs start: each program takes the one that
// is made for its processor. The sanitizers' runtime stays in front.
std::string preloaded(const std::string &file);

// Starts everything and waits until the agent answers. Throws std::runtime_error with the logs when something
// does not start.
void start(lab &l, const options &how = {});

// Starts one of them, again if need be, and waits until it serves.
void start_switchd(lab &l);
void start_snmpd(lab &l);

// Starts a command with its output in `log` (appended); `preload` is for the sanitizers' runtime inside a stock
// program.
process launch(const std::vector<std::string> &command, const std::string &log, bool preload = false);

// Sends a signal; `stop` waits for the end and returns the exit status (or minus the signal).
void signal(const process &p, int number);
int stop(process &p, int number = 15);
bool is_running(const process &p);

// "udp:127.0.0.1:PORT"
std::string agent_address(const lab &l);

// What a command printed, both streams, and its exit status. The command is found along PATH and ends after 60 s
// at the latest.
struct result {
  int status;
  std::string output;
};
result run(const std::vector<std::string> &command);
// vsanctl with this lab's run directory.
result ctl(const lab &l, std::vector<std::string> arguments);

std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &text);

// Waits until `condition` holds, `seconds` at most. Returns whether it does.
bool wait_until(const std::function<bool()> &condition, double seconds = 10);

// Resident memory of a process in KiB.
long resident_kib(const process &p);

// Everything that the store holds, as SQL text.
std::string store_dump(const lab &l);
// The same once the agent has taken every notification: two of them differ by what was written in between, and by
// nothing else.
std::string settled_dump(const lab &l);
// The switch's configuration as the store holds it, a line each: "vsan 5|five|…", "interface …", "timer …", "setting
// …". Notifications and the time of the last change are left out.
std::string store_rows(const lab &l);

// A UDP port of loopback that nobody has now, that no client is given by the kernel, and hardly ever another test at
// the same time. Throws when none is free.
int free_udp_port();

}  // namespace lab

#endif
