// One exchange, with what it left behind.
#ifndef TESTS_UNIT_PLATFORM_CLIENT_CALL_H
#define TESTS_UNIT_PLATFORM_CLIENT_CALL_H

#include <errno.h>
#include <stdlib.h>

#include <optional>
#include <string>

#include "platform/cmi.h"

struct call_result {
  int status;
  int why;  // errno when the status is -1
  uint32_t size;
  std::optional<std::string> payload;  // nothing: no response buffer came
};

struct call_options {
  int opcode = 149;
  int service = 15;
  int timeout = 1;
  const char *user = nullptr;
  const char *session = nullptr;
  bool wants_payload = true;
};

inline call_result call(const std::string &payload, const call_options &options = {}) {
  std::string request = payload;
  void *response = nullptr;
  call_result result{0, 0, static_cast<uint32_t>(request.size()), {}};
  errno = 0;
  result.status =
      cmi_req_resp(options.opcode, 1, request.data(), options.wants_payload ? &response : nullptr, &result.size,
                   options.user, options.session, options.service, mts_response_q, options.timeout);
  result.why = result.status == -1 ? errno : 0;
  if (response != nullptr) {
    result.payload.emplace(static_cast<const char *>(response), result.size);
  }
  free(response);
  return result;
}

#endif
