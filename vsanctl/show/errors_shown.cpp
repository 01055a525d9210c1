// Why SETs failed.
#include <errno.h>

#include "ask/no_switch.h"
#include "output/time_text.h"
#include "show/shows.h"
#include "switchplatform/shared_page.h"

void show_errors(const writer &to, const show_options &) {
  std::vector<platform_error> errors(kErrorsKept);
  const int count = platform_errors_read(errors.data(), kErrorsKept);
  if (count < 0) {
    fail_no_page(errno);
  }
  errors.resize(static_cast<size_t>(count));
  write_table(to, "errors", {"time", "user", "pdu", "status", "text"});
  for (const platform_error &error : errors) {
    char status[16];
    snprintf(status, sizeof status, "0x%08X", error.code);
    write_row(to, {text_cell(time_text(error.seconds)), text_cell(error.user), number_cell(error.pdu),
                   text_cell(status), text_cell(error.text)});
  }
}
