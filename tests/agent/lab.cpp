#include "lab.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "snmp_client.h"

namespace lab {

const char *const kSmallTopology = R"(
[switch]
name = "lab"
wwn = "20:00:02:5a:10:3c:00:01"
switch_latency = 500
network_latency = 2000
inorder_delivery = false
[timers]
r_a_tov = 10000
e_d_tov = 2000
d_s_tov = 5000
f_s_tov = 5000
[[vsan]]
id = 1
name = "default"
[[vsan]]
id = 5
name = "five"
interop = 3
load_balancing = "src-dst"
inorder_delivery = true
drop_latency = 3000
mtu = 2048
timers = { e_d_tov = 2500, r_a_tov = 9000 }
[[vsan]]
id = 10
name = "ten"
[[vsan]]
id = 20
name = "twenty"
[[vsan]]
id = 4093
name = "last"
state = "suspended"
[[interface]]
name = "fc1/1"
index = 16777216
vsan = 5
up = true
[[interface]]
name = "fc1/2"
index = 16781312
vsan = 10
up = true
[[interface]]
name = "fc1/3"
index = 16785408
vsan = 10
up = true
[[interface]]
name = "fc1/4"
index = 16789504
vsan = 20
up = false
[[interface]]
name = "fc1/5"
index = 16793600
vsan = 4093
up = true
)";

namespace {

using namespace mib;

using clock = std::chrono::steady_clock;

std::string agent_conf(const lab &l) {
  std::ostringstream conf;
  conf << "createUser operator SHA-256 operator-auth-key AES operator-priv-key\n"
          "createUser tenant SHA-256 tenant-auth-key AES tenant-priv-key\n"
          "createUser closed SHA-256 closed-auth-key AES closed-priv-key\n"
          "com2sec reader default public\n"
          "com2sec writer default private\n"
          "com2sec limited default limited\n"
          "group readers v2c reader\n"
          "group readers v1 reader\n"
          "group writers v2c writer\n"
          "group writers v1 writer\n"
          "group writers usm operator\n"
          "group tenants v2c limited\n"
          "group tenants usm tenant\n"
          "group closeds usm closed\n"
          "view all included .1\n"
          "access readers \"\" any noauth exact all none none\n"
          "access writers \"\" any noauth exact all all all\n"
          "access tenants \"\" any noauth exact all all all\n"
          "access closeds \"\" any noauth exact all all all\n";
  if (l.how.traps) {
    conf << "trap2sink 127.0.0.1:" << l.trap_port << " public\n";
  }
  conf << "dlmod switch_agent " << library("libswitchagent.so") << "\n"
       << "switchRunDir " << l.dir << "/run\n"
       << "vsanRole tenants 10,20\n"
       << "dlmod vsan_mib " << (l.how.module.empty() ? library("libvsanmib.so") : l.how.module) << "\n"
       << l.how.agent_lines;
  return conf.str();
}

void start_snmptrapd(lab &l) {
  write_file(l.dir + "/snmptrapd.conf",
             "disableAuthorization yes\n"
             "createUser -e 0x8000000001020304 operator SHA-256 operator-auth-key AES operator-priv-key\n");
  l.snmptrapd = launch(
      {"snmptrapd", "-f", "-n", "-On", "-C", "-c", l.dir + "/snmptrapd.conf", "--persistentDir=" + l.dir + "/traps",
       "-Lf", l.dir + "/traps.log", "udp:127.0.0.1:" + std::to_string(l.trap_port)},
      l.dir + "/snmptrapd.log");
  const bool serves =
      wait_until([&] { return read_file(l.dir + "/traps.log").find("NET-SNMP version") != std::string::npos; });
  if (!serves) {
    throw std::runtime_error("snmptrapd does not start: " + read_file(l.snmptrapd.log));
  }
}

std::string named(const char *variable, const char *otherwise) {
  const char *name = getenv(variable);
  return name != nullptr ? name : otherwise;
}

bool reads_the_page(const std::vector<std::string> &words) {
  const auto has = [&words](const char *word) { return std::find(words.begin(), words.end(), word) != words.end(); };
  return has("history") || has("debug") || has("errors") || has("levels");
}

// In order, so that what counts which ways were taken writes that down.
void end(process &p) {
  if (p.pid == 0) {
    return;
  }
  kill(p.pid, SIGCONT);
  stop(p, SIGTERM);
}

}  // namespace

std::string library(const std::string &file) {
  return named("LAB_LIBRARIES", LAB_LIB_DIR) + "/" + file;
}

std::string program(const std::string &name) {
  return named("LAB_PROGRAMS", LAB_BIN_DIR) + "/" + name;
}

