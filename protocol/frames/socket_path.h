// The socket file of each receiver, in the run directory.
#ifndef PROTOCOL_FRAMES_SOCKET_PATH_H
#define PROTOCOL_FRAMES_SOCKET_PATH_H

#include <stddef.h>
#include <stdio.h>

#include "requests.h"

struct service_name {
  int service;
  const char *socket_file;
};

inline constexpr service_name kServiceNames[] = {
    {kServiceVsanManager, "vsan-manager.sock"}, {kServiceIdentity, "identity.sock"},
    {kServicePortManager, "port-manager.sock"}, {kServiceDistribution, "distribution.sock"},
    {kServiceControl, "control.sock"},          {kServiceNotifications, "notifications.sock"},
    {kServicePublished, "published.sock"},
};

inline constexpr size_t kServiceCount = sizeof kServiceNames / sizeof kServiceNames[0];

inline constexpr size_t kSocketPathRoom = 108;  // that of a `sun_path`

// The row of `service` in kServiceNames, or -1 when there is no such receiver.
constexpr int service_row(int service) {
  for (size_t row = 0; row < kServiceCount; ++row) {
    if (kServiceNames[row].service == service) {
      return static_cast<int>(row);
    }
  }
  return -1;
}

// Writes the path of the socket of `service` to `path`, which has `room` bytes (kSocketPathRoom is always enough).
// Returns 0, or -1 when there is no such receiver or the path does not fit.
inline int service_socket_path(const char *run_dir, int service, char *path, size_t room) {
  const int row = service_row(service);
  if (row < 0) {
    return -1;
  }
  const int length = snprintf(path, room, "%s/%s", run_dir, kServiceNames[row].socket_file);
  return length >= 0 && static_cast<size_t>(length) < room ? 0 : -1;
}

#endif
