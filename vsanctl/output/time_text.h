// Times as vsanctl writes them: UTC, RFC 3339.
#ifndef VSANCTL_OUTPUT_TIME_TEXT_H
#define VSANCTL_OUTPUT_TIME_TEXT_H

#include <stdint.h>
#include <stdio.h>
#include <time.h>

#include <string>

// "2026-01-31T23:59:59Z"
inline std::string time_text(time_t seconds) {
  tm broken = {};
  char text[40];
  strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&seconds, &broken));
  return text;
}

// "2026-01-31T23:59:59.000001Z"
inline std::string time_text(time_t seconds, uint32_t nanoseconds) {
  char fraction[16];
  snprintf(fraction, sizeof fraction, ".%06uZ", nanoseconds / 1000 % 1000000);
  std::string text = time_text(seconds);
  text.pop_back();
  return text + fraction;
}

#endif
