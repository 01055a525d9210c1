// Golden recordings: lines of text that are the same on every host, compared with a file of the tree.
//
// A test that finds a difference says where it begins, and leaves what it recorded in a file of its own. Run with
// RECORD=1 in its environment it writes the file of the tree instead; what changed is then for a reader to judge.
#ifndef TESTS_SUPPORT_RECORDING_H
#define TESTS_SUPPORT_RECORDING_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <string_view>
#include <vector>

namespace recording {

// The octets in hexadecimal, eight or more zeros as "00*COUNT" between blanks; "-" for none.
std::string hex(const uint8_t *octets, size_t size);
// The octets that such a text stands for. What is no such text fails the test.
std::vector<uint8_t> octets(std::string_view hex);

// Lines of the file without comments, which begin with '#'.
std::vector<std::string> lines_of(const std::string &file);
// Compares the lines with those of the file, whose comments stay as they are.
void expect(const std::string &file, const std::vector<std::string> &lines);

}  // namespace recording

#endif
