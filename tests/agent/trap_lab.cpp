#include "trap_lab.h"

// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
// clang-format on

#include <fcntl.h>
#include <linux/sock_diag.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/socket.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "big_endian.h"
#include "platform/cmi.h"
#include "platform/mts.h"
#include "requests.h"
#include "switchplatform/run_dir.h"

namespace trap_lab {
namespace {

using namespace mib;

constexpr int kOpInterfaceVsan = 124, kOpNotificationControl = 8018, kSet = 3, kVsanManager = 15;
constexpr int kSinkBuffer = 32 << 20;

std::string output_of(const receiver &r) {
  return r.dir + "/heard." + std::to_string(r.port);
}

std::vector<std::string> command_of(const receiver &r) {
  const std::string port = std::to_string(r.port), here = LAB_SOURCE_DIR "/tests/agent";
  switch (r.kind) {
    case client::pysnmp:
      return {"/usr/bin/python3", here + "/python/trap_receiver.py", port};
    case client::npm:
      return {"node", here + "/npm/trap_receiver.js", port};
    default:
      return {"snmptrapd",
              "-f",
              "-n",
              "-On",
              "-C",
              "-c",
              r.dir + "/heard.conf",
              "--persistentDir=" + r.dir + "/heard.d",
              "-F",
              "%P\t%v\n",
              "-Lf",
              output_of(r),
              "udp:127.0.0.1:" + port};
  }
}

std::vector<std::string> split(const std::string &text, char at) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, at);) {
    out.push_back(part);
  }
  return out;
}

// A value as snmptrapd prints it, in the form that the other receivers use.
std::string plain_value(const std::string &printed) {
  const size_t colon = printed.find(": ");
  const std::string type = printed.substr(0, colon), value = printed.substr(colon + 2);
  if (type == "Timeticks") {
    return value.substr(1, value.find(')') - 1);
  }
  if (type != "Hex-STRING") {
    return value;
  }
  std::string hex;
  for (char c : value) {
    if (isxdigit(static_cast<unsigned char>(c)) != 0) {
      hex += static_cast<char>(tolower(c));
    }
  }
  return hex;
}

heard read_line(client kind, const std::string &line) {
  const auto fields = split(line, '\t');
  const bool by_snmptrapd = kind == client::snmptrapd;
  heard h;
  h.inform = by_snmptrapd ? fields[0].starts_with("INFORM") : fields[0] == "inform";
  for (size_t i = 1; i < fields.size(); ++i) {
    const std::string between = by_snmptrapd ? " = " : "=";
    const size_t equals = fields[i].find(between);
    if (equals == std::string::npos) {
      throw std::runtime_error("a receiver wrote: " + line);
    }
    const std::string value = fields[i].substr(equals + between.size());
    h.varbinds.emplace_back(fields[i].substr(0, equals), by_snmptrapd ? plain_value(value) : value);
  }
  return h;
}

bool is_notification(const std::string &line) {
  return line.starts_with("TRAP") || line.starts_with("INFORM") || line.starts_with("trap\t") ||
         line.starts_with("inform\t");
}

}  // namespace

receiver::~receiver() {
  if (process.pid != 0) {
    lab::stop(process, SIGKILL);
  }
}

void start(receiver &r, client kind, const std::string &dir) {
  r.kind = kind;
  r.dir = dir;
  r.port = lab::free_udp_port();
  lab::write_file(dir + "/heard.conf",
                  "disableAuthorization yes\n"
                  "createUser operator SHA-256 operator-auth-key AES operator-priv-key\n");
  r.process = lab::launch(command_of(r), output_of(r));
  const bool serves = lab::wait_until([&] {
    const std::string text = lab::read_file(output_of(r));
    return text.find(kind == client::snmptrapd ? "NET-SNMP version" : "ready") != std::string::npos;
  });
  if (!serves) {
    throw std::runtime_error("a receiver does not start: " + lab::read_file(output_of(r)));
  }
}

std::vector<heard> all_heard(const receiver &r) {
  const std::string text = lab::read_file(output_of(r));
  std::vector<heard> out;
  for (const std::string &line : split(text.substr(0, text.rfind('\n') + 1), '\n')) {
    if (is_notification(line)) {
      out.push_back(read_line(r.kind, line));
    }
  }
  return out;
}

std::vector<heard> heard_of(const receiver &r, const name_t &trap) {
  std::vector<heard> out;
  for (const heard &h : all_heard(r)) {
    if (h.varbinds.size() > 1 && h.varbinds[1].second == text(trap)) {
      out.push_back(h);
    }
  }
  return out;
}

// The sink.

