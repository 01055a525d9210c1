#include "service_files.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "toml_library.h"
#include "wwn_text.h"

namespace {

// What an agent needs to serve a switch, of the modules that snmpd has built in. The others cost it 2.3 MB of memory
// and answer for the machine, not for the switch. Names of the lists are the agent's own.
constexpr const char *kAgentModules = "dlmod,snmpEngine,snmp_mib,sysORTable,system_mib,usmUser,usm_conf,vacm_conf";

constexpr const char *kNote = "# Written by vsanfleet at each start.\n";

bool is_there(const std::string &file) {
  return access(file.c_str(), F_OK) == 0;
}

int write_text(const std::string &file, const std::string &text, mode_t mode, std::string &problem) {
  errno = 0;
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  if (!out || chmod(file.c_str(), mode) != 0) {
    problem = file + ": " + strerror(errno);
    return -1;
  }
  return 0;
}

int make_folder(const std::string &folder, std::string &problem) {
  std::error_code why;
  std::filesystem::create_directories(folder, why);
  if (why || chmod(folder.c_str(), 0750) != 0) {
    problem = folder + ": " + (why ? why.message() : strerror(errno));
    return -1;
  }
  return 0;
}

std::string shared_agent_lines(const fleet_description &fleet, const std::string &libraries) {
  std::string lines = kNote;
  lines += "rocommunity " + fleet.community + "\n";
  lines += fleet.write_community.empty() ? "" : "rwcommunity " + fleet.write_community + "\n";
  lines += "dontLogTCPWrappersConnects yes\n";  // a line a request otherwise
  lines += "dlmod switch_agent " + libraries + "/libswitchagent.so\n";
  lines += "dlmod vsan_mib " + libraries + "/libvsanmib.so\n";
  lines += fleet.interfaces ? "dlmod switch_interfaces " + libraries + "/libswitchinterfaces.so\n" : "";
  for (const std::string &line : fleet.lines) {
    lines += line + "\n";
  }
  return lines;
}

// An engine's number follows from the switch's world wide name, so that stations know it after a new start.
std::string own_agent_lines(const fleet_description &fleet, const fleet_switch &each) {
  char engine[32];
  snprintf(engine, sizeof engine, "0x80007ed905%016llx", static_cast<unsigned long long>(each.wwn));
  return kNote + ("switchRunDir " + switch_folder(fleet, each)) + "/run\n" + "exactEngineID " + engine + "\n" +
         (fleet.interfaces ? "" : "sysName " + each.name + "\n");
}

std::string switchd_script(const fleet_description &fleet, const fleet_programs &programs, const fleet_switch &each) {
  const std::string folder = switch_folder(fleet, each);
  std::string script = std::string("#!/bin/sh\n") + kNote + "exec 2>>" + folder + "/switchd.log\nexec " +
                       programs.switchd + " --run-dir " + folder + "/run --state " + folder + "/switch.db --topology " +
                       folder + "/topology.toml";
  if (!fleet.fabric.empty()) {
    script += " --fabric " + fleet.fabric + " --fabric-endpoints " + fleet.fabric_endpoints;
  }
  return script + "\n";
}

// One memory arena is enough for one thread, and a MIB that is not loaded takes no memory.
std::string agent_script(const fleet_description &fleet, const fleet_switch &each) {
  const std::string folder = switch_folder(fleet, each);
  return std::string("#!/bin/sh\n") + kNote + "exec >>" + folder + "/agent.log 2>&1\n" +
         "export MIBS= MALLOC_ARENA_MAX=1 PATH=\"$PATH:/usr/sbin\"\n" + "exec snmpd -f -Le -C -c " + fleet.directory +
         "/agent.conf," + folder + "/agent.conf -I " + kAgentModules + " --persistentDir=" + folder +
         "/agent udp:" + each.listen + ":" + std::to_string(each.port) + "\n";
}

// What does not mend itself is not started again: a wrong command line or topology, a store or a run directory that is
// not to be had.
constexpr const char *kSwitchdFinish = "#!/bin/sh\ncase $1 in [2-5]) exit 125 ;; esac\n";

struct written_file {
  std::string name;
  std::string text;
  mode_t mode;
};

int write_all(const std::vector<written_file> &files, std::string &problem) {
  for (const written_file &each : files) {
    if (write_text(each.name, each.text, each.mode, problem) != 0) {
      return -1;
    }
  }
  return 0;
}

int read_base(const std::string &file, std::string &text, std::string &problem) {
  errno = 0;
  std::ifstream in(file, std::ios::binary);
  std::ostringstream read;
  if (!in || !(read << in.rdbuf())) {
    problem = "topology " + file + ": " + (errno != 0 ? strerror(errno) : "it is empty, or cannot be read");
    return -1;
  }
  text = read.str();
  return 0;
}

int write_switch_files(const fleet_description &fleet, const fleet_programs &programs, const fleet_switch &each,
                       const std::string &base, std::string &problem) {
  const std::string folder = switch_folder(fleet, each);
  const std::string switch_service = service_folder(fleet, each, kSwitchService);
  const std::string agent_service = service_folder(fleet, each, kAgentService);
  for (const std::string &made : {folder, folder + "/run", folder + "/agent", switch_service, agent_service}) {
    if (make_folder(made, problem) != 0) {
      return -1;
    }
  }
  std::string topology;
  if (switch_topology(base, each.topology, each, topology, problem) != 0) {
    return -1;
  }
  std::vector<written_file> files = {
      {folder + "/topology.toml", topology, 0640},
      {folder + "/agent.conf", own_agent_lines(fleet, each), 0640},
      {switch_service + "/run", switchd_script(fleet, programs, each), 0750},
      {switch_service + "/finish", kSwitchdFinish, 0750},
      {switch_service + "/notification-fd", "1\n", 0640},
      {agent_service + "/run", agent_script(fleet, each), 0750},
  };
  for (const std::string &service : {switch_service, agent_service}) {
    files.push_back({service + "/down", "", 0640});  // vsanfleet starts it, not the supervisor's own start
    files.push_back({service + "/timeout-kill", "10000\n", 0640});
    files.push_back({service + "/max-death-tally", "1000\n", 0640});
  }
  return write_all(files, problem);
}

}  // namespace

