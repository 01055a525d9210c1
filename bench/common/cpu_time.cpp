#include "cpu_time.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace bench {

uint64_t cpu_time(const std::vector<pid_t> &processes) {
  uint64_t sum = 0;
  for (const pid_t process : processes) {
    std::error_code gone;
    for (const auto &task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task", gone)) {
      uint64_t ran = 0;
      std::ifstream(task.path() / "schedstat") >> ran;
      sum += ran;
    }
  }
  return sum;
}

}  // namespace bench
