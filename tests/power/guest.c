// The first process of the virtual machine. Loads the kernel modules in /modules, then executes /plan, one
// medium per line: ACTION FILESYSTEM DEVICE START SIZE PROGRAM OPTIONS. The actions:
//
//     save     saves numbered forms as fast as it can, until the power is cut
//     link     the same, with a symbolic link as settings file
//     check    reports what a power cut has left
//     memory, time    see small.h
//
// UBIFS and JFFS2 use the kernel's flash in memory, at START. To be checked, a medium is copied from the disk
// to the beginning of the flash. OPTIONS are mount options or "-".
#define _GNU_SOURCE
#include "form.h"
#include "small.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/blkpg.h>
#include <mtd/mtd-user.h>
#include <mtd/ubi-user.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

enum { eraseBlock = 64 * 1024, pageSize = 4096, sectorSize = 512, marksAddress = 128 << 20 };

struct Medium {
    char action[8], fileSystem[8], device[8], program[32], options[64];
    long long start, size;
    int number; // of the line
    char directory[16];
    int flash;                // number of the flash partition; 0 for a disk
    volatile uint64_t* marks; // the last form whose save was started, and the last confirmed one
    int marksDisk;            // -1 for flash
};

static void must(bool done, const struct Medium* medium, const char* what) {
    if (done)
        return;
    printf("failed %d %s: %s\n", medium->number, what, strerror(errno));
    for (;;)
        pause();
}

static bool is(const char* word, const char* other) {
    return strcmp(word, other) == 0;
}

// --- Media ---

static int openDevice(const char* format, const char* name, int number, int flags) {
    char path[64];
    snprintf(path, sizeof path, format, name, number);
    return open(path, flags);
}

static long readNumber(const char* format, int device) {
    char path[64];
    long number = -1;
    snprintf(path, sizeof path, format, device);
    FILE* const file = fopen(path, "r");
    if (file == NULL || fscanf(file, "%ld", &number) != 1)
        return -1;
    fclose(file);
    return number;
}

// Adds or removes the partition of this number on a disk or flash device.
static void partition(int operation, const char* device, int number, long long start,
                      const struct Medium* medium) {
    struct blkpg_partition region = {.start = start, .length = medium->size, .pno = number};
    struct blkpg_ioctl_arg request = {.op = operation, .datalen = sizeof region, .data = &region};
    const int whole = openDevice("/dev/%s", device, 0, O_RDWR);
    must(whole >= 0 && ioctl(whole, BLKPG, &request) == 0, medium, "partition");
    close(whole);
}

static void copyToFlash(const struct Medium* medium) {
    static char block[eraseBlock];
    const int from = openDevice("/dev/%s", medium->device, 0, O_RDONLY);
    const int to = openDevice("/dev/%s%d", "mtd", medium->flash, O_RDWR);
    struct erase_info_user all = {.start = 0, .length = medium->size};
    must(ioctl(to, MEMERASE, &all) == 0, medium, "erase");
    for (long long at = 0; at < medium->size; at += eraseBlock)
        must(pread(from, block, eraseBlock, medium->start + at) == eraseBlock &&
                 pwrite(to, block, eraseBlock, at) == eraseBlock,
             medium, "copy");
    close(from);
    close(to);
}

// All media to be checked use the first partition of the flash.
static void prepareFlash(struct Medium* medium) {
    static int partitions;
    const bool isCheck = is(medium->action, "check");
    if (!isCheck || partitions == 0)
        partition(BLKPG_ADD_PARTITION, "mtd0", ++partitions, isCheck ? 0 : medium->start, medium);
    medium->flash = partitions;
    if (isCheck)
        copyToFlash(medium);
}

static bool attachUbi(const struct Medium* medium) {
    struct ubi_attach_req request = {.ubi_num = medium->flash, .mtd_num = medium->flash};
    const int control = open("/dev/ubi_ctrl", O_RDWR);
    const bool attached = ioctl(control, UBI_IOCATT, &request) == 0;
    close(control);
    if (!attached || is(medium->action, "check"))
        return attached;
    const long blocks = readNumber("/sys/class/ubi/ubi%d/avail_eraseblocks", medium->flash);
    struct ubi_mkvol_req volume = {
        .alignment = 1, .vol_type = UBI_DYNAMIC_VOLUME, .name_len = 4, .name = "data"};
    volume.bytes = blocks * readNumber("/sys/class/ubi/ubi%d/eraseblock_size", medium->flash);
    const int device = openDevice("/dev/%s%d", "ubi", medium->flash, O_RDWR);
    const bool made = ioctl(device, UBI_IOCMKVOL, &volume) == 0;
    close(device);
    return made;
}

