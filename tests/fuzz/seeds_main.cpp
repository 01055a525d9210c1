// Runs a fuzzer's function over every file of the directories given, as the tests do. Fails when there is none.
#include <stdio.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz_input.h"

int main(int argc, char **argv) {
  size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
      LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
      ++count;
    }
  }
  LLVMFuzzerTestOneInput(nullptr, 0);
  printf("%zu seeds\n", count);
  return count > 0 ? 0 : 1;
}
