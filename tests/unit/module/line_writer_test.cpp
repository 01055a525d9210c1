// The text of a trace line is what printf makes of its format and arguments, cut at 511 characters.
#include "module_frame/line_writer.h"

#include <limits.h>
#include <stdio.h>

#include <random>

#include "module_frame/trace.h"
#include "module_test.h"

using namespace vsan_mib;

namespace {

constexpr int kNumbers[] = {
    0,           1,    9,      10,       11,      99,          100,     101,         999,
    1000,        9999, 10'000, 65'535,   99'999,  100'000,     999'999, -1,          -9,
    -10,         -99,  -100,   -12'345,  INT_MAX, INT_MAX - 1, INT_MIN, INT_MIN + 1, 1'000'000'000,
    999'999'999, 0x7f, 0x80,   0xabcdef, 1 << 30};

class LineWriter : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fake::the().debug_on = true;
  }
  // The debug print is given the format and its arguments, and printf makes a text of them: the history has the same.
  static void expect_as_printed() {
    ASSERT_EQ(fake::the().history.size(), 1u);
    ASSERT_EQ(fake::the().debug.size(), 1u);
    EXPECT_EQ(fake::the().history[0].second, fake::the().debug[0].substr(0, 511));
    fake::the().history.clear();
    fake::the().debug.clear();
  }
};

TEST_F(LineWriter, EveryConversionOfEveryNumber) {
  for (const int number : kNumbers) {
    SCOPED_TRACE(number);
    TRACE("%d", number);
    expect_as_printed();
    TRACE("<%d> %u %x", number, static_cast<unsigned>(number), number);
    expect_as_printed();
    TRACE("%x\n", static_cast<unsigned>(number));
    expect_as_printed();
    TRACE("%x", static_cast<uint8_t>(number));
    expect_as_printed();
  }
}

TEST_F(LineWriter, RandomNumbers) {
  std::mt19937 random(7);
  for (int i = 0; i < 10'000; ++i) {
    // Of every length: a random number of bits.
    const auto word = static_cast<unsigned>(random()) >> random() % 32;
    const auto number = static_cast<int>(i % 2 == 0 ? word : 0 - word);
    TRACE("%s(%d): %d %u %x \n", "random", 5, number, word, number);
    expect_as_printed();
  }
}

