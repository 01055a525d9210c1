#include "switchplatform/run_dir.h"

#include <errno.h>
#include <string.h>
#include <sys/un.h>

#include "client_connection.h"
#include "socket_path.h"
#include "switchplatform/shared_page.h"

namespace {
char run_dir[sizeof sockaddr_un::sun_path] = "/run/switchd";
}

int platform_set_run_dir(const char *path) {
  char longest[sizeof sockaddr_un::sun_path];
  for (const service_name &row : kServiceNames) {
    if (service_socket_path(path, row.service, longest, sizeof longest) != 0) {
      errno = ENAMETOOLONG;
      return -1;
    }
  }
  if (strcmp(path, run_dir) == 0) {
    return 0;
  }
  receivers_reset();
  platform_page_close();
  memcpy(run_dir, path, strlen(path) + 1);
  return 0;
}

const char *platform_run_dir() {
  return run_dir;
}