std::string agent_program() {
  return named("LAB_SNMPD", "snmpd");
}

std::string store_program() {
  return named("LAB_SQLITE3", "sqlite3");
}

std::string preloaded(const std::string &file) {
  std::string list = LAB_PRELOAD[0] == '\0' ? "" : std::string(LAB_PRELOAD) + ":";
  list += std::string(LAB_LIB_DIR) + "/" + file;
  for (const std::string &folder : {named("LAB_LIBRARIES", LAB_LIB_DIR), named("LAB_SWITCH_LIBRARIES", LAB_LIB_DIR)}) {
    if (folder != LAB_LIB_DIR) {
      list += ":" + folder + "/" + file;
    }
  }
  return list;
}

// Starts a command with its output in `log` (appended); `preload` is for the sanitizers' runtime inside a stock
// program.
process launch(const std::vector<std::string> &command, const std::string &log, bool preload) {
  const pid_t pid = fork();
  if (pid < 0) {
    throw std::runtime_error("fork failed");
  }
  if (pid == 0) {
    const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    const int in = open("/dev/null", O_RDONLY);
    dup2(in, 0);
    dup2(out, 1);
    dup2(out, 2);
    setenv("MIBS", "", 1);
    if (preload && LAB_PRELOAD[0] != '\0') {
      setenv("LD_PRELOAD", LAB_PRELOAD, 0);  // a test may have said more
      // The agent itself leaks at its end; what counts here is memory misuse while it serves.
      setenv("ASAN_OPTIONS", "detect_leaks=0:abort_on_error=1:quarantine_size_mb=8", 1);
      setenv("UBSAN_OPTIONS", "print_stacktrace=1:halt_on_error=1", 1);
    }
    std::vector<char *> argv;
    for (const std::string &word : command) {
      argv.push_back(const_cast<char *>(word.c_str()));
    }
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    _exit(127);
  }
  return {pid, log};
}

lab::~lab() {
  end(snmpd);
  end(snmptrapd);
  end(switchd);
  if (!dir.empty()) {
    std::filesystem::remove_all(dir);
  }
}

void start(lab &l, const options &how) {
  std::string name = named("TMPDIR", "/tmp") + std::string("/lab.XXXXXX");
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("no temporary directory");
  }
  l.dir = name;
  l.how = how;
  for (const char *sub : {"/run", "/agent", "/traps"}) {
    std::filesystem::create_directory(l.dir + sub);
  }
  if (how.topology_file.empty()) {
    write_file(l.dir + "/topology.toml", how.topology.empty() ? kSmallTopology : how.topology);
  }
  l.snmp_port = free_udp_port();
  l.trap_port = free_udp_port();
  start_switchd(l);
  if (how.traps) {
    start_snmptrapd(l);
  }
  start_snmpd(l);
}

void start_switchd(lab &l) {
  const std::string topology = l.how.topology_file.empty() ? l.dir + "/topology.toml" : l.how.topology_file;
  std::vector<std::string> command = {program("switchd"),   "--run-dir",  l.dir + "/run", "--state",
                                      l.dir + "/switch.db", "--topology", topology};
  if (!l.how.agent_user.empty()) {
    command.insert(command.end(), {"--group", l.how.agent_user});
  }
  l.switchd = launch(command, l.dir + "/switchd.log");
  if (!wait_until([&] { return ctl(l, {"show", "status"}).status == 0; })) {
    throw std::runtime_error("switchd does not start: " + read_file(l.switchd.log));
  }
}

void start_snmpd(lab &l) {
  write_file(l.dir + "/snmpd.conf", agent_conf(l));
  std::vector<std::string> command = {agent_program(),
                                      "-f",
                                      "-C",
                                      "-c",
                                      l.dir + "/snmpd.conf",
                                      "-I",
                                      "-" + l.how.agent_modules_off,
                                      "--persistentDir=" + l.dir + "/agent",
                                      "-Lf",
                                      l.dir + "/agent.log"};
  if (!l.how.agent_user.empty()) {
    run({"chown", "-R", l.how.agent_user, l.dir + "/agent"});
    run({"chmod", "755", l.dir});
    command.insert(command.end(), {"-u", l.how.agent_user, "-g", l.how.agent_user});
  }
  command.push_back(agent_address(l));
  l.snmpd = launch(command, l.dir + "/snmpd.log", true);
  snmp::client probe(l, snmp::community("public"), 0.05);
  const bool serves = wait_until(
      [&] {
        const auto answer = snmp::get(probe, {vsan_number()});
        return answer.sent_back && answer.varbinds[0].type == 2;
      },
      20);
  if (!serves) {
    throw std::runtime_error("snmpd does not start: " + read_file(l.snmpd.log) + read_file(l.dir + "/agent.log"));
  }
}

