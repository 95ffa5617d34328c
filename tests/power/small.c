// The program's costs on a small device. In an application's directory "html":
//
//     small memory PROGRAM
//         locks memory until 16 MB are left, and posts forms while an application takes more and more of it.
//         Prints "memory FREE HELD LENGTH CONFIRMED REFUSED UNANSWERED APPLICATION" for each kind of request,
//         in KB and requests.
//     small time PROGRAM FILE_SYSTEM
//         prints "time FILE_SYSTEM WRITE PROCESS UNSIGNALLED SAVE", mean microseconds: of truncating, writing
//         and syncing a file; of a process that does nothing; of a save of the same text, without and with
//         looking for the application.
//
// As "app" it is the application; as "/nothing" it does nothing.
#define _GNU_SOURCE
#include "form.h"

#include <fcntl.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum { kilobyte = 1024, chunk = 256, left = 16 * 1024, sharedDescriptor = 9 }; // the amounts in KB

// Shared with the application: the KB that it should hold, and that it holds.
struct Shared {
    volatile long wanted, held;
};
static struct Shared* shared;

static long freeMemory(void) {
    struct sysinfo info;
    sysinfo(&info);
    return (long)(info.freeram * info.mem_unit / kilobyte);
}

static void writeText(const char* path, const char* text) {
    FILE* const file = fopen(path, "w");
    fputs(text, file);
    fclose(file);
}

static bool takeMemory(void) {
    void* const memory =
        mmap(NULL, chunk * kilobyte, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return false;
    memset(memory, 1, chunk * kilobyte);
    return true;
}

static struct Shared* share(int descriptor) {
    return mmap(NULL, sizeof(struct Shared), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
}

static void runApplication(void) {
    shared = share(sharedDescriptor);
    signal(SIGUSR1, SIG_IGN);
    for (;; usleep(1000))
        while (shared->held < shared->wanted && takeMemory())
            shared->held += chunk;
}

static pid_t startApplication(void) {
    const int file = memfd_create("shared", 0);
    if (ftruncate(file, sizeof(struct Shared)) != 0 || dup2(file, sharedDescriptor) < 0)
        abort();
    shared = share(sharedDescriptor);
    const pid_t application = fork();
    if (application == 0)
        execl("/proc/self/exe", "app", NULL);
    return application;
}

// Returns false if the application has ended.
static bool letItHold(pid_t application, long amount) {
    shared->wanted = amount;
    while (shared->held < amount) {
        if (waitpid(application, NULL, WNOHANG) != 0)
            return false;
        usleep(1000);
    }
    return true;
}

// Represents memory that the device does not have: the kernel must not choose it when memory runs out.
static void lockMemoryAway(void) {
    writeText("/proc/self/oom_score_adj", "-1000");
    writeText("/proc/sys/vm/drop_caches", "3");
    mlockall(MCL_CURRENT | MCL_FUTURE);
    while (freeMemory() > left && takeMemory())
        ;
    for (;;)
        pause();
}

static void measureMemory(const char* program) {
    static const size_t lengths[] = {1024, 64 * 1024, 1024 * 1024};
    const long rounds = 10;
    uint64_t number = 1;
    postForm(program, number, largestForm); // allocates the memory that the posts below use in this process
    const pid_t application = startApplication();
    if (fork() == 0)
        lockMemoryAway();
    while (freeMemory() > left)
        usleep(10000);
    for (long hold = left / 2; letItHold(application, hold); hold += left / 32) {
        const long unused = freeMemory();
        bool alive = true;
        int answers[3] = {0};
        for (size_t kind = 0; kind < 3 && alive; ++kind) {
            memset(answers, 0, sizeof answers);
            for (long i = 0; i < rounds && alive; ++i) {
                ++answers[postForm(program, ++number, lengths[kind])];
                alive = waitpid(application, NULL, WNOHANG) == 0;
            }
            printf("memory %ld %ld %zu %d %d %d %s\n", unused, hold, lengths[kind], answers[confirmed],
                   answers[refused], answers[noAnswer], alive ? "alive" : "killed");
        }
        if (!alive || answers[confirmed] == 0) // of the largest
            return;
    }
    printf("application's end\n");
}

static double microseconds(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (double)now.tv_sec * 1e6 + (double)now.tv_nsec / 1e3;
}

static void writeDirectly(void) {
    const int file = open("plain.txt", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (write(file, formText(), strlen(formText())) < 0 || fsync(file) != 0)
        abort();
    close(file);
}

// Returns the mean time of posting a form of 4 KB to the program or, without one, of writing the same text.
static double meanTime(const char* program) {
    const int rounds = 50;
    postForm(program != NULL ? program : "/nothing", 1, 4096); // makes the text
    const double start = microseconds();
    for (int round = 0; round < rounds; ++round)
        if (program == NULL)
            writeDirectly();
        else
            postForm(program, 1, 4096);
    return (microseconds() - start) / rounds;
}

static void measureTime(const char* program, const char* fileSystem) {
    const double write = meanTime(NULL);
    const double process = meanTime("/nothing");
    const double save = meanTime(program);
    unlink("pid.cgi");
    const double unsignalled = meanTime(program);
    printf("time %s %.0f %.0f %.0f %.0f\n", fileSystem, write, process, unsignalled, save);
}

int main(int argumentCount, char* arguments[]) {
    if (strcmp(arguments[0], "app") == 0)
        runApplication();
    if (strcmp(arguments[0], "/nothing") == 0)
        return 0;
    signal(SIGPIPE, SIG_IGN); // of requests that are killed, and of the program that reads nothing
    if (argumentCount == 4 && strcmp(arguments[1], "memory") == 0)
        measureMemory(arguments[2]);
    else
        measureTime(arguments[2], arguments[3]);
}
