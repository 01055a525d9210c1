// What tests of SETs share: rows of the store by name, and what the agent's history says was sent to
// the VSAN manager.
#ifndef TESTS_AGENT_SET_LAB_H
#define TESTS_AGENT_SET_LAB_H

#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>

#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "lab.h"
#include "snmp_client.h"

namespace set_lab {

using namespace mib;

// SNMP error statuses.
enum status : int {
  kNoError = 0,
  kNoSuchName = 2,
  kBadValue = 3,
  kGenErr = 5,
  kWrongType = 7,
  kWrongLength = 8,
  kWrongValue = 10,
  kInconsistentValue = 12,
  kNotWritable = 17,
  kInconsistentName = 18,
};

inline varbind name(unsigned long vsan, const std::string &value) {
  return octets(vsan_cell(kName, vsan), value);
}
inline varbind row_status(unsigned long vsan, long value) {
  return integer(vsan_cell(kRowStatus, vsan), value);
}
inline varbind admin_state(unsigned long vsan, long value) {
  return integer(vsan_cell(kAdminState, vsan), value);
}

// The VSANs of the store before and after, without the one given.
inline std::string without_vsan(const std::string &rows, unsigned long vsan) {
  std::istringstream in(rows);
  std::string out;
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("vsan " + std::to_string(vsan) + "|", 0) != 0) {
      out += line + "\n";
    }
  }
  return out;
}

// The store's line of a VSAN; empty when there is none.
inline std::string vsan_line(const lab::lab &l, unsigned long vsan) {
  std::istringstream rows(lab::store_rows(l));
  for (std::string line; std::getline(rows, line);) {
    if (line.rfind("vsan " + std::to_string(vsan) + "|", 0) == 0) {
      return line;
    }
  }
  return {};
}

// Every row that the module sent so far, in order: "SET 30 name", "DELETE 30 name". The history must
// not have wrapped.
inline std::vector<std::string> sent_rows(const lab::lab &l) {
  std::istringstream history(lab::ctl(l, {"history"}).output);
  std::vector<std::string> out;
  for (std::string line; std::getline(history, line);) {
    const size_t at = line.find("Sending ");
    const size_t vsan = line.find(" req to vsan for vsan = ");
    if (at == std::string::npos || vsan == std::string::npos) {
      continue;
    }
    std::istringstream rest(line.substr(vsan + strlen(" req to vsan for vsan = ")));
    std::string number, word, row_name;
    rest >> number >> word >> row_name;
    // An empty name leaves the next word of the line in its place.
    if (row_name == "mediatype") {
      row_name.clear();
    }
    out.push_back(line.substr(at + 8, vsan - at - 8) + " " + number + " " + row_name);
  }
  return out;
}

using rows = std::vector<std::string>;

// A lab, a client that may write, and what was sent since the last look.
class SetTest : public ::testing::Test {
 protected:
  void SetUp() override { lab::start(l); }

  snmp::answer set(const std::vector<varbind> &varbinds) {
    snmp::client writer(l, snmp::community("private"), 30);
    return snmp::set(writer, varbinds);
  }
  varbind get(const name_t &name) {
    snmp::client reader(l, snmp::community("public"), 30);
    const snmp::answer answer = snmp::get(reader, {name});
    return answer.varbinds.empty() ? varbind{} : answer.varbinds[0];
  }
  // What was sent since the last call.
  rows sent() {
    const rows all = sent_rows(l);
    rows fresh(all.begin() + static_cast<long>(std::min(seen, all.size())), all.end());
    seen = all.size();
    return fresh;
  }

  lab::lab l;
  size_t seen = 0;
};

// One PDU's outcome: status and 1-based index of the varbind that it is about.
struct outcome {
  int status;
  long index;
  bool operator==(const outcome &other) const = default;
};
inline void PrintTo(const outcome &o, std::ostream *out) {
  *out << "status " << o.status << " at varbind " << o.index;
}
inline outcome outcome_of(const snmp::answer &answer) {
  return answer.sent_back ? outcome{answer.status, answer.index} : outcome{-1, -1};
}

#define EXPECT_SET(answer, status, index) EXPECT_EQ(set_lab::outcome_of(answer), (set_lab::outcome{status, index}))
#define EXPECT_DONE(answer) EXPECT_SET(answer, set_lab::kNoError, 0)

}  // namespace set_lab

#endif