int find_programs(fleet_programs &programs, std::string &problem) {
  std::error_code why;
  const std::string own = std::filesystem::read_symlink("/proc/self/exe", why).parent_path().string();
  const fleet_programs places[] = {{own + "/switchd", own + "/vsanctl", own.substr(0, own.rfind('/')) + "/lib"},
                                   {FLEET_SWITCHD, FLEET_VSANCTL, FLEET_LIBRARIES}};
  for (const fleet_programs &each : places) {
    if (is_there(each.switchd) && is_there(each.vsanctl) && is_there(each.libraries + "/libvsanmib.so")) {
      programs = each;
      return 0;
    }
  }
  problem = "switchd, vsanctl and libvsanmib.so are neither beside this program, in " + own + " and " +
            places[0].libraries + ", nor installed, in " FLEET_SWITCHD ", " FLEET_VSANCTL " and " FLEET_LIBRARIES;
  return -1;
}

int switch_topology(const std::string &topology, const std::string &file, const fleet_switch &each, std::string &text,
                    std::string &problem) {
  toml::parse_result parsed = toml::parse(topology, file);
  if (!parsed) {
    problem = file + ":" + std::to_string(parsed.error().source().begin.line) + ": " +
              std::string(parsed.error().description());
    return -1;
  }
  toml::table &root = parsed.table();
  if (root.get("switch") == nullptr) {
    root.insert("switch", toml::table{});
  }
  toml::table *section = root.get("switch")->as_table();
  if (section == nullptr) {
    problem = file + ": switch: a [table] is wanted";
    return -1;
  }
  section->insert_or_assign("name", each.name);
  section->insert_or_assign("wwn", wwn_text(each.wwn));
  std::ostringstream out;
  out << kNote << root << "\n";
  text = out.str();
  return 0;
}

int write_fleet_files(const fleet_description &fleet, const fleet_programs &programs, std::string &problem) {
  const std::string agent_lines = shared_agent_lines(fleet, programs.libraries);
  if (make_folder(fleet.directory, problem) != 0 ||
      write_text(fleet.directory + "/agent.conf", agent_lines, 0640, problem) != 0) {
    return -1;
  }
  std::map<std::string, std::string> bases;
  for (const fleet_switch &each : fleet.switches) {
    if (!bases.contains(each.topology) && read_base(each.topology, bases[each.topology], problem) != 0) {
      return -1;
    }
    if (write_switch_files(fleet, programs, each, bases[each.topology], problem) != 0) {
      return -1;
    }
  }
  return 0;
}

int remove_fleet_files(const fleet_description &fleet, std::string &problem) {
  for (const char *each : {"/switches", "/services", "/agent.conf", "/supervisor.log"}) {
    std::error_code why;
    std::filesystem::remove_all(fleet.directory + each, why);
    if (why) {
      problem = fleet.directory + each + ": " + why.message();
      return -1;
    }
  }
  if (rmdir(fleet.directory.c_str()) != 0 && errno != ENOENT && errno != ENOTEMPTY) {
    problem = fleet.directory + ": " + strerror(errno);
    return -1;
  }
  return 0;
}