static void detachUbi(const struct Medium* medium) {
    const int control = open("/dev/ubi_ctrl", O_RDWR);
    int32_t device = medium->flash;
    must(ioctl(control, UBI_IOCDET, &device) == 0 || errno == ENODEV, medium, "detach");
    close(control);
}

// Returns false if the file system cannot be mounted.
static bool mountMedium(struct Medium* medium) {
    char source[32] = "none";
    const bool isUbifs = is(medium->fileSystem, "ubifs");
    if (isUbifs || is(medium->fileSystem, "jffs2")) {
        prepareFlash(medium);
        if (isUbifs && !attachUbi(medium))
            return false;
        snprintf(source, sizeof source, isUbifs ? "ubi%d:data" : "mtd%d", medium->flash);
    } else if (!is(medium->fileSystem, "tmpfs")) {
        partition(BLKPG_ADD_PARTITION, medium->device, 1, medium->start, medium);
        snprintf(source, sizeof source, "/dev/%s1", medium->device);
    }
    const char* const options = is(medium->options, "-") ? NULL : medium->options;
    snprintf(medium->directory, sizeof medium->directory, "/m%d", medium->number);
    mkdir(medium->directory, 0755);
    return mount(source, medium->directory, medium->fileSystem, 0, options) == 0;
}

static void unmountMedium(const struct Medium* medium) {
    chdir("/");
    umount(medium->directory);
    if (medium->flash == 0)
        partition(BLKPG_DEL_PARTITION, medium->device, 1, 0, medium);
    else if (is(medium->fileSystem, "ubifs"))
        detachUbi(medium);
}

static bool enterHtml(const struct Medium* medium) {
    return chdir(medium->directory) == 0 && chdir("app/html") == 0;
}

// The marks are in the sector after a disk's file system, or in memory reserved from the kernel.
static void openMarks(struct Medium* medium) {
    const bool isDisk = medium->flash == 0;
    const int file =
        isDisk ? openDevice("/dev/%s", medium->device, 0, O_RDWR | O_DIRECT) : open("/dev/mem", O_RDWR);
    must(file >= 0, medium, "marks");
    medium->marks =
        mmap(NULL, pageSize, PROT_READ | PROT_WRITE, isDisk ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED,
             isDisk ? -1 : file, isDisk ? 0 : marksAddress + (medium->flash - 1) * pageSize);
    must(medium->marks != MAP_FAILED, medium, "marks");
    medium->marksDisk = isDisk ? file : -1;
}

static void mark(const struct Medium* medium, int which, uint64_t form) {
    medium->marks[which] = form;
    must(medium->marksDisk < 0 || pwrite(medium->marksDisk, (const void*)medium->marks, sectorSize,
                                         medium->start + medium->size) == sectorSize,
         medium, "mark");
}

// --- Actions ---

// Returns the number of files in the working directory that killed requests have left.
static int leftOvers(void) {
    int count = -4; // the directory itself, its parent, the marker and the settings
    DIR* const directory = opendir(".");
    while (readdir(directory) != NULL)
        ++count;
    closedir(directory);
    return count + (access("settings_xml.txt", F_OK) != 0);
}

// Mounts an empty file system, and goes to the directory of an application.
static void prepare(struct Medium* medium) {
    must(mountMedium(medium), medium, "mount");
    must(chdir(medium->directory) == 0 && mkdir("app", 0755) == 0 && mkdir("app/html", 0755) == 0, medium,
         "html");
    must(enterHtml(medium), medium, "html");
    if (is(medium->action, "link"))
        must(symlink("target", "settings_xml.txt") == 0, medium, "link");
    writeText("pid.cgi", "app");
    sync();
}

