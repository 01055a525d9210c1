// The file that a page is in: mapping it, telling whether it is one, making it.
#ifndef PLATFORM_SERVICES_PAGE_FILE_H
#define PLATFORM_SERVICES_PAGE_FILE_H

#include <sys/types.h>

#include "page_layout.h"

// A page that is mapped, and which file it is.
struct page_mapping {
  switch_page *page = nullptr;  // null: none
  dev_t device = 0;
  ino_t inode = 0;
};

// Maps the page in the file `path`, which is not followed when it is a symbolic link. For its owner: `group` is the
// group to give the file to (a gid; -1: the one that it has), with the mode of a page; null for everyone else. Returns
// 0, or -1 with `errno`: EILSEQ for a page of the other byte order, EPROTO for one of a foreign version or size and for
// what is no page, else what open or mmap said. Nothing of the page is touched: who uses it watches it first.
int page_file_open(const char *path, page_mapping *opened, const int64_t *group = nullptr);

// Unmaps it.
void page_file_close(page_mapping *opened);

// Whether the file under that name is still the page that is mapped, whole and sound.
bool page_file_holds(const char *path, const page_mapping &mapped);

// Puts a new page in the place of whatever is there, for `group` as above. Returns 0, or -1 with `errno`.
int page_file_replace(const char *path, int64_t group);

// Maps the page in the file `path`, and makes one first where there is none. What was a page, of whatever version and
// byte order, and an empty file are replaced. Whoever else does the same gets the same page, at once or, where both
// replace one, at the next look. Returns 0, or -1 with `errno`: EEXIST when another file is there, which is left as it
// is.
int page_file_open_or_make(const char *path, page_mapping *opened);

#endif
