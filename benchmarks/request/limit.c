/* The limit: the job of the program written by hand in C, with the same system calls and nothing else. It
   needs a settings file to replace, and fails where the program would write in place. */

#define _GNU_SOURCE
#include <ctype.h>
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <time.h>
#include <unistd.h>

void read_form(void);
void put_field(char* name, char* value);

/* --- The form --- */

static struct field {
    char* name;
    char* value;
} fields[1024]; /* sorted by name */
static size_t field_count;

/* Keeps both pointers. Of two fields with one name the first stays. */
void put_field(char* name, char* value) {
    size_t place = field_count;
    while (place > 0 && strcmp(fields[place - 1].name, name) > 0)
        --place;
    if (place > 0 && strcmp(fields[place - 1].name, name) == 0)
        return;
    if (field_count == sizeof fields / sizeof *fields)
        abort();
    memmove(fields + place + 1, fields + place, (field_count++ - place) * sizeof *fields);
    fields[place] = (struct field){name, value};
}

static int digit(char byte) {
    if (byte >= '0' && byte <= '9')
        return byte - '0';
    const int letter = byte | 0x20;
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

static char* decode(char* text) {
    char* to = text;
    for (const char* from = text; *from != '\0'; ++from) {
        const int high = *from == '%' ? digit(from[1]) : -1;
        const int low = high < 0 ? -1 : digit(from[2]);
        *to++ = low < 0 ? *from : (char)(high * 16 + low);
        from += low < 0 ? 0 : 2;
    }
    *to = '\0';
    return text;
}

/* A program with another decoder overrides this one. */
__attribute__((weak)) void read_form(void) {
    const char* const announced = getenv("CONTENT_LENGTH");
    const size_t length = announced == NULL ? 0 : strtoul(announced, NULL, 10);
    char* form = calloc(1, length + 1);
    ssize_t count = 1;
    for (size_t received = 0; received < length && count > 0; received += (size_t)count)
        count = read(STDIN_FILENO, form + received, length - received);
    for (char* field; (field = strsep(&form, "&")) != NULL;) {
        if (*field == '\0')
            continue;
        char* const equals = strchr(field, '=');
        char* const value = equals == NULL ? strdup(field) : equals + 1;
        if (equals != NULL)
            *equals = '\0';
        for (char* byte = field; *byte != '\0'; ++byte)
            *byte = (char)tolower((unsigned char)*byte);
        put_field(decode(field), decode(value));
    }
}

/* --- The settings file --- */

static const char settings_file[] = "settings_xml.txt";
static const char prefix[] = ".settings_xml.txt.saving-"; /* and 16 digits */

static char* settings_text(void) {
    size_t length = 64;
    for (size_t i = 0; i < field_count; ++i)
        length += 2 * strlen(fields[i].name) + strlen(fields[i].value) + 9;
    char* const text = malloc(length);
    char* to = stpcpy(text, "<Settings>\n");
    for (const struct field* field = fields; field < fields + field_count; ++field) {
        to = stpcpy(stpcpy(stpcpy(to, "  <"), field->name), ">");
        to = stpcpy(stpcpy(stpcpy(stpcpy(to, field->value), "</"), field->name), ">\n");
    }
    stpcpy(to, "</Settings>\n");
    return text;
}

static bool write_temporary(int file, const struct stat* existing) {
    const char* const text = settings_text();
    const ssize_t length = (ssize_t)strlen(text);
    struct stat created;
    if (flock(file, LOCK_EX | LOCK_NB) != 0 || fstat(file, &created) != 0 || created.st_nlink == 0 ||
        created.st_uid != existing->st_uid || created.st_gid != existing->st_gid ||
        write(file, text, (size_t)length) != length || llistxattr(settings_file, NULL, 0) > 0)
        return false;
    fremovexattr(file, "system.posix_acl_access"); /* the directory's default */
    return fchmod(file, existing->st_mode & 0777) == 0 && fsync(file) == 0;
}

static bool replace(int directory, const struct stat* existing) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    char name[sizeof prefix + 16];
    const long long number = now.tv_sec * 1000000000LL + now.tv_nsec;
    snprintf(name, sizeof name, "%s%016llx", prefix, (unsigned long long)number);
    const int file = openat(directory, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    const bool renamed = file >= 0 && write_temporary(file, existing) &&
                         renameat(directory, name, directory, settings_file) == 0;
    if (file >= 0 && !renamed)
        unlinkat(directory, name, 0);
    const bool flushed = renamed && fsync(directory) == 0;
    close(file);
    return flushed;
}

static bool save_settings(void) {
    const int directory = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    struct stat existing;
    const bool saved =
        fstatat(directory, settings_file, &existing, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(existing.st_mode) &&
        faccessat(directory, settings_file, W_OK, AT_EACCESS) == 0 && replace(directory, &existing);
    close(directory);
    return saved;
}

/* --- The application --- */

/* The descriptor is closed before anything is started: it needs no O_CLOEXEC, for which musl makes one more
 * call. */
static bool read_file(int directory, const char* path, char* text, size_t size) {
    const int file = openat(directory, path, O_RDONLY);
    if (file < 0)
        return false;
    const ssize_t length = read(file, text, size - 1);
    close(file);
    text[length < 0 ? 0 : length] = '\0';
    return length > 0;
}

/* Returns true if the first argument of the process has the name. */
static bool has_name(int processes, const char* id, const char* name) {
    char path[280];
    char command[257];
    stpcpy(stpcpy(path, id), "/cmdline");
    if (*id < '1' || *id > '9' || !read_file(processes, path, command, sizeof command))
        return false;
    const char* const slash = strrchr(command, '/');
    return strcmp(slash != NULL ? slash + 1 : command, name) == 0;
}

static bool is_running(const char* name) {
    _Alignas(struct dirent64) char block[8192];
    const int processes = open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    bool found = false;
    for (ssize_t filled; !found && (filled = getdents64(processes, (void*)block, sizeof block)) > 0;) {
        for (const char* at = block; !found && at < block + filled;) {
            const struct dirent64* const entry = (const void*)at;
            found = has_name(processes, entry->d_name, name);
            at += entry->d_reclen;
        }
    }
    close(processes);
    return found;
}

/* Signals the application, named by the directory above "html", if the marker file mentions it. */
static const char* restart_application(void) {
    char directory[4096];
    char marker[4096];
    if (!read_file(AT_FDCWD, "pid.cgi", marker, sizeof marker) || getcwd(directory, sizeof directory) == NULL)
        return "false";
    char* const html = strrchr(directory, '/');
    *html = '\0';
    const char* const name = strrchr(directory, '/');
    if (strcmp(html + 1, "html") != 0 || name == NULL || strstr(marker, name + 1) == NULL)
        return "false";
    if (!is_running(name + 1))
        return "stopped";
    char command[4200];
    signal(SIGCHLD, SIG_DFL);
    snprintf(command, sizeof command, "killall -SIGUSR1 %s", name + 1);
    return system(command) == 0 ? "restarted" : "running";
}

/* --- The answer: the referer with one parameter set --- */

static void redirect(const char* status) {
    const char* const referer = getenv("HTTP_REFERER");
    char* query = strdup(referer == NULL ? "" : referer);
    char* const answer = malloc(strlen(query) + 64);
    char* to = stpcpy(stpcpy(answer, "Location: "), strsep(&query, "?"));
    *to++ = '?';
    for (char* parameter; (parameter = strsep(&query, "&")) != NULL;)
        if (strncmp(parameter, "success=", 8) != 0)
            to = stpcpy(stpcpy(to, parameter), "&");
    to = stpcpy(stpcpy(to, "success="), status);
    for (const char* byte = answer; byte < to; ++byte)
        if ((unsigned char)*byte < 0x20 || *byte == 0x7F)
            to = stpcpy(stpcpy(answer, "Location: ?success="), status);
    to = stpcpy(to, "\r\n\r\n");
    if (write(STDOUT_FILENO, answer, (size_t)(to - answer)) < 0)
        _exit(1);
}

int main(void) {
    signal(SIGPIPE, SIG_IGN);
    const char* const method = getenv("REQUEST_METHOD");
    const char* const type = getenv("CONTENT_TYPE");
    if (method == NULL || type == NULL || strcmp(method, "POST") != 0 ||
        strcmp(type, "application/x-www-form-urlencoded") != 0)
        return 1;
    read_form();
    redirect(save_settings() ? restart_application() : "false");
    return 0;
}