namespace {

int on_notification(int operation, snmp_session *, int, snmp_pdu *pdu, void *context) {
  auto &s = *static_cast<sink *>(context);
  const bool inform = pdu->command == SNMP_MSG_INFORM;
  if (operation != NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE || (!inform && pdu->command != SNMP_MSG_TRAP2)) {
    return 1;
  }
  const netsnmp_variable_list *v = pdu->variables != nullptr ? pdu->variables->next_variable : nullptr;
  if (v != nullptr && v->type == ASN_OBJECT_ID) {
    sink::entry e = {inform, {v->val.objid, v->val.objid + v->val_len / sizeof(oid)}, {}};
    for (v = v->next_variable; v != nullptr; v = v->next_variable) {
      e.varbinds.push_back(from_library(*v));
    }
    const std::lock_guard held(s.lock);
    s.received.push_back(std::move(e));
  }
  if (inform) {
    netsnmp_pdu *answer = snmp_clone_pdu(pdu);
    answer->command = SNMP_MSG_RESPONSE;
    answer->errstat = answer->errindex = 0;
    if (snmp_sess_send(s.session, answer) == 0) {
      snmp_free_pdu(answer);
    }
  }
  return 1;
}

void take_all(sink &s) {
  while (!s.stopping) {
    pollfd ready = {s.fd, POLLIN, 0};
    if (poll(&ready, 1, 20) <= 0) {
      continue;
    }
    fd_set set;
    FD_ZERO(&set);
    FD_SET(s.fd, &set);
    snmp_sess_read(s.session, &set);
  }
}

}  // namespace

sink::sink(int wanted) : port(wanted != 0 ? wanted : lab::free_udp_port()) {
  snmp::init_library();
  netsnmp_transport *transport =
      netsnmp_transport_open_server("test", ("udp:127.0.0.1:" + std::to_string(port)).c_str());
  if (transport == nullptr) {
    throw std::runtime_error("no sink on port " + std::to_string(port));
  }
  fd = transport->sock;
  fcntl(fd, F_SETFD, FD_CLOEXEC);  // an agent that is started later must not keep it open
  if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &kSinkBuffer, sizeof kSinkBuffer) != 0) {
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kSinkBuffer, sizeof kSinkBuffer);
  }
  netsnmp_session s;
  snmp_sess_init(&s);
  s.callback = on_notification;
  s.callback_magic = this;
  s.isAuthoritative = SNMP_SESS_UNKNOWNAUTH;
  session = snmp_sess_add(&s, transport, nullptr, nullptr);
  if (session == nullptr) {
    throw std::runtime_error("no session for a sink");
  }
  thread = std::thread([this] { take_all(*this); });
}

sink::~sink() {
  stopping = true;
  thread.join();
  snmp_sess_close(session);
}

std::vector<sink::entry> sink::entries() const {
  const std::lock_guard held(lock);
  return received;
}

std::vector<sink::entry> sink::take() {
  const std::lock_guard held(lock);
  return std::exchange(received, {});
}

size_t sink::count() const {
  const std::lock_guard held(lock);
  return received.size();
}

unsigned sink::drops() const {
  uint32_t info[SK_MEMINFO_VARS] = {};
  socklen_t size = sizeof info;
  if (getsockopt(fd, SOL_SOCKET, SO_MEMINFO, info, &size) != 0) {
    throw std::runtime_error("no SO_MEMINFO");
  }
  return info[SK_MEMINFO_DROPS];
}

std::vector<move> moves_of(const std::vector<sink::entry> &entries) {
  std::vector<move> out;
  for (const sink::entry &e : entries) {
    if (e.trap != membership_change() || e.varbinds.size() != 3) {
      continue;
    }
    out.push_back(
        {static_cast<unsigned long>(e.varbinds[1].integer), static_cast<unsigned long>(e.varbinds[2].integer)});
  }
  return out;
}

// Changes.

std::string quiet_topology(int interfaces, int vsans) {
  std::ostringstream out;
  for (int v = 1; v <= vsans; ++v) {
    out << "[[vsan]]\nid = " << v << "\nname = \"v" << v << "\"\n";
  }
  for (int i = 1; i <= interfaces; ++i) {
    out << "[[interface]]\nname = \"fc" << i << "\"\nindex = " << i << "\nvsan = 1\nup = false\n";
  }
  return out.str();
}

move nth_move(int n, int interfaces) {
  return {static_cast<unsigned long>(1 + n % interfaces), static_cast<unsigned long>(2 + n / interfaces)};
}

namespace {

int request(const lab::lab &l, int opcode, std::initializer_list<uint32_t> words) {
  if (platform_set_run_dir((l.dir + "/run").c_str()) != 0) {
    return -1;
  }
  std::vector<uint8_t> payload(words.size() * 4);
  uint8_t *at = payload.data();
  for (uint32_t word : words) {
    at = put_be32(at, word);
  }
  uint32_t size = static_cast<uint32_t>(payload.size());
  return cmi_req_resp(opcode, kSet, payload.data(), nullptr, &size, "burst", "", kVsanManager, mts_response_q, 10);
}

}  // namespace

int make_move(const lab::lab &l, const move &m) {
  return request(l, kOpInterfaceVsan, {static_cast<uint32_t>(m.interface), static_cast<uint32_t>(m.vsan), 0, 0});
}

int control_notifications(const lab::lab &l, uint32_t value) {
  return request(l, kOpNotificationControl, {value});
}

counters queue_counters(const lab::lab &l) {
  const lab::result shown = lab::ctl(l, {"--json", "show", "notifications"});
  if (shown.status != 0) {
    throw std::runtime_error("no counters: " + shown.output);
  }
  const auto json = nlohmann::json::parse(shown.output);
  const auto number = [&](const char *key) { return json.at(key).get<long>(); };
  return {number("queued"), number("raised"), number("dropped"), number("sent")};
}

bool wait_until_taken(const lab::lab &l, double seconds) {
  return lab::wait_until([&] { return queue_counters(l).queued == 0; }, seconds);
}

}  // namespace trap_lab
