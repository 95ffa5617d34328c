/* Fills the process table: sleepers N starts sleeping processes until there are N in all, says "ready", and
   ends with them when its input does. A SIGUSR1 is not minded, so that it can also stand for the application.
 */

#define _GNU_SOURCE
#include <dirent.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <unistd.h>

static long processes(void) {
    long count = 0;
    DIR* const table = opendir("/proc");
    if (table == NULL)
        return 0;
    for (const struct dirent* entry; (entry = readdir(table)) != NULL;)
        count += *entry->d_name >= '1' && *entry->d_name <= '9';
    closedir(table);
    return count;
}

static void sleep_for_ever(void) {
    for (;;)
        pause();
}

int main(int count, char** arguments) {
    const long wanted = count > 1 ? atol(arguments[1]) : 0;
    signal(SIGUSR1, SIG_IGN);
    signal(SIGCHLD, SIG_IGN);
    for (long missing = wanted - processes(); missing > 0; --missing) {
        const pid_t child = fork();
        if (child < 0) {
            perror("sleepers");
            return 1;
        }
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL); /* however the parent ends */
            sleep_for_ever();
        }
    }
    puts("ready");
    fflush(stdout);
    for (char byte; read(STDIN_FILENO, &byte, 1) > 0;)
        continue;
    return 0;
}
