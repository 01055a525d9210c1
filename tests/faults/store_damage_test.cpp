// A store that was damaged while nobody used it: refused by name and left as it is, or whole. Bits are flipped and files
// are cut at places that a seed draws; DAMAGE_SEED repeats a run and DAMAGE_ROUNDS makes it longer.
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "statuses.h"
#include "switch_under_test.h"

namespace {

size_t from_environment(const char *variable, size_t otherwise) {
  const char *text = getenv(variable);
  return text == nullptr ? otherwise : strtoul(text, nullptr, 10);
}

void put_file(const std::string &path, const std::string &content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

struct StoreDamage : switch_under_test {
  std::mt19937 random;

  void SetUp() override {
    switch_under_test::SetUp();
    const auto seed = static_cast<unsigned>(from_environment("DAMAGE_SEED", std::random_device()()));
    printf("DAMAGE_SEED=%u\n", seed);
    random.seed(seed);
    for (uint32_t vsan = 100; vsan < 140; ++vsan) {
      ASSERT_EQ(set_row(new_row(vsan, "damage-" + std::to_string(vsan))), 0);
    }
    ASSERT_FALSE(managers.state.notifications.empty());
  }
  std::string log_path() const { return store_path() + "-wal"; }
  size_t draw(size_t below) { return std::uniform_int_distribution<size_t>(0, below - 1)(random); }

  // Puts the files there and reads them. Returns whether the store was refused; then the file is what it was.
  bool is_refused(const std::string &file, const std::string &log, switch_state &state) {
    std::filesystem::remove(store_path() + "-shm");
    std::filesystem::remove(log_path());
    put_file(store_path(), file);
    if (!log.empty()) {
      put_file(log_path(), log);
    }
    std::string error;
    store *opened = store_open(store_path(), error);
    const bool refused = opened == nullptr || store_load(opened, state, error) != 0;
    store_close(opened);
    if (refused) {
      EXPECT_NE(error.find(store_path()), std::string::npos) << error;
      EXPECT_TRUE(file_text(store_path()) == file) << "a refused store was written to: " << error;
    }
    return refused;
  }
};

TEST_F(StoreDamage, AFlippedBitIsRefusedByNameOrChangesNothing) {
  const switch_state acknowledged = managers.state;
  close();
  const std::string sound = file_text(store_path());
  const size_t rounds = from_environment("DAMAGE_ROUNDS", 300);
  size_t refused = 0;
  for (size_t round = 0; round < rounds; ++round) {
    const size_t bit = draw(sound.size() * 8);
    std::string damaged = sound;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
    switch_state state;
    if (is_refused(damaged, "", state)) {
      ++refused;
    } else {
      ASSERT_TRUE(state == acknowledged) << "bit " << bit % 8 << " of byte " << bit / 8 << " went unnoticed";
    }
  }
  printf("%zu of %zu flipped bits refused, the others changed nothing\n", refused, rounds);
  EXPECT_GT(refused, rounds / 4);
  put_file(store_path(), sound);
  open();
  EXPECT_TRUE(managers.state == acknowledged);
}

TEST_F(StoreDamage, AFileThatIsCutIsRefusedByName) {
  close();
  const std::string sound = file_text(store_path());
  const size_t rounds = from_environment("DAMAGE_ROUNDS", 100);
  for (size_t round = 0; round < rounds; ++round) {
    const size_t length = draw(sound.size());
    switch_state state;
    ASSERT_TRUE(is_refused(sound.substr(0, length), "", state)) << "cut at " << length;
  }
  put_file(store_path(), sound);
  open();
}

// The log of a switchd that was killed. SQLite takes it up to its first unsound frame: a change is there wholly or not at
// all, and none is there without those before it.
TEST_F(StoreDamage, ADamagedLogGivesAStateThatWasAcknowledgedOrIsRefused) {
  std::vector<switch_state> acknowledged;
  close();
  open();
  acknowledged.push_back(managers.state);
  for (int change = 0; change < 12; ++change) {
    ASSERT_EQ(set_row(new_row(200, "change-" + std::to_string(change))), 0);
    acknowledged.push_back(managers.state);
  }
  const std::string file = file_text(store_path()), log = file_text(log_path());
  close();
  const size_t rounds = from_environment("DAMAGE_ROUNDS", 100);
  size_t refused = 0, whole = 0;
  for (size_t round = 0; round < rounds; ++round) {
    std::string damaged = log.substr(0, draw(2) == 0 ? draw(log.size() + 1) : log.size());
    if (!damaged.empty()) {
      const size_t bit = draw(damaged.size() * 8);
      damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
    }
    switch_state state;
    if (is_refused(file, damaged, state)) {
      ++refused;
      continue;
    }
    const auto found = std::ranges::find(acknowledged, state);
    ASSERT_TRUE(found != acknowledged.end()) << "a state that never was, from a log of " << damaged.size() << " bytes";
    whole += found + 1 == acknowledged.end() ? 1 : 0;
  }
  printf("%zu damaged logs: %zu refused, %zu whole, the others an earlier state\n", rounds, refused, whole);
  put_file(store_path(), file);
  put_file(log_path(), log);
  std::filesystem::remove(store_path() + "-shm");
  open();
  EXPECT_TRUE(managers.state == acknowledged.back()) << "an undamaged log is taken to its end";
}

}  // namespace
