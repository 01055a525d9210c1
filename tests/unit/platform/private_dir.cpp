#include "private_dir.h"

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>

#include "switchplatform/run_dir.h"
#include "switchplatform/shared_page.h"

private_dir::private_dir() {
  char name[] = "/tmp/vsanXXXXXX";
  if (mkdtemp(name) == nullptr || platform_set_run_dir(name) != 0) {
    throw std::runtime_error("no private directory");
  }
  path = name;
  if (platform_page_own(-1) != 0) {
    throw std::runtime_error("no shared page");
  }
}

private_dir::~private_dir() {
  platform_set_run_dir("/nonexistent");
  std::filesystem::remove_all(path);
}
