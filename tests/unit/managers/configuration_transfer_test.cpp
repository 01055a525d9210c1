// The configuration in pieces: what is refused, and that clients do not meet in each other's files.
#include "configuration_transfer.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "requests.h"
#include "statuses.h"
#include "topology.h"

namespace {

using nlohmann::json;

struct ConfigurationTransfer : testing::Test {
  configuration_transfers transfers;
  switch_managers managers;
  json answer;

  void SetUp() override { state_apply(managers.state, default_topology()); }
  int give(pid_t client, const json &asked) { return configuration_give(transfers, managers, client, asked, answer); }
  int take(pid_t client, const json &piece) { return configuration_take(transfers, managers, client, piece, answer); }
  static json piece(const std::string &text, size_t offset, size_t total) {
    return {{"offset", offset}, {"total", total}, {"text", text}, {"name", "f"}, {"apply", false}};
  }
};

TEST_F(ConfigurationTransfer, PiecesThatAreNoneAreMalformed) {
  for (const json &asked :
       {json(), json(7), json::array(), json::object(), json{{"offset", -1}}, json{{"offset", "0"}}}) {
    EXPECT_EQ(give(1, asked), kStatusMalformed) << asked;
    EXPECT_EQ(take(1, asked), kStatusMalformed) << asked;
  }
  for (const char *key : {"offset", "total", "text", "name", "apply"}) {
    json broken = piece("", 0, 0);
    broken[key] = nullptr;
    EXPECT_EQ(take(1, broken), kStatusMalformed) << key;
    broken.erase(key);
    EXPECT_EQ(take(1, broken), kStatusMalformed) << key;
  }
}

TEST_F(ConfigurationTransfer, PiecesComeInOrder) {
  EXPECT_EQ(take(1, piece("b", 1, 2)), kStatusMalformed) << "none before it";
  EXPECT_EQ(take(1, piece("# a", 0, 6)), 0);
  EXPECT_EQ(answer, json::object());
  EXPECT_EQ(take(1, piece("b", 5, 6)), kStatusMalformed) << "a gap";
  EXPECT_EQ(take(1, piece("bcd", 3, 6)), kStatusMalformed) << "the file was given up";
  EXPECT_EQ(take(1, piece("# a", 0, 2)), kStatusMalformed) << "more than announced";
  EXPECT_EQ(take(1, piece("", 0, kConfigurationMax + 1)), kStatusMalformed);
  EXPECT_EQ(give(1, {{"offset", 5U}}), kStatusMalformed) << "nothing was asked for yet";
}

TEST_F(ConfigurationTransfer, ClientsHaveFilesOfTheirOwn) {
  EXPECT_EQ(take(1, piece("[switch]\n", 0, 20)), 0);
  EXPECT_EQ(take(2, piece("[swatch]\n", 0, 20)), 0);
  EXPECT_EQ(take(1, piece("name = 'a'\n", 9, 20)), 0);
  EXPECT_EQ(answer["problems"], "");
  EXPECT_EQ(answer["extent"], "1 setting of the switch");
  EXPECT_EQ(take(2, piece("name = 'a'\n", 9, 20)), 0);
  EXPECT_EQ(answer["problems"], "f:1: swatch: unknown section");
}

TEST_F(ConfigurationTransfer, WhatTooManyClientsHaveUnderWayIsBusy) {
  for (pid_t client = 1; client <= 8; ++client) {
    EXPECT_EQ(take(client, piece("#", 0, 2)), 0);
  }
  EXPECT_EQ(take(9, piece("#", 0, 2)), kStatusBusy);
  EXPECT_EQ(take(8, piece("\n", 1, 2)), 0);
  EXPECT_EQ(take(9, piece("#", 0, 2)), 0);
}

TEST_F(ConfigurationTransfer, AChangeInBetweenDoesNotTearACopy) {
  managers.state.settings.name.assign(255, 'x');
  for (uint32_t vsan = 2; vsan < 500; ++vsan) {
    managers.state.vsans[vsan].id = vsan;
  }
  const std::string whole = write_topology(managers.state);
  ASSERT_GT(whole.size(), size_t{kConfigurationPiece});
  ASSERT_EQ(give(1, {{"offset", 0U}}), 0);
  std::string text = answer["text"];
  managers.state.vsans.clear();
  while (text.size() < whole.size()) {
    ASSERT_EQ(give(1, {{"offset", text.size()}}), 0);
    text += answer["text"].get<std::string>();
  }
  EXPECT_EQ(text, whole);
}

TEST_F(ConfigurationTransfer, ACharacterIsNotCutInTwo) {
  managers.state.vsans[1].name = "";
  for (int at = 0; at < 4; ++at) {
    managers.state.settings.name = std::string(static_cast<size_t>(at), 'x');
    for (uint32_t vsan = 2; vsan < 400; ++vsan) {
      managers.state.vsans[vsan].id = vsan;
      managers.state.vsans[vsan].name =
          "\xE2\x82\xAC\xE2\x82\xAC\xE2\x82\xAC\xE2\x82\xAC\xE2\x82\xAC\xE2\x82\xAC" + std::to_string(vsan);
    }
    std::string text;
    size_t total = 1;
    while (text.size() < total) {
      ASSERT_EQ(give(1, {{"offset", text.size()}}), 0);
      ASSERT_NO_THROW(static_cast<void>(answer.dump()));
      text += answer["text"].get<std::string>();
      total = answer["total"];
    }
    EXPECT_EQ(text, write_topology(managers.state));
  }
}

TEST_F(ConfigurationTransfer, ANameThatNoFileCanHoldIsNamed) {
  managers.state.vsans[1].name = "\xFF";
  ASSERT_EQ(give(1, {{"offset", 0U}}), 0);
  EXPECT_EQ(answer["problems"], "VSAN 1 has a name that is no UTF-8 text, which a file cannot hold: rename it first");
}

}  // namespace
