// Times as vsanctl writes them: UTC, RFC 3339.
#ifndef VSANCTL_OUTPUT_TIME_TEXT_H
#define VSANCTL_OUTPUT_TIME_TEXT_H

#include <stdint.h>
#include <stdio.h>

#include <chrono>
#include <string>

// "2026-01-31T23:59:59Z", of seconds since the epoch. By the calendar's own arithmetic: where a `time_t` has 32 bits,
// gmtime ends in 2038.
inline std::string time_text(uint32_t seconds) {
  const std::chrono::sys_seconds at{std::chrono::seconds{seconds}};
  const auto day = std::chrono::floor<std::chrono::days>(at);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(at - day);
  char text[80];
  snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
           static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
           static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
           static_cast<int>(time.seconds().count()));
  return text;
}

// "2026-01-31T23:59:59.000001Z"
inline std::string time_text(uint32_t seconds, uint32_t nanoseconds) {
  char fraction[16];
  snprintf(fraction, sizeof fraction, ".%06uZ", nanoseconds / 1000 % 1000000);
  std::string text = time_text(seconds);
  text.pop_back();
  return text + fraction;
}

#endif