// Where the compiler knows an argument, it writes it.
TEST_F(LineWriter, ArgumentsThatAreKnownWhereTheLineStands) {
  TRACE("%d %d %d %d %d %d %d %d", 0, 9, 10, 99, 100, 999, 1000, 9999);
  expect_as_printed();
  TRACE("%d %d %d %d %u %x %x", 10'000, -1, INT_MIN, INT_MAX, UINT_MAX, 0, INT_MIN);
  expect_as_printed();
  TRACE("%s%s%s(%d)%s", "", "a", __func__, __LINE__,
        "a text that is longer than what the compiler writes where the line stands, which is sixty-four characters");
  expect_as_printed();
  TRACE("no conversion%s", "");
  expect_as_printed();
}

TEST_F(LineWriter, TextsOfEveryLengthAreCutWhereTheLineIs) {
  for (size_t length = 0; length <= 530; ++length) {
    SCOPED_TRACE(length);
    const std::string text(length, 't');
    TRACE("%s", text.c_str());
    expect_as_printed();
    TRACE("%s : %d %s, %x and more\n", text.c_str(), INT_MIN, "known", 0xabc);
    expect_as_printed();
    TRACE("in front %d%s%s%d%s", INT_MAX, text.c_str(), text.c_str(), -7, text.c_str());
    expect_as_printed();
  }
}

TEST_F(LineWriter, TextThatIsNullIsTold) {
  fake::the().debug_on = false;
  const char *volatile none = nullptr;
  const char *text = none;
  TRACE("%s", text);
  ASSERT_EQ(fake::the().history.size(), 1u);
  EXPECT_EQ(fake::the().history[0].second, "(null)");
}

TEST_F(LineWriter, LineEndsWithANulWhateverTheLineBeforeWas) {
  const std::string text(511, 'x');
  TRACE("%s", text.c_str());
  expect_as_printed();
  TRACE("%s", "");
  expect_as_printed();
}

// A table's formats.

TEST_F(LineWriter, RowOfEveryNumberAndText) {
  constexpr row_format<const char *, int, int> row = "%s(%d) vsan %d \n";
  constexpr row_format<int, int> hex = "flags %x of %x";
  for (const int number : kNumbers) {
    TRACE_ROW(row, "name", number, number);
    expect_as_printed();
    TRACE_ROW(hex, number, ~number / 2);
    expect_as_printed();
  }
  for (size_t length = 0; length <= 530; ++length) {
    const std::string text(length, 't');
    TRACE_ROW(row, text.c_str(), 5, INT_MIN);
    expect_as_printed();
  }
}

TEST_F(LineWriter, RowUsesNoMoreOfItsArgumentsThanItsFormatSays) {
  constexpr row_format<const char *, int, int> rows[] = {"nothing", "", "%s", "%s : one %d", "%s%d%d"};
  const char *expected[] = {"nothing", "", "name", "name : one 1", "name12"};
  for (size_t i = 0; i < std::size(rows); ++i) {
    fake::the().history.clear();
    TRACE_ROW_AT(kTraceError, rows[i], "name", 1, 2);
    ASSERT_EQ(fake::the().history.size(), 1u);
    EXPECT_EQ(fake::the().history[0], std::make_pair(100, std::string(expected[i])));
  }
}

// Formats of tables have no unsigned numbers; those of lines have, and are written in this way by a small build.
TEST_F(LineWriter, ScannedFormatOfEveryConversion) {
  for (const int number : kNumbers) {
    const row_argument arguments[] = {row_argument_of("text"), row_argument_of(number),
                                      row_argument_of(static_cast<unsigned>(number)), row_argument_of(number)};
    char expected[100];
    snprintf(expected, sizeof expected, "<%s> %d %u%x\n", "text", number, static_cast<unsigned>(number),
             static_cast<unsigned>(number));
    line_record line = {};
    const char *end = write_scanned(&line, "<%s> %d %u%x\n", arguments);
    EXPECT_EQ(std::string(static_cast<const char *>(line.text), end), expected);
  }
}

TEST_F(LineWriter, RowWithoutAFormatHasNone) {
  constexpr row_format<const char *> none = {};
  static_assert(none.format == nullptr);
}

TEST_F(LineWriter, ArgumentsOfARowAreNotAskedForUnlessASinkWantsTheLine) {
  constexpr row_format<int> row = "%d";
  int asked = 0;
  fake::the().history_on = false;
  fake::the().debug_on = false;
  TRACE_ROW(row, ++asked);
  TRACE("%d", ++asked);
  EXPECT_EQ(asked, 0);
  fake::the().history_on = true;
  TRACE_ROW(row, ++asked);
  TRACE("%d", ++asked);
  EXPECT_EQ(asked, 2);
}

TEST_F(LineWriter, ErrnoIsForTheArgumentsAndSurvivesTheLine) {
  constexpr row_format<int> row = "%d";
  errno = ETIMEDOUT;
  TRACE_ROW(row, errno);
  expect_as_printed();
  EXPECT_EQ(errno, ETIMEDOUT);
  TRACE("%s %d", "why", errno);
  EXPECT_EQ(fake::the().debug[0], "why " + std::to_string(ETIMEDOUT));
  expect_as_printed();
  EXPECT_EQ(errno, ETIMEDOUT);
}

TEST_F(LineWriter, TextGoesNoFurtherThanItsEnd) {
  char line[8] = "1234567";
  EXPECT_EQ(put_text(line + 1, line + 4, "abcdef"), line + 4);
  EXPECT_STREQ(line, "1abc567");
  EXPECT_EQ(put_text(line + 4, line + 4, "x"), line + 4);
  EXPECT_EQ(put_text(line + 6, line + 4, "x"), line + 6) << "a line that is too long already";
  EXPECT_STREQ(line, "1abc567");
}

TEST_F(LineWriter, EveryNumberOfDigitsAtItsEnds) {
  for (unsigned tens = 1; tens != 0 && tens <= 1000000000u; tens = tens == 1000000000u ? 0 : tens * 10) {
    for (const unsigned number : {tens - 1, tens, tens + 1}) {
      char digits[kNumberMax + 1] = {};
      *put_natural(digits, number) = '\0';
      EXPECT_EQ(digits, std::to_string(number));
    }
  }
}

}  // namespace
