// What switchd keeps of agents that do not share its page.
#include "agent_pages.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "requests.h"
#include "statuses.h"

namespace {

using nlohmann::json;

const json kSaid = {{"page", "/var/lib/snmp/a.page"}, {"why", "there is none"}};

json shown(pid_t pid) {
  return {{"pid", pid}, {"page", "/var/lib/snmp/a.page"}, {"why", "there is none"}};
}

// The number of a process that was there a moment ago.
pid_t gone_process() {
  const pid_t child = fork();
  if (child == 0) {
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  return child;
}

TEST(AgentPages, AreShownAsTheirProcessesSaidLast) {
  agent_pages pages;
  EXPECT_EQ(agent_pages_shown(pages), json::array());
  EXPECT_EQ(agent_pages_keep(pages, getpid(), {{"page", ""}, {"why", "x"}}), 0);
  EXPECT_EQ(agent_pages_keep(pages, getpid(), kSaid), 0);
  EXPECT_EQ(agent_pages_keep(pages, getppid(), kSaid), 0);
  json both = {shown(getpid()), shown(getppid())};
  if (getppid() < getpid()) {
    std::swap(both[0], both[1]);
  }
  EXPECT_EQ(agent_pages_shown(pages), both);
}

TEST(AgentPages, OfAProcessThatIsGoneIsForgotten) {
  agent_pages pages;
  EXPECT_EQ(agent_pages_keep(pages, gone_process(), kSaid), 0);
  EXPECT_EQ(agent_pages_shown(pages), json::array());
}

TEST(AgentPages, OfAProcessThatCannotBeSeenIsKeptWhileItSaysSo) {
  agent_pages pages;
  EXPECT_EQ(agent_pages_keep(pages, 0, kSaid), 0);
  EXPECT_EQ(agent_pages_shown(pages), json::array({shown(0)}));
  pages[0].told -= kAgentPageKept;
  EXPECT_EQ(agent_pages_shown(pages), json::array({shown(0)}));
  pages[0].told -= 2;
  EXPECT_EQ(agent_pages_shown(pages), json::array());
}

TEST(AgentPages, WhatIsNoneOfOursIsRefusedAndLeavesWhatWasSaid) {
  agent_pages pages;
  EXPECT_EQ(agent_pages_keep(pages, getpid(), kSaid), 0);
  const std::string longest(kAgentPageTextMax, 'a');
  for (const json &said :
       {json(), json("text"), json::array({kSaid}), json::object(), json{{"page", "/a"}}, json{{"why", "x"}},
        json{{"page", 1}, {"why", "x"}}, json{{"page", "/a"}, {"why", nullptr}}, json{{"page", "/a\n"}, {"why", "x"}},
        json{{"page", "/a"}, {"why", "\x1b[31m"}}, json{{"page", longest + "a"}, {"why", "x"}}}) {
    EXPECT_EQ(agent_pages_keep(pages, getpid(), said), kStatusMalformed) << said;
  }
  EXPECT_EQ(agent_pages_shown(pages), json::array({shown(getpid())}));
  EXPECT_EQ(agent_pages_keep(pages, getpid(), {{"page", longest}, {"why", longest}}), 0);
}

TEST(AgentPages, TooManyAreRefusedUntilOneIsForgotten) {
  agent_pages pages;
  int kept = 0;
  for (pid_t client = -1; client > -100; --client) {  // none that a signal would find
    kept += agent_pages_keep(pages, client, kSaid) == 0 ? 1 : 0;
  }
  EXPECT_EQ(kept, 16);
  EXPECT_EQ(agent_pages_keep(pages, getpid(), kSaid), kStatusBusy);
  EXPECT_EQ(agent_pages_keep(pages, -1, kSaid), 0) << "who is known may go on";
  pages[-5].told -= kAgentPageKept + 1;
  EXPECT_EQ(agent_pages_keep(pages, getpid(), kSaid), 0);
}

}  // namespace
