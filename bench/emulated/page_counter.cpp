// A plugin of the emulator: counts the instructions that an emulated program of 32 bits executes, by the page that they
// stand in, into a file that others may read at any time. Its argument is out=FILE.
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "emulator_plugin.h"

namespace {

constexpr unsigned kPageBits = 12;
constexpr size_t kPages = size_t{1} << (32 - kPageBits);
constexpr char kOut[] = "out=";

uint64_t *counts;  // a page's executed instructions

void count_block(qemu_plugin_id_t /*id*/, qemu_plugin_tb *block) {
  const auto page = static_cast<uint32_t>(qemu_plugin_tb_vaddr(block)) >> kPageBits;
  qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &counts[page],
                                           qemu_plugin_tb_n_insns(block));
}

// A file of zeros that is mapped, or null.
uint64_t *map_counts(const char *file) {
  const int fd = open(file, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) {
    return nullptr;
  }
  constexpr size_t size = kPages * sizeof(uint64_t);
  void *mapped = ftruncate(fd, size) == 0 ? mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0) : MAP_FAILED;
  close(fd);
  return mapped != MAP_FAILED ? static_cast<uint64_t *>(mapped) : nullptr;
}

}  // namespace

int qemu_plugin_version = 1;

int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t * /*info*/, int argc, char **argv) {
  const char *file = argc == 1 && strncmp(argv[0], kOut, strlen(kOut)) == 0 ? argv[0] + strlen(kOut) : nullptr;
  counts = file != nullptr ? map_counts(file) : nullptr;
  if (counts == nullptr) {
    fprintf(stderr, "page_counter: wants out=FILE, a file that can be written\n");
    return 1;
  }
  qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
  return 0;
}
