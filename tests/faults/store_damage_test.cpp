// A store that was damaged while nobody used it: refused by name and left as it is, or whole. Bits are flipped and
// files are cut at places that a seed draws; DAMAGE_SEED repeats a run and DAMAGE_ROUNDS makes it longer.
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

constexpr size_t kPage = 1024;  // of a store

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

// Between two pages, where a file system cuts, each part of the file is whole.
TEST_F(StoreDamage, AFileThatIsCutBetweenTwoPagesIsRefusedByName) {
  close();
  const std::string sound = file_text(store_path());
  ASSERT_EQ(sound.substr(16, 2), std::string("\x04\0", 2)) << "the size of its pages, as the file says";
  ASSERT_EQ(sound.size() % kPage, 0u);
  ASSERT_GT(sound.size(), 10 * kPage);
  for (size_t length = 0; length < sound.size(); length += kPage) {
    switch_state state;
    ASSERT_TRUE(is_refused(sound.substr(0, length), "", state)) << "cut at " << length;
  }
  put_file(store_path(), sound);
  open();
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

// Sizes in SQLite's log: its header, and a page with its own.
constexpr size_t kHeader = 32, kFrame = 24 + kPage;

// The log of a switchd that was killed, with twelve changes in it. SQLite takes it up to its first unsound frame.
struct LogDamage : StoreDamage {
  std::vector<switch_state> acknowledged;
  std::string file, log;

  void SetUp() override {
    StoreDamage::SetUp();
    close();
    open();
    acknowledged.push_back(managers.state);
    for (int change = 0; change < 12; ++change) {
      ASSERT_EQ(set_row(new_row(200, "change-" + std::to_string(change))), 0);
      acknowledged.push_back(managers.state);
    }
    file = file_text(store_path());
    log = file_text(log_path());
    close();
  }
  // Starts on the file, as it was, with this log beside it.
  void restart_with(const std::string &beside) {
    std::filesystem::remove(store_path() + "-shm");
    put_file(store_path(), file);
    put_file(log_path(), beside);
    open();
  }
  // How many acknowledged changes the damaged log takes with it; -1 when it is refused.
  long lost_with(const std::string &damaged) {
    switch_state state;
    if (is_refused(file, damaged, state)) {
      EXPECT_TRUE(file_text(log_path()) == damaged) << "the refused log was written to";
      return -1;
    }
    const auto found = std::ranges::find(acknowledged, state);
    EXPECT_TRUE(found != acknowledged.end()) << "a state that never was, from a log of " << damaged.size() << " bytes";
    return acknowledged.end() - found - 1;
  }
};

// Behind a damaged frame others tell that it was whole once. Only the last change has none behind it, and the one
// before it has no other end than its own.
TEST_F(LogDamage, AFlippedBitIsRefusedUnlessItIsInTheLastChanges) {
  const size_t rounds = from_environment("DAMAGE_ROUNDS", 100);
  size_t refused = 0;
  for (size_t round = 0; round < rounds; ++round) {
    const size_t bit = draw(log.size() * 8);
    std::string damaged = log;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
    const long lost = lost_with(damaged);
    refused += lost < 0 ? 1 : 0;
    ASSERT_LE(lost, 2) << "bit " << bit % 8 << " of byte " << bit / 8 << " of the log";
  }
  printf("%zu of %zu flipped bits in the log refused, the others cost two changes at most\n", refused, rounds);
  EXPECT_GT(refused, rounds / 2);
}

// The end of a file that is gone leaves no mark: a change is there wholly or not at all, and none without those before
// it.
TEST_F(LogDamage, AfterACutAStateIsThereThatWasAcknowledged) {
  const size_t rounds = from_environment("DAMAGE_ROUNDS", 100);
  for (size_t round = 0; round < rounds; ++round) {
    lost_with(log.substr(0, draw(log.size() + 1)));
  }
  EXPECT_EQ(lost_with(log), 0) << "an undamaged log is taken to its end";
}

// A machine that loses its power leaves a change unfinished, in any part of it.
TEST_F(LogDamage, AnUnfinishedChangeAtTheEndIsForgotten) {
  restart_with(log);
  ASSERT_EQ(set_row(new_row(201, "acknowledged")), 0);
  acknowledged = {managers.state};
  file = file_text(store_path());
  const size_t before = file_text(log_path()).size();
  ASSERT_EQ(set_row(new_row(202, "unfinished")), 0);
  const std::string longer = file_text(log_path());
  close();
  ASSERT_GT(longer.size(), before);
  for (int round = 0; round < 20; ++round) {
    std::string torn = longer;
    const size_t hole = before + draw(longer.size() - before);
    torn.replace(hole, longer.size() - hole, longer.size() - hole, '\0');
    EXPECT_EQ(lost_with(torn), 0) << "zeroes from byte " << hole;
  }
}

// What is left of the first stands behind the second, unless the log was begun anew in between.
TEST_F(LogDamage, TwoUnfinishedChangesOneAfterTheOtherAreForgotten) {
  restart_with(log);
  ASSERT_EQ(set_row(new_row(201, "acknowledged")), 0);
  file = file_text(store_path());
  const size_t first = file_text(log_path()).size();
  switch_change large = change_begin(managers.state);
  for (uint32_t vsan = 300; vsan < 500; ++vsan) {
    large.vsans.push_back({.id = vsan, .name = "large-" + std::to_string(vsan)});
  }
  ASSERT_EQ(managers_commit(managers, large), 0);
  std::string torn = file_text(log_path());
  close();
  ASSERT_GT(torn.size(), first + 10 * kFrame);
  torn.replace(first, kFrame, kFrame, '\0');
  restart_with(torn);
  ASSERT_EQ(find_vsan(managers.state, 201)->name, "acknowledged");
  ASSERT_EQ(set_row(new_row(202, "acknowledged-too")), 0);
  acknowledged = {managers.state};
  file = file_text(store_path());
  const std::string shorter = file_text(log_path());
  ASSERT_EQ(set_row(new_row(203, "unfinished")), 0);
  torn = file_text(log_path());
  close();
  const auto differs = std::ranges::mismatch(shorter, torn).in1 - shorter.begin();
  const size_t second = kHeader + (static_cast<size_t>(differs) - kHeader) / kFrame * kFrame;
  torn.replace(second, kFrame, kFrame, '\0');
  EXPECT_EQ(lost_with(torn), 0);
}

TEST_F(LogDamage, TheLogIsLookedAtThatIsBesideTheFileALinkLeadsTo) {
  std::string damaged = log;
  damaged[kHeader + kFrame / 2] ^= 1;
  put_file(store_path(), file);
  put_file(log_path(), damaged);
  const std::string link = directory.path + "/link.db";
  std::filesystem::create_symlink(store_path(), link);
  std::string error;
  EXPECT_EQ(store_open(link, error), nullptr);
  EXPECT_NE(error.find(log_path() + ": the store's log is damaged before its end"), std::string::npos) << error;
  EXPECT_TRUE(file_text(log_path()) == damaged);
  std::filesystem::remove(link);
}

TEST_F(LogDamage, OfALogWithADamagedHeaderNothingIsSaidThatNobodyKnows) {
  std::string damaged = log;
  damaged[0] ^= 1;
  put_file(store_path(), file);
  put_file(log_path(), damaged);
  std::string error;
  EXPECT_EQ(store_open(store_path(), error), nullptr);
  EXPECT_NE(error.find(log_path() + ": the header of the store's log is damaged"), std::string::npos) << error;
  EXPECT_EQ(error.find("acknowledged"), std::string::npos) << error;
}

}  // namespace
