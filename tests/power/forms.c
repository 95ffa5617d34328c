// Numbered forms in the virtual machine of scripts/power-cut. In an application's directory "html":
//
//     forms save PROGRAM MARKS OFFSET
//         saves forms as fast as it can. The block device MARKS holds, at OFFSET, the last form whose save
//         was started, and the last confirmed one.
//     forms post PROGRAM FORM
//         saves this form; fails if the answer does not confirm it.
//     forms stored
//         prints the form in the settings file; 0: no file, -1: not one whole form.
#define _GNU_SOURCE
#include "form.h"

#include <err.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { sectorSize = 512 };

static void mark(int file, const uint64_t* marks, off_t offset) {
    if (pwrite(file, marks, sectorSize, offset) != sectorSize)
        err(1, "mark");
}

static void saveForever(const char* program, const char* marksPath, off_t offset) {
    static _Alignas(sectorSize) uint64_t marks[sectorSize / sizeof(uint64_t)];
    // A mark must reach the disk before what follows. Flash has no cache, and does not know O_DIRECT.
    int file = open(marksPath, O_WRONLY | O_DIRECT);
    if (file < 0)
        file = open(marksPath, O_WRONLY);
    for (uint64_t form = 1;; ++form) {
        marks[0] = form;
        mark(file, marks, offset);
        if (postForm(program, form, 0) != confirmed)
            errx(1, "form %llu is not confirmed", (unsigned long long)form);
        marks[1] = form;
        mark(file, marks, offset);
        if (form == 1)
            puts("saving");
    }
}

int main(int argumentCount, char* arguments[]) {
    if (argumentCount == 5 && strcmp(arguments[1], "save") == 0)
        saveForever(arguments[2], arguments[3], atoll(arguments[4]));
    if (argumentCount == 4 && strcmp(arguments[1], "post") == 0)
        return postForm(arguments[2], strtoull(arguments[3], NULL, 10), 0) != confirmed;
    printf("%ld\n", storedForm());
}
