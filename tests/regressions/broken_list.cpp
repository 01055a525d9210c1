// Preloaded: a directory named broken-list has no names, because reading them fails; one named closed-list cannot be
// opened for want of descriptors.
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <string.h>

namespace {

using opener = DIR *(*)(const char *);
using reader = dirent *(*)(DIR *);

DIR *broken;

}  // namespace

extern "C" {

DIR *opendir(const char *name) {
  static const auto found = reinterpret_cast<opener>(dlsym(RTLD_NEXT, "opendir"));
  if (strstr(name, "/closed-list") != nullptr) {
    errno = EMFILE;
    return nullptr;
  }
  DIR *opened = found(name);
  if (strstr(name, "/broken-list") != nullptr) {
    broken = opened;
  }
  return opened;
}

dirent *readdir(DIR *from) {
  static const auto found = reinterpret_cast<reader>(dlsym(RTLD_NEXT, "readdir"));
  if (from == broken) {
    errno = EIO;
    return nullptr;
  }
  return found(from);
}

int closedir(DIR *closed) {
  static const auto found = reinterpret_cast<int (*)(DIR *)>(dlsym(RTLD_NEXT, "closedir"));
  if (closed == broken) {
    broken = nullptr;
  }
  return found(closed);
}
}
