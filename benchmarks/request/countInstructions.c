/* A plugin for the QEMU user emulators: prints the number of instructions that the emulated program executed.
   Debian ships no header for plugins; these are the declarations that are needed of it. */

#include <inttypes.h>
#include <stdio.h>

#define EXPORTED __attribute__((visibility("default")))

struct qemu_plugin_tb;
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t id, void (*translated)(uint64_t, struct qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* block, int add, void* counter,
                                              uint64_t number);
void qemu_plugin_register_atexit_cb(uint64_t id, void (*at_exit)(uint64_t, void*), void* data);

EXPORTED extern int qemu_plugin_version;
int qemu_plugin_version = 1;
EXPORTED int qemu_plugin_install(uint64_t id, const void* machine, int count, char** arguments);

static uint64_t instructions;

static void count_block(uint64_t id, struct qemu_plugin_tb* block) {
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, 0, &instructions, qemu_plugin_tb_n_insns(block));
}

static void print(uint64_t id, void* data) {
    (void)id;
    (void)data;
    fprintf(stderr, "instructions: %" PRIu64 "\n", instructions);
}

int qemu_plugin_install(uint64_t id, const void* machine, int count, char** arguments) {
    (void)machine;
    (void)count;
    (void)arguments;
    qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
    qemu_plugin_register_atexit_cb(id, print, NULL);
    return 0;
}