void signal(const process &p, int number) {
  kill(p.pid, number);
}

int stop(process &p, int number) {
  if (p.pid == 0) {
    return 0;
  }
  kill(p.pid, number);
  int status = 0;
  const bool ended = wait_until([&] { return waitpid(p.pid, &status, WNOHANG) == p.pid; }, 20);
  if (!ended) {
    kill(p.pid, SIGKILL);
    waitpid(p.pid, &status, 0);
  }
  p.pid = 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

bool is_running(const process &p) {
  return p.pid != 0 && waitpid(p.pid, nullptr, WNOHANG) == 0;
}

std::string agent_address(const lab &l) {
  return "udp:127.0.0.1:" + std::to_string(l.snmp_port);
}

result run(const std::vector<std::string> &command) {
  char log[] = "/tmp/lab-run.XXXXXX";
  close(mkstemp(log));
  process p = launch(command, log);
  int status = 0;
  if (!wait_until([&] { return waitpid(p.pid, &status, WNOHANG) == p.pid; }, 60)) {
    kill(p.pid, SIGKILL);
    waitpid(p.pid, &status, 0);
  }
  result r = {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), read_file(log)};
  unlink(log);
  return r;
}

result ctl(const lab &l, std::vector<std::string> arguments) {
  const char *reader = reads_the_page(arguments) ? getenv("LAB_PAGE_READER") : nullptr;
  arguments.insert(arguments.begin(), {reader != nullptr ? reader : program("vsanctl"), "--run-dir", l.dir + "/run"});
  if (reader != nullptr && std::find(arguments.begin(), arguments.end(), "--page") == arguments.end()) {
    arguments.insert(arguments.end(), {"--page", l.dir + "/agent/switch_agent.page"});
  }
  return run(arguments);
}

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void write_file(const std::string &path, const std::string &text) {
  std::ofstream(path, std::ios::binary) << text;
}

bool wait_until(const std::function<bool()> &condition, double seconds) {
  const auto end = clock::now() + std::chrono::duration<double>(seconds);
  while (!condition()) {
    if (clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

long resident_kib(const process &p) {
  std::ifstream in("/proc/" + std::to_string(p.pid) + "/status");
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("VmRSS:", 0) == 0) {
      return std::stol(line.substr(6));
    }
  }
  return 0;
}

std::string store_dump(const lab &l) {
  const result dump = run({store_program(), "-readonly", l.dir + "/switch.db", ".dump"});
  if (dump.status != 0) {
    throw std::runtime_error("cannot read the store: " + dump.output);
  }
  return dump.output;
}

std::string settled_dump(const lab &l) {
  std::string before, now;
  const bool settled = wait_until([&] {
    before = now;
    now = store_dump(l);
    return now == before && now.find("INSERT INTO notification") == std::string::npos;
  });
  if (!settled) {
    throw std::runtime_error("notifications stay in the store: " + now);
  }
  return now;
}

std::string store_rows(const lab &l) {
  const result rows = run({store_program(), "-readonly", l.dir + "/switch.db",
                           "SELECT 'vsan ' || id, name, media_type, admin_state, mtu, load_balancing, interop, inorder,"
                           " drop_latency FROM vsan ORDER BY id;"
                           "SELECT 'interface ' || ifindex, vsan, up FROM interface ORDER BY ifindex;"
                           "SELECT 'timer ' || vsan, key, value FROM timer ORDER BY vsan, key;"
                           "SELECT 'pending ' || vsan, key, value FROM pending_timer ORDER BY vsan, key;"
                           "SELECT 'setting ' || name, value FROM setting WHERE name NOT LIKE 'changed_%' AND"
                           " name NOT LIKE '%notification%' AND name <> 'digest' ORDER BY name;"});
  if (rows.status != 0) {
    throw std::runtime_error("cannot read the store: " + rows.output);
  }
  return rows.output;
}

int free_udp_port() {
  // Below the ports that the kernel gives to clients, and in each process others than in those that run beside it, but
  // for a few in 625: what is free now is free still when a daemon asks for it.
  constexpr int kFirst = 10000;
  constexpr int kPorts = 10000;
  constexpr int kOfAProcess = 16;
  static int next = getpid() * kOfAProcess % kPorts;
  for (int tries = 0; tries < kPorts; ++tries) {
    const int port = kFirst + next;
    next = (next + 1) % kPorts;
    const int s = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool is_free = bind(s, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    close(s);
    if (is_free) {
      return port;
    }
  }
  throw std::runtime_error("no UDP port of loopback is free");
}

}  // namespace lab
