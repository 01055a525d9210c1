// The managers' answers to every request that the module is recorded to send, and to an operator's, laid beside a
// recording that is the same for every host.
#include <stdio.h>

#include <algorithm>
#include <set>
#include <sstream>

#include "distribution_records.h"
#include "distribution_service.h"
#include "port_manager.h"
#include "port_records.h"
#include "record_words.h"
#include "recording.h"
#include "requests.h"
#include "switch_under_test.h"
#include "vsan_values.h"

namespace {

struct asked {
  std::string what;
  int service;
  int opcode;
  int msg_type;
  std::string user;
  bytes payload;
};

constexpr struct {
  int service;
  message_handler handler;
} kHandlers[] = {
    {kServiceVsanManager, vsan_manager_handle},
    {kServiceIdentity, identity_handle},
    {kServicePortManager, port_manager_handle},
    {kServiceDistribution, distribution_handle},
};

// "operation VSAN.interface user session seconds"
asked read_membership(const std::string &what, std::istringstream &fields) {
  int operation = 0;
  uint32_t vsan = 0, interface = 0;
  char dot = 0;
  asked found = {what, kServicePortManager, kOpActiveMembership, 0, "", {}};
  fields >> operation >> vsan >> dot >> interface >> found.user;
  found.msg_type = operation;
  found.payload = words({vsan, interface, 0});
  return found;
}

asked read_request(const std::string &line) {
  const size_t first = line.find(" | "), second = line.find(" | ", first + 3);
  const std::string what = line.substr(0, first);
  std::istringstream fields(line.substr(first + 3, second - first - 3));
  if (line.compare(first + 3, 3, "pm ") == 0) {
    fields.ignore(3);
    return read_membership(what, fields);
  }
  asked found = {what, 0, 0, 0, "", recording::octets(line.substr(second + 3))};
  uint32_t size = 0;
  fields >> found.opcode >> found.msg_type >> found.service >> size >> found.user;
  EXPECT_TRUE(fields.good() || fields.eof()) << line;
  EXPECT_TRUE(found.payload.empty() || found.payload.size() == size) << line;
  found.user = found.user.substr(0, found.user.find('/'));
  return found;
}

template <size_t room>
void put_name(char (&to)[room], const std::string &name) {
  std::copy_n(name.begin(), std::min(name.size(), room), to);
}

// What vsanctl asks of the services that the module does not write to.
std::vector<asked> operator_requests() {
  switch_interface renamed = {101, 0, {}};
  put_name(renamed.name, "fc9/9");
  interface_definition made = {0x01020304, 1, 1, {}};
  put_name(made.name, "fc2/1");
  const std::string user = "root";
  const int port = kServicePortManager, kdx = kServiceDistribution;
  return {
      {"an interface", port, kOpInterface, kMsgGet, user, record_bytes(switch_interface{101, 0, {}})},
      {"an interface that is not there", port, kOpInterface, kMsgGet, user, record_bytes(switch_interface{9, 0, {}})},
      {"the next interface", port, kOpInterface, kMsgGetNext, user, record_bytes(switch_interface{101, 0, {}})},
      {"an interface down", port, kOpInterface, kMsgSet, user, record_bytes(switch_interface{102, 0, {}})},
      {"an interface renamed", port, kOpInterfaceName, kMsgSet, user, record_bytes(renamed)},
      {"an interface made", port, kOpInterfaceRow, kMsgSet, user, record_bytes(made)},
      {"it is there", port, kOpInterface, kMsgGetNext, user, record_bytes(switch_interface{105, 0, {}})},
      {"its membership", port, kOpActiveMembership, kMsgGet, user, words({1, 0x01020304, 0})},
      {"an interface taken away", port, kOpInterfaceRow, kMsgDelete, user, record_bytes(made)},
      {"the switch's name", kServiceIdentity, kOpSwitchName, kMsgGet, user, {}},
      {"another world wide name", kServiceIdentity, kOpSwitchWwnChange, kMsgSet, user, {1, 2, 3, 4, 5, 6, 7, 8}},
      {"it is read", kServiceIdentity, kOpSwitchWwn, kMsgGet, user, {}},
      {"distribution on", kdx, kOpDistribution, kMsgSet, user, words({kDistributionEnable, 1})},
      {"a VSAN kept out", kdx, kOpDistribution, kMsgSet, user, words({kDistributionKeepOut, 20})},
      {"the first kept out", kdx, kOpKeptOut, kMsgGetNext, user, words({0})},
      {"no further one", kdx, kOpKeptOut, kMsgGetNext, user, words({20})},
      {"a pending timer", kServiceVsanManager, kOpFcTimer, kMsgSet, user, timer_payload(8, 7000, 0, 0, 0)},
      {"how things are", kdx, kOpDistribution, kMsgGet, user, {}},
      {"the first pending", kdx, kOpPendingTimer, kMsgGetNext, user, words({0, 0, 0})},
      {"no further one", kdx, kOpPendingTimer, kMsgGetNext, user, words({0, 8, 0})},
      {"committed", kdx, kOpDistribution, kMsgSet, user, words({kDistributionCommit, 0})},
      {"no session to commit", kdx, kOpDistribution, kMsgSet, user, words({kDistributionCommit, 0})},
  };
}

struct RecordedAnswers : switch_under_test {
  std::vector<std::string> lines;

  void serve(const asked &request) {
    const auto *row = std::ranges::find(kHandlers, request.service, [](const auto &each) { return each.service; });
    ASSERT_NE(row, std::end(kHandlers)) << "service " << request.service;
    const bool is_write = request.msg_type == kMsgSet || request.msg_type == kMsgDelete;
    const std::string question = std::to_string(request.opcode) + " " + std::to_string(request.msg_type);
    if (is_write) {
      answered.clear();
    } else if (!answered.insert({question, request.payload}).second) {
      return;
    }
    const message_reply reply = ask_of(row->handler, request.opcode, request.msg_type, request.payload, request.user);
    char status[16];
    snprintf(status, sizeof status, "%x", static_cast<unsigned>(reply.status));
    const bool is_time = request.opcode == kOpTableLastChange && reply.payload.size() == 2 * sizeof(uint32_t);
    lines.push_back(request.what + " | " + question + " | " + status + " | " +
                    (is_time ? "time" : recording::hex(reply.payload.data(), reply.payload.size())));
  }

  // Distribution is as it was when the module asked.
  void distribute(bool wanted) {
    if (wanted == distributed) {
      return;
    }
    distributed = wanted;
    order("a session aborted", kDistributionAbort, 0);
    order("distribution", kDistributionEnable, wanted ? 1 : 0);
  }

 private:
  void order(const char *what, uint32_t command, uint32_t argument) {
    serve({what, kServiceDistribution, kOpDistribution, kMsgSet, "operator", words({command, argument})});
  }

  std::set<std::pair<std::string, bytes>> answered;  // reads since the last write
  bool distributed = false;
};

TEST_F(RecordedAnswers, AreTheSameFromEveryHost) {
  for (const std::string &line : recording::lines_of(RECORDED_REQUESTS)) {
    const asked request = read_request(line);
    distribute(request.what.find("distribution") != std::string::npos);
    serve(request);
  }
  for (const asked &request : operator_requests()) {
    serve(request);
  }
  for (const notification_record &each : managers.state.notifications) {
    lines.push_back("notification " + std::to_string(each.number) + " | " + std::to_string(each.id) + " | " +
                    recording::hex(each.payload.data(), each.payload.size()));
  }
  recording::expect(RECORDED_ANSWERS, lines);
}

}  // namespace