static void saveForever(const struct Medium* medium) {
    must(enterHtml(medium), medium, "html");
    for (uint64_t form = 1;; ++form) {
        mark(medium, 0, form);
        must(postForm(medium->program, form, 0) == confirmed, medium, "save");
        mark(medium, 1, form);
        if (form == 1)
            printf("saving %d\n", medium->number);
    }
}

static const char* saveNext(const struct Medium* medium, long form) {
    struct stat status;
    const int old = open("settings_xml.txt", O_RDONLY);
    const enum Answer answer = postForm(medium->program, form, 0);
    const bool isReplaced = old < 0 || (fstat(old, &status) == 0 && status.st_nlink == 0);
    close(old);
    if (answer != confirmed)
        return "refused";
    if (storedForm() != form)
        return "not-stored";
    if (!isReplaced)
        return "not-renamed";
    return leftOvers() == 0 ? "good" : "not-cleared";
}

// Prints "state NUMBER FORM LEFTOVERS NEXT": the form in the settings file (0: no file, -1: not one whole
// form, -2: no file system), the number of files that killed requests have left, and the result of the next
// save.
static void check(struct Medium* medium) {
    if (mountMedium(medium) && enterHtml(medium)) {
        const long form = storedForm();
        const int left = leftOvers();
        printf("state %d %ld %d %s\n", medium->number, form, left, saveNext(medium, form > 0 ? form + 1 : 1));
    } else {
        printf("state %d -2 0 unmountable\n", medium->number);
    }
    unmountMedium(medium);
}

// --- Start ---

static void loadModules(void) {
    char path[256], parameters[256];
    FILE* const list = fopen("/modules", "r");
    while (fscanf(list, "%255s%255[^\n]", path, parameters) == 2) {
        const int module = open(path, O_RDONLY);
        // Some are for other processors.
        if (syscall(SYS_finit_module, module, parameters, 0) != 0 && errno != EEXIST && errno != ENODEV)
            printf("failed -1 %s: %s\n", path, strerror(errno));
        close(module);
    }
    fclose(list);
}

// Prints where in the kernel's memory the flash is.
static void reportFlash(void) {
    char line[512], size[32];
    snprintf(size, sizeof size, " %ld ",
             readNumber("/sys/class/mtd/mtd%d/size", 0) + pageSize); // with its guard page
    writeText("/proc/sys/kernel/kptr_restrict", "1");                // root sees addresses
    FILE* const areas = fopen("/proc/vmallocinfo", "r");
    while (fgets(line, sizeof line, areas) != NULL)
        if (strstr(line, size) != NULL)
            printf("flash %.18s\n", line);
    fclose(areas);
}

// Returns true if the medium is to be saved to, which starts after all media are prepared.
static bool carryOut(struct Medium* medium) {
    if (is(medium->action, "check")) {
        check(medium);
        return false;
    }
    prepare(medium);
    if (is(medium->action, "memory"))
        measureMemory(medium->program);
    else if (is(medium->action, "time"))
        measureTime(medium->fileSystem, medium->program);
    else
        return true;
    return false;
}

int main(int argumentCount, char* arguments[]) {
    if (argumentCount > 0 && is(arguments[0], "app"))
        return runApplication();
    if (argumentCount > 0 && is(arguments[0], "/nothing"))
        return 0;
    setvbuf(stdout, NULL, _IOLBF, 0);
    mkdir("/proc", 0755);
    mkdir("/sys", 0755);
    mount("none", "/proc", "proc", 0, NULL);
    mount("none", "/sys", "sysfs", 0, NULL);
    mount("none", "/dev", "devtmpfs", 0, NULL);
    loadModules();
    reportFlash();

    static struct Medium media[1024];
    static bool isSaver[1024];
    FILE* const plan = fopen("/plan", "r");
    int count = 0;
    for (struct Medium* m = media; fscanf(plan, "%7s %7s %7s %lld %lld %31s %63s", m->action, m->fileSystem,
                                          m->device, &m->start, &m->size, m->program, m->options) == 7;
         m = &media[++count]) {
        m->number = count;
        isSaver[count] = carryOut(m);
    }
    for (int i = 0; i < count; ++i) {
        if (!isSaver[i])
            continue;
        openMarks(&media[i]);
        if (fork() == 0)
            saveForever(&media[i]);
    }
    while (isSaver[0])
        pause();
    printf("done\n");
    reboot(RB_AUTOBOOT);
}
