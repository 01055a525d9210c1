// A temporary directory of one test, as this process's run directory.
#ifndef TESTS_UNIT_PLATFORM_PRIVATE_DIR_H
#define TESTS_UNIT_PLATFORM_PRIVATE_DIR_H

#include <string>

// Makes a directory, names it as the run directory, makes the shared page as switchd does, and removes it all at the
// end.
struct private_dir {
  private_dir();
  ~private_dir();
  private_dir(const private_dir &) = delete;
  private_dir &operator=(const private_dir &) = delete;
  std::string path;
};

#endif
