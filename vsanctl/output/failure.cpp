#include "output/failure.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <nlohmann/json.hpp>

namespace {

bool as_json;

}  // namespace

void messages_as_json() {
  as_json = true;
}

void fail(int exit_code, const std::string &text, int status) {
  if (as_json) {
    using nlohmann::ordered_json;
    const ordered_json error{
        {"error", {{"text", text}, {"exit_code", exit_code}, {"status", static_cast<uint32_t>(status)}}}};
    fprintf(stderr, "%s\n", error.dump(-1, ' ', false, ordered_json::error_handler_t::replace).c_str());
  } else {
    fprintf(stderr, "vsanctl: %s\n", text.c_str());
  }
  exit(exit_code);
}

void warn(const std::string &text) {
  if (as_json) {
    fprintf(stderr, "%s\n", nlohmann::json{{"warning", {{"text", text}}}}.dump().c_str());
  } else {
    fprintf(stderr, "vsanctl: %s\n", text.c_str());
  }
}

void check_output() {
  errno = 0;
  if (fflush(stdout) != 0 || ferror(stdout) != 0) {
    fail(kExitOutput,
         std::string("standard output") + (errno != 0 ? std::string(": ") + strerror(errno) : " was lost"));
  }
}
