// What tests of roles share: groups of their own, and agents with a configuration of their own.
#ifndef TESTS_AGENT_ROLE_LAB_H
#define TESTS_AGENT_ROLE_LAB_H

#include <signal.h>

#include <stdexcept>
#include <string>

#include "fabric_lab.h"

namespace role_lab {

using namespace mib;

// Lines that let a community, over v2c, read and write everything as a member of `group`.
inline std::string member_lines(const std::string &community, const std::string &group) {
  return "com2sec s_" + community + " default " + community + "\ngroup " + group + " v2c s_" + community + "\naccess " +
         group.substr(0, 32) + " \"\" any noauth exact all all all\n";
}

inline std::string log_of(const lab::lab &l) {
  return lab::read_file(l.dir + "/agent.log") + lab::read_file(l.snmpd.log);
}

inline size_t count(const std::string &text, const std::string &what) {
  size_t found = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
    ++found;
  }
  return found;
}

// The lines of the agent's log that hold `what`.
inline std::string log_lines(const lab::lab &l, const std::string &what) {
  std::istringstream log(log_of(l));
  std::string out;
  for (std::string line; std::getline(log, line);) {
    if (line.find(what) != std::string::npos) {
      out += line + "\n";
    }
  }
  return out;
}

inline bool log_gets(const lab::lab &l, const std::string &what, size_t times = 1) {
  return lab::wait_until([&] { return count(log_of(l), what) >= times; });
}

inline std::string conf_of(const lab::lab &l) {
  return lab::read_file(l.dir + "/snmpd.conf");
}

// `text` without the lines that start with `start`.
inline std::string without(const std::string &text, const std::string &start) {
  std::istringstream in(text);
  std::string out;
  for (std::string line; std::getline(in, line);) {
    if (line.rfind(start, 0) != 0) {
      out += line + "\n";
    }
  }
  return out;
}

inline bool agent_answers(const lab::lab &l) {
  snmp::client c(l, snmp::community("public"), 0.2);
  return lab::wait_until([&] { return snmp::get(c, {{1, 3, 6, 1, 2, 1, 1, 3, 0}}).sent_back; }, 20);
}

// Starts the agent again, with this configuration, and waits until it answers at all.
inline void restart_agent(lab::lab &l, const std::string &conf) {
  lab::stop(l.snmpd);
  lab::write_file(l.dir + "/snmpd.conf", conf);
  l.snmpd = lab::launch({lab::agent_program(), "-f", "-C", "-c", l.dir + "/snmpd.conf", "-I", "-smux",
                         "--persistentDir=" + l.dir + "/agent", "-Lf", l.dir + "/agent.log", lab::agent_address(l)},
                        l.dir + "/snmpd.log", true);
  if (!agent_answers(l)) {
    throw std::runtime_error("the agent does not answer: " + log_of(l));
  }
}

// Has the running agent read this configuration.
inline void reload_agent(lab::lab &l, const std::string &conf) {
  const size_t before = count(log_of(l), "Reconfiguring daemon");
  lab::write_file(l.dir + "/snmpd.conf", conf);
  lab::signal(l.snmpd, SIGHUP);
  if (!log_gets(l, "Reconfiguring daemon", before + 1) || !agent_answers(l)) {
    throw std::runtime_error("the agent does not come back: " + log_of(l));
  }
}

// The agent's own module table: 4 loads the module of that name, 5 unloads it. Any user may write it in the lab.
inline int set_module(const lab::lab &l, const std::string &module, long status) {
  const auto cell = [](unsigned long column, unsigned long row) {
    return name_t{1, 3, 6, 1, 4, 1, 2021, 13, 14, 2, 1, column, row};
  };
  snmp::client c(l, snmp::community("private"), 10);
  for (const auto &v : snmp::walk(c, {1, 3, 6, 1, 4, 1, 2021, 13, 14, 2, 1, 2})) {
    if (v.octets == module) {
      return snmp::set(c, {integer(cell(5, v.name.back()), status)}).status;
    }
  }
  return -1;
}
constexpr long kLoad = 4, kUnload = 5;

// How many values a walk of the module's objects gives; a closed user gets none.
inline size_t seen_by(const lab::lab &l, const snmp::identity &who, const name_t &prefix = root()) {
  snmp::client c(l, who, 10);
  return snmp::walk(c, prefix).size();
}
inline size_t vsans_seen_by(const lab::lab &l, const snmp::identity &who) {
  return seen_by(l, who, vsan_column(kName));
}

}  // namespace role_lab

#endif
