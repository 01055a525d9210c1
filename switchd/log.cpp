#include "log.h"

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <filesystem>
#include <memory>

#include "monotonic_clock.h"

namespace {

std::shared_ptr<spdlog::logger> logger;
std::string log_file;

std::shared_ptr<spdlog::logger> make_logger(spdlog::sink_ptr sink, spdlog::level::level_enum level) {
  auto made = std::make_shared<spdlog::logger>("switchd", std::move(sink));
  made->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %l %v");
  made->set_level(level);
  made->flush_on(spdlog::level::trace);
  return made;
}

// Null with `error` filled when the file cannot be opened.
spdlog::sink_ptr open_sink(const std::string &file, std::string &error) {
  if (file.empty()) {
    return std::make_shared<spdlog::sinks::stderr_sink_mt>();
  }
  // The sink would make the folders of a mistyped path.
  const std::string folder = std::filesystem::path(file).parent_path();
  if (!folder.empty() && !std::filesystem::is_directory(folder)) {
    error = file + ": there is no folder " + folder;
    return nullptr;
  }
  try {
    return std::make_shared<spdlog::sinks::basic_file_sink_mt>(file);
  } catch (const spdlog::spdlog_ex &failure) {
    error = failure.what();
    return nullptr;
  }
}

}  // namespace

int log_open(const std::string &level, const std::string &file, std::string &error) {
  spdlog::sink_ptr sink = open_sink(file, error);
  if (sink == nullptr) {
    return -1;
  }
  log_file = file;
  logger = make_logger(std::move(sink), spdlog::level::from_str(level));
  return 0;
}

void log_reopen() {
  std::string error;
  spdlog::sink_ptr sink = open_sink(log_file, error);
  if (sink == nullptr) {
    log_error("the log could not be reopened: " + error);
    return;
  }
  logger = make_logger(std::move(sink), logger->level());
  logger->info("log reopened");
}

void log_info(const std::string &line) {
  logger->info("{}", line);
}
void log_warn(const std::string &line) {
  logger->warn("{}", line);
}
void log_error(const std::string &line) {
  logger->error("{}", line);
}

void log_warn_limited(log_limit &limit, const std::string &line) {
  uint32_t left_out = 0;
  if (!log_limit_take(&limit, monotonic_seconds(), &left_out)) {
    return;
  }
  if (left_out > 0) {
    log_warn(std::to_string(left_out) + " lines like the next one were left out");
  }
  log_warn(line);
}
