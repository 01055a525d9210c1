// What we use of the emulator's interface to plugins, version 1 (user emulation of QEMU 7.2): its packages come without
// a header.
#ifndef BENCH_EMULATED_EMULATOR_PLUGIN_H
#define BENCH_EMULATED_EMULATOR_PLUGIN_H

#include <stddef.h>
#include <stdint.h>

extern "C" {

using qemu_plugin_id_t = uint64_t;
struct qemu_info_t;     // of the emulated processor
struct qemu_plugin_tb;  // some instructions that are executed one after the other
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

// The plugin's: the version that it wants, and what is called once, with the words behind its file's name; 0 is success.
[[gnu::visibility("default")]] extern int qemu_plugin_version;
[[gnu::visibility("default")]] int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t *info, int argc,
                                                       char **argv);

// The emulator's.
using qemu_plugin_translated = void (*)(qemu_plugin_id_t id, qemu_plugin_tb *block);
void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id, qemu_plugin_translated callback);
// From now on each execution of the block adds `number` to `*to`.
void qemu_plugin_register_vcpu_tb_exec_inline(qemu_plugin_tb *block, qemu_plugin_op op, void *to, uint64_t number);
size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb *block);
uint64_t qemu_plugin_tb_vaddr(const qemu_plugin_tb *block);
}

#endif
