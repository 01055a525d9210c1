// What switchd keeps of agents that do not share its page.
#include "agent_pages.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "requests.h"
#include "statuses.h"

namespace {

using nlohmann::json;

const json kSaid = {{"page", "/var/lib/snmp/a.page"}, {"why", "there is none"}};

json shown(pid_t pid) {
  return {{"pid", pid}, {"page", "/var/lib/snmp/a.page"}, {"why", "there is none"}};
}

TEST(AgentPages, AreShownAsTheirConnectionsSaidLast) {
  agent_pages pages;
  EXPECT_EQ(agent_pages_shown(pages), json::array());
  EXPECT_EQ(agent_pages_keep(pages, 2, 70, {{"page", ""}, {"why", "x"}}), 0);
  EXPECT_EQ(agent_pages_keep(pages, 1, 71, kSaid), 0);
  EXPECT_EQ(agent_pages_keep(pages, 2, 70, kSaid), 0);
  EXPECT_EQ(agent_pages_shown(pages), (json{shown(71), shown(70)}));
}

// Of another process namespace, or behind one forwarder.
TEST(AgentPages, OfOneProcessNumberAreAllShown) {
  agent_pages pages;
  EXPECT_EQ(agent_pages_keep(pages, 1, 0, kSaid), 0);
  EXPECT_EQ(agent_pages_keep(pages, 2, 0, kSaid), 0);
  EXPECT_EQ(agent_pages_shown(pages), (json{shown(0), shown(0)}));
}

TEST(AgentPages, WhatIsNoneOfOursIsRefusedAndLeavesWhatWasSaid) {
  agent_pages pages;
  EXPECT_EQ(agent_pages_keep(pages, 1, 70, kSaid), 0);
  const std::string longest(kAgentPageTextMax, 'a');
  for (const json &said :
       {json(), json("text"), json::array({kSaid}), json::object(), json{{"page", "/a"}}, json{{"why", "x"}},
        json{{"page", 1}, {"why", "x"}}, json{{"page", "/a"}, {"why", nullptr}}, json{{"page", "/a\n"}, {"why", "x"}},
        json{{"page", "/a"}, {"why", "\x1b[31m"}}, json{{"page", longest + "a"}, {"why", "x"}}}) {
    EXPECT_EQ(agent_pages_keep(pages, 1, 70, said), kStatusMalformed) << said;
  }
  EXPECT_EQ(agent_pages_shown(pages), json::array({shown(70)}));
  EXPECT_EQ(agent_pages_keep(pages, 1, 70, {{"page", longest}, {"why", longest}}), 0);
}

TEST(AgentPages, TooManyAreRefusedUntilOneEnds) {
  agent_pages pages;
  int kept = 0;
  for (uint64_t connection = 1; connection < 100; ++connection) {
    kept += agent_pages_keep(pages, connection, 70, kSaid) == 0 ? 1 : 0;
  }
  EXPECT_EQ(kept, 16);
  EXPECT_EQ(agent_pages_keep(pages, 100, 70, kSaid), kStatusBusy);
  EXPECT_EQ(agent_pages_keep(pages, 1, 70, kSaid), 0) << "who is known may go on";
  pages.erase(5);
  EXPECT_EQ(agent_pages_keep(pages, 100, 70, kSaid), 0);
}

}  // namespace
