// The file of the store: taking it, making it, and whether it is still there.
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>

#include "store/store_internal.h"

namespace {

bool failed(const std::string &path, const std::string &why, std::string &error) {
  error = path + ": " + why;
  return false;
}

bool is_same(const struct stat &a, const struct stat &b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// SQLite's own locks would let a second switch share the file; two of them would overwrite each other's state.
bool lock_file(const store *opened, std::string &error) {
  if (flock(opened->lock, LOCK_EX | LOCK_NB) == 0) {
    return true;
  }
  return failed(opened->path, errno == EWOULDBLOCK ? "another switchd uses this store" : strerror(errno), error);
}

bool sync_directory_of(const std::string &path) {
  const std::string directory = std::filesystem::path(path).parent_path().string();
  const int fd = open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool synced = fd >= 0 && fsync(fd) == 0;
  if (fd >= 0) {
    close(fd);
  }
  return synced;
}

bool is_there(const std::string &path) {
  struct stat found;
  return lstat(path.c_str(), &found) == 0;
}

// Whether the file that is locked is the one to be made, and nobody has made the store in the meantime.
bool may_make(const store *opened, const std::string &fresh) {
  struct stat locked;
  struct stat named;
  return fstat(opened->lock, &locked) == 0 && stat(fresh.c_str(), &named) == 0 && is_same(locked, named) &&
         !is_there(opened->path);
}

// The file gets its final name only when it is complete and on the disk. What a killed switchd left of its own try is
// nobody's.
bool fill_and_rename(const store *opened, const std::string &fresh, store_filler fill, std::string &error) {
  if (ftruncate(opened->lock, 0) != 0) {
    return failed(opened->path, strerror(errno), error);
  }
  if (!fill(fresh, error)) {
    return false;
  }
  if (fsync(opened->lock) != 0 || rename(fresh.c_str(), opened->path.c_str()) != 0 ||
      !sync_directory_of(opened->path)) {
    return failed(opened->path, strerror(errno), error);
  }
  return true;
}

bool make_file(store *opened, store_filler fill, std::string &error) {
  if (is_there(opened->path)) {
    return failed(opened->path, "a link to a file that does not exist", error);
  }
  // SQLite would take it for the new store's log. An empty one holds nothing.
  struct stat log;
  if (lstat((opened->path + "-wal").c_str(), &log) == 0 && log.st_size > 0) {
    return failed(opened->path,
                  "the store is gone, but its log is left beside it (-wal): put the store back, or remove the log to "
                  "start with a new one",
                  error);
  }
  const std::string fresh = opened->path + ".new";
  opened->lock = open(fresh.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0640);
  if (opened->lock < 0) {
    return failed(opened->path, strerror(errno), error);
  }
  // Who makes the store holds the lock on it from the start, so that one switch at a time does.
  if (!lock_file(opened, error)) {
    return false;
  }
  if (!may_make(opened, fresh)) {
    return failed(opened->path, "another switchd is making this store", error);
  }
  if (!fill_and_rename(opened, fresh, fill, error)) {
    unlink(fresh.c_str());
    return false;
  }
  return true;
}

}  // namespace

bool store_file_take(store *opened, store_filler fill, std::string &error) {
  opened->lock = open(opened->path.c_str(), O_RDWR | O_CLOEXEC);
  if (opened->lock < 0) {
    return errno == ENOENT ? make_file(opened, fill, error) : failed(opened->path, strerror(errno), error);
  }
  struct stat found;
  if (!lock_file(opened, error)) {
    return false;
  }
  if (fstat(opened->lock, &found) != 0) {
    return failed(opened->path, strerror(errno), error);
  }
  return found.st_size > 0 || failed(opened->path, std::string("the file is empty, ") + kStoreNotSound, error);
}

bool store_file_note(store *opened, std::string &error) {
  if (fstat(opened->lock, &opened->file) != 0) {
    return failed(opened->path, strerror(errno), error);
  }
  return stat(opened->log_path.c_str(), &opened->log_file) == 0 || failed(opened->log_path, strerror(errno), error);
}

bool store_file_in_place(const store *opened, std::string &error) {
  struct stat found;
  if (stat(opened->path.c_str(), &found) != 0 || !is_same(opened->file, found)) {
    return failed(opened->path, "the store was removed or replaced while switchd uses it; nothing is written any more",
                  error);
  }
  if (stat(opened->log_path.c_str(), &found) != 0 || !is_same(opened->log_file, found)) {
    return failed(opened->log_path,
                  "the store's log was removed or replaced while switchd uses it; nothing is written any more", error);
  }
  return true;
}
