// A plugin for the QEMU user emulators: prints how many instructions the emulated program executed, at each
// of its sched_yield calls and at its end. Debian ships no header for plugins; these are the declarations
// needed.

#include <cinttypes>
#include <cstdio>

extern "C" {
using Id = std::uint64_t;
void qemu_plugin_register_vcpu_tb_trans_cb(Id id, void (*translated)(Id, void*));
size_t qemu_plugin_tb_n_insns(const void* block);
void qemu_plugin_register_vcpu_tb_exec_inline(void* block, int add, void* counter, std::uint64_t number);
void qemu_plugin_register_vcpu_syscall_cb(Id id, void (*called)(Id, unsigned, std::int64_t));
void qemu_plugin_register_atexit_cb(Id id, void (*ended)(Id, void*), void* data);

int qemu_plugin_version = 1;

int qemu_plugin_install(Id id) {
    static std::uint64_t instructions;
    static const auto print = [] { std::fprintf(stderr, "instructions: %" PRIu64 "\n", instructions); };
    qemu_plugin_register_vcpu_tb_trans_cb(id, [](Id, void* block) {
        qemu_plugin_register_vcpu_tb_exec_inline(block, 0, &instructions, qemu_plugin_tb_n_insns(block));
    });
    qemu_plugin_register_vcpu_syscall_cb(id, [](Id, unsigned, std::int64_t call) {
        if (call == 158) // sched_yield on ARM
            print();
    });
    qemu_plugin_register_atexit_cb(
        id, [](Id, void*) { print(); }, nullptr);
    return 0;
}
}
