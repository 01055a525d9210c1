// The log of switchd: to standard error, or to a file that can be reopened after it was rotated away.
#ifndef SWITCHD_LOG_H
#define SWITCHD_LOG_H

#include <string>

#include "log_limit.h"

// The words that `log_open` takes for a level, from most to least.
inline constexpr const char *kLogLevels[] = {"debug", "info", "warn", "error"};

// Starts logging from `level` on, to the file, or to standard error when `file` is empty. Returns 0, or -1 with `error`
// filled when the file cannot be written.
int log_open(const std::string &level, const std::string &file, std::string &error);

// Opens the log file again under its name; goes on with the old one when that fails, and says so there.
void log_reopen();

void log_info(const std::string &line);
void log_warn(const std::string &line);
void log_error(const std::string &line);

// A warning that a peer can cause at will: as many as `limit` allows. The next one that is written says how many were
// left out.
void log_warn_limited(log_limit &limit, const std::string &line);

#endif
