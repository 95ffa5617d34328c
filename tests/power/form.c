#define _GNU_SOURCE
#include "form.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

enum { valueLength = 80, smallest = 100, largestOrdinary = 30 * 1024 };

static char body[largestForm + 1024]; // what the browser posts
static char text[2 * largestForm];    // what the settings file then holds

// Makes `body` and `text`. For length 0, each order of magnitude from 128 bytes on is equally likely.
static void makeForm(uint64_t number, size_t length) {
    static uint64_t madeNumber;
    static size_t madeLength;
    if (number == madeNumber && length == madeLength)
        return;
    madeNumber = number;
    madeLength = length;
    srand((unsigned)number);
    const size_t ordinary = smallest + (size_t)rand() % (128u << rand() % 9);
    if (length == 0)
        length = ordinary < largestOrdinary ? ordinary : largestOrdinary;
    char* b = body + sprintf(body, "a00000=%llu", (unsigned long long)number);
    char* t = text + sprintf(text, "<Settings>\n  <a00000>%llu</a00000>\n", (unsigned long long)number);
    for (int field = 1; b < body + length; ++field) {
        char value[valueLength + 1] = "";
        for (int i = 0; i < valueLength; ++i)
            value[i] = (char)('a' + rand() % 26);
        b += sprintf(b, "&a%05d=%s", field, value);
        t += sprintf(t, "  <a%05d>%s</a%05d>\n", field, value, field);
    }
    strcpy(t, "</Settings>\n");
}

static void runProgram(const char* program, int input, int output) {
    char length[32];
    snprintf(length, sizeof length, "CONTENT_LENGTH=%zu", strlen(body));
    char* const arguments[] = {(char*)program, NULL};
    char* const environment[] = {"REQUEST_METHOD=POST", "CONTENT_TYPE=application/x-www-form-urlencoded",
                                 length, "HTTP_REFERER=http://127.0.0.1/", NULL};
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    execve(program, arguments, environment);
    _exit(127);
}

enum Answer postForm(const char* program, uint64_t number, size_t length) {
    makeForm(number, length);
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0)
        return noAnswer;
    const pid_t child = fork();
    if (child == 0)
        runProgram(program, in[0], out[1]);
    close(in[0]);
    close(out[1]);
    for (size_t sent = 0; sent < strlen(body);) {
        const ssize_t taken = write(in[1], body + sent, strlen(body) - sent);
        if (taken < 0)
            break; // the program has been killed
        sent += (size_t)taken;
    }
    close(in[1]);
    char answer[256] = "";
    size_t received = 0;
    for (ssize_t got; (got = read(out[0], answer + received, sizeof answer - 1 - received)) > 0;)
        received += (size_t)got;
    close(out[0]);
    waitpid(child, NULL, 0);
    const char* const word = strstr(answer, "success=");
    if (word == NULL)
        return noAnswer;
    return strncmp(word, "success=false", 13) == 0 ? refused : confirmed;
}

long storedForm(void) {
    static char stored[2 * largestForm];
    const int file = open("settings_xml.txt", O_RDONLY);
    if (file < 0)
        return errno == ENOENT ? 0 : -1;
    const ssize_t size = read(file, stored, sizeof stored - 1);
    close(file);
    unsigned long long number;
    if (size < 0)
        return -1;
    stored[size] = '\0';
    if (sscanf(stored, "<Settings>\n  <a00000>%llu</a00000>", &number) != 1)
        return -1;
    makeForm(number, 0);
    return (size_t)size == strlen(text) && memcmp(stored, text, (size_t)size) == 0 ? (long)number : -1;
}

const char* formText(void) {
    return text;
}
