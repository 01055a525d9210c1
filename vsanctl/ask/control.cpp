#include "ask/control.h"

#include "ask/question.h"
#include "requests.h"

namespace {

std::vector<uint8_t> request_of(const nlohmann::json &object) {
  if (object.is_null()) {
    return {};
  }
  // A file's name need not be text.
  const std::string text = object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  return {text.begin(), text.end()};
}

}  // namespace

nlohmann::json ask_control(const char *what, int opcode, int msg_type, const nlohmann::json &object, int wait) {
  const auto answer = ask_or_fail(what, {kServiceControl, opcode, msg_type, request_of(object), kAnyAnswer, wait});
  return nlohmann::json::parse(answer.begin(), answer.end());
}

void tell_control(const char *what, int opcode, int msg_type, const nlohmann::json &object) {
  ask_or_fail(what, {kServiceControl, opcode, msg_type, request_of(object), 0});
}
