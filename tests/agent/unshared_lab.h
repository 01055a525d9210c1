// What tests of an agent that does not share switchd's page have in common: its run directory, its log, and what
// switchd knows of it.
#ifndef TESTS_AGENT_UNSHARED_LAB_H
#define TESTS_AGENT_UNSHARED_LAB_H

#include <filesystem>
#include <nlohmann/json.hpp>

#include "fabric_lab.h"

namespace unshared_lab {

using namespace set_lab;
using namespace fabric_lab;
using nlohmann::json;
namespace fs = std::filesystem;

// A lab whose agent is started again in a run directory of its own, which has links to the sockets of switchd's.
class UnsharedTest : public SetTest {
 protected:
  void SetUp() override {
    lab::start(l, how);
    links = l.dir + "/links";
    own = l.dir + "/agent/switch_agent.page";
    fs::create_directory(links);
    for (const auto &entry : fs::directory_iterator(l.dir + "/run")) {
      if (entry.is_socket()) {
        fs::create_symlink(entry.path(), links + "/" + entry.path().filename().string());
      }
    }
    l.how.agent_lines += "switchRunDir " + links + "\n";
  }
  // Starts the agent there, and waits until it has said in its log that it shares no page.
  void restart_agent(const std::string &lines = "") {
    lab::stop(l.snmpd);
    l.how.agent_lines += lines;
    lab::start_snmpd(l);
    ASSERT_TRUE(lab::wait_until([&] { return log_lines("the page of switchd in " + links + " cannot be used") > 0; }))
        << agent_log();
  }

  std::string ctl(std::vector<std::string> words) {
    const lab::result r = lab::ctl(l, std::move(words));
    EXPECT_EQ(r.status, 0) << r.output;
    return r.output;
  }
  json status() { return json::parse(ctl({"show", "status", "--json"}), nullptr, false); }
  // What switchd knows of agents without its page, once it knows of so many.
  json without_page(size_t agents) {
    json known;
    lab::wait_until([&] { return (known = status()["agents_without_page"]).size() == agents; }, 20);
    EXPECT_EQ(known.size(), agents);
    return known.size() == agents ? known : json::array({json::object()});
  }
  unsigned asked_of(const std::string &name) {
    const json services = status()["services"];
    for (const json &service : services) {
      if (service["service"] == name) {
        return service["requests"];
      }
    }
    return 0;
  }
  unsigned asked_of_distribution() { return asked_of("distribution"); }
  std::string agent_log() { return lab::read_file(l.dir + "/agent.log"); }
  size_t log_lines(const std::string &text) {
    const std::string log = agent_log();
    size_t lines = 0;
    for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
      ++lines;
    }
    return lines;
  }
  varbind edtov() { return get(timer_cell(kEdtov, 20)); }

  // What holds with whatever reason for not sharing a page.
  void expect_pending_is_never_running() {
    ctl({"kdx", "enable"});
    EXPECT_DONE(set({timer(kEdtov, 20, 3000)}));
    EXPECT_EQ(edtov(), timer(kEdtov, 20, 3000));
    ctl({"kdx", "show-running", "on"});
    EXPECT_EQ(edtov(), timer(kEdtov, 20, 2000));
    ctl({"kdx", "show-running", "off"});
    EXPECT_EQ(edtov(), timer(kEdtov, 20, 3000));
    ctl({"kdx", "commit"});
    ctl({"kdx", "show-running", "on"});
    EXPECT_EQ(edtov(), timer(kEdtov, 20, 3000));
  }
  void expect_history_and_errors_in_own_page() {
    EXPECT_DONE(set({name(20, "renamed")}));
    EXPECT_SET(set({integer(if_vsan(16777216), 77)}), kInconsistentName, 1);
    EXPECT_NE(ctl({"history", "--page", own}).find("renamed"), std::string::npos);
    EXPECT_EQ(ctl({"history"}).find("renamed"), std::string::npos);
    const json errors = json::parse(ctl({"show", "errors", "--page", own, "--json"}), nullptr, false)["errors"];
    ASSERT_EQ(errors.size(), 1U) << errors;
    EXPECT_EQ(errors[0]["object"], "vsanIfVsan");
    EXPECT_EQ(errors[0]["value"], "77");
    EXPECT_EQ(errors[0]["text"], "no such VSAN");
    EXPECT_EQ(json::parse(ctl({"show", "errors", "--json"}), nullptr, false)["errors"].size(), 0U);
  }
  // `pid`: of who connects to switchd; 0: the agent.
  void expect_told(const char *why, pid_t pid = 0) {
    const json known = without_page(1);
    EXPECT_EQ(known[0], (json{{"pid", pid == 0 ? l.snmpd.pid : pid}, {"page", own}, {"why", why}}));
    EXPECT_EQ(log_lines(std::string("cannot be used: ") + why + "; events and errors are kept in " + own +
                        "; the distribution state is asked of switchd"),
              1U)
        << agent_log();
  }

  lab::options how;
  std::string links;
  std::string own;
};

}  // namespace unshared_lab

#endif
