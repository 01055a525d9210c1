// Why SETs failed.
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <iterator>

#include "ask/page_choice.h"
#include "mib_names.h"
#include "output/time_text.h"
#include "platform/syserr.h"
#include "show/shows.h"
#include "switchplatform/shared_page.h"

namespace {

// By SNMP's number of the error.
constexpr const char *kSnmpErrors[] = {
    "",
    "tooBig",
    "noSuchName",
    "badValue",
    "readOnly",
    "genErr",
    "noAccess",
    "wrongType",
    "wrongLength",
    "wrongEncoding",
    "wrongValue",
    "noCreation",
    "inconsistentValue",
    "resourceUnavailable",
    "commitFailed",
    "undoFailed",
    "authorizationError",
    "notWritable",
    "inconsistentName",
};

// By kErrorPhase...
constexpr const char *kPhases[] = {"", "read", "RESERVE1", "RESERVE2", "ACTION", "COMMIT"};

template <size_t N>
const char *word_of(const char *const (&words)[N], uint32_t number) {
  return number < N ? words[number] : "?";
}

const mib_name *object_of(const platform_error &error) {
  const auto found = std::ranges::find_if(kMibNames, [&](const mib_name &each) {
    return each.length <= error.object_length && std::equal(each.numbers, each.numbers + each.length, error.object);
  });
  return found == std::end(kMibNames) ? nullptr : found;
}

std::string instance_of(const platform_error &error, const mib_name *object) {
  std::string text;
  for (uint32_t i = object != nullptr ? static_cast<uint32_t>(object->length) : 0; i < error.object_length; ++i) {
    text += (text.empty() ? "" : ".") + std::to_string(error.object[i]);
  }
  return text;
}

// 0 and -1 are no statuses of a manager.
std::string status_of(const platform_error &error) {
  char status[16] = "";
  if (error.code != 0 && error.code != UINT32_MAX) {
    snprintf(status, sizeof status, "0x%08X", error.code);
  }
  return status;
}

// The status stands in a column of its own; its text is not said twice.
std::string text_of(const platform_error &error) {
  const int code = static_cast<int>(error.code);
  return strcmp(error.text, syserr_format(code)) == 0 ? syserr2str(code) : error.text;
}

}  // namespace

void show_errors(const writer &to, const show_options &) {
  std::vector<platform_error> errors(kErrorsKept);
  const int count = platform_errors_read(errors.data(), kErrorsKept);
  if (count < 0) {
    fail_no_page(errno);
  }
  errors.resize(static_cast<size_t>(count));
  write_table(to, "errors", {"time", "user", "pdu", "object", "instance", "value", "phase", "error", "status", "text"});
  for (const platform_error &error : errors) {
    const mib_name *object = object_of(error);
    write_row(to, {text_cell(time_text(error.seconds)), text_cell(error.user), number_cell(error.pdu),
                   text_cell(object != nullptr ? object->name : ""), text_cell(instance_of(error, object)),
                   text_cell(error.value), text_cell(word_of(kPhases, error.phase)),
                   text_cell(word_of(kSnmpErrors, error.snmp_error)), text_cell(status_of(error)),
                   text_cell(text_of(error))});
  }
}
