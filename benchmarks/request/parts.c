#define _GNU_SOURCE
#include "parts.h"

#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <time.h>
#include <unistd.h>

static const char settings_file[] = "settings_xml.txt";

/* --- Fields --- */

static int compare(struct text a, struct text b) {
    const size_t shorter = a.length < b.length ? a.length : b.length;
    const int order = memcmp(a.bytes, b.bytes, shorter);
    if (order != 0)
        return order;
    return a.length < b.length ? -1 : a.length > b.length;
}

void put_field(struct fields* fields, struct text name, struct text value, bool replace) {
    size_t low = 0;
    size_t high = fields->count;
    while (low < high) {
        const size_t middle = (low + high) / 2;
        const int order = compare(fields->all[middle].name, name);
        if (order == 0) {
            if (replace)
                fields->all[middle].value = value;
            return;
        }
        if (order < 0)
            low = middle + 1;
        else
            high = middle;
    }
    if (fields->count == fields->capacity) {
        fields->capacity = fields->capacity == 0 ? 32 : 2 * fields->capacity;
        fields->all = realloc(fields->all, fields->capacity * sizeof *fields->all);
        if (fields->all == NULL)
            abort();
    }
    memmove(fields->all + low + 1, fields->all + low, (fields->count - low) * sizeof *fields->all);
    fields->all[low] = (struct field){name, value};
    ++fields->count;
}

/* --- Percent-encoding --- */

static int digit(char byte) {
    if (byte >= '0' && byte <= '9')
        return byte - '0';
    const int letter = byte | 0x20;
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

static char escaped(const char* digits) {
    const int high = digit(digits[0]);
    const int low = digit(digits[1]);
    if (high < 0)
        return '\0';
    return (char)(low < 0 ? high : high * 16 + low);
}

/* In place. */
static struct text decode(char* bytes, size_t length, bool plus_as_space) {
    char* to = bytes;
    for (const char *from = bytes, *const end = bytes + length; from < end;) {
        if (*from == '%' && end - from > 2) {
            *to++ = escaped(from + 1);
            from += 3;
        } else {
            *to++ = plus_as_space && *from == '+' ? ' ' : *from;
            ++from;
        }
    }
    return (struct text){bytes, (size_t)(to - bytes)};
}

static char* put(char* to, const char* bytes, size_t length) {
    memcpy(to, bytes, length);
    return to + length;
}

static char* put_encoded(char* to, struct text text, const char* reserved) {
    static const char digits[] = "0123456789ABCDEF";
    for (size_t i = 0; i < text.length; ++i) {
        const char byte = text.bytes[i];
        if (byte == '%' || (byte != '\0' && strchr(reserved, byte) != NULL)) {
            *to++ = '%';
            *to++ = digits[(unsigned char)byte >> 4];
            *to++ = digits[(unsigned char)byte & 15];
        } else {
            *to++ = byte;
        }
    }
    return to;
}

/* --- The form --- */

void parse_form(char* form, struct fields* fields) {
    char* const end = form + strlen(form);
    while (form < end) {
        char* next = memchr(form, '&', (size_t)(end - form));
        if (next == NULL)
            next = end;
        const size_t length = (size_t)(next - form);
        char* const equals = memchr(form, '=', length);
        struct text value;
        if (equals == NULL) {
            value.bytes = malloc(length + 1);
            if (value.bytes == NULL)
                abort();
            memcpy(value.bytes, form, length);
            value = decode(value.bytes, length, false);
        } else {
            value = decode(equals + 1, (size_t)(next - equals - 1), false);
        }
        const size_t name_length = equals == NULL ? length : (size_t)(equals - form);
        for (size_t i = 0; i < name_length; ++i)
            form[i] = (char)tolower((unsigned char)form[i]);
        if (length > 0)
            put_field(fields, decode(form, name_length, false), value, false);
        form = next + 1;
    }
}

char* read_body(void) {
    const char* const announced = getenv("CONTENT_LENGTH");
    const long length = announced == NULL ? 0 : strtol(announced, NULL, 10);
    char* const body = calloc(1, (size_t)(length < 0 ? 0 : length) + 1);
    if (body == NULL)
        abort();
    for (long received = 0; received < length;) {
        const ssize_t count = read(STDIN_FILENO, body + received, (size_t)(length - received));
        if (count <= 0)
            break;
        received += count;
    }
    return body;
}

/* --- Directories --- */

/* What the kernel's call gives for each entry. */
struct entry {
    uint64_t file;
    int64_t offset;
    uint16_t length;
    unsigned char type;
    char name[];
};

struct directory {
    int file;
    long position;
    long filled;
    _Alignas(struct entry) char block[8192];
};

static bool open_directory(struct directory* directory, const char* path) {
    directory->file = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    directory->position = directory->filled = 0;
    return directory->file >= 0;
}

static const char* next_name(struct directory* directory) {
    if (directory->position == directory->filled) {
        directory->filled =
            syscall(SYS_getdents64, directory->file, directory->block, sizeof directory->block);
        directory->position = 0;
        if (directory->filled <= 0)
            return NULL;
    }
    const struct entry* const entry =
        (const struct entry*)(const void*)(directory->block + directory->position);
    directory->position += entry->length;
    return entry->name;
}

/* --- The settings file --- */

static const char temporary_prefix[] = ".settings_xml.txt.saving-";
enum { digits_in_name = 16 };

static bool is_temporary(const char* name) {
    const size_t prefix = sizeof temporary_prefix - 1;
    return strncmp(name, temporary_prefix, prefix) == 0 && strlen(name) == prefix + digits_in_name &&
           strspn(name + prefix, "0123456789abcdef") == digits_in_name;
}

/* A temporary file that nobody holds a lock on was left by a killed request. */
static void remove_if_left(int directory, const char* name) {
    const int file = openat(directory, name, O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file < 0)
        return;
    struct stat locked;
    struct stat named;
    if (flock(file, LOCK_EX | LOCK_NB) == 0 && fstat(file, &locked) == 0 && S_ISREG(locked.st_mode) &&
        fstatat(directory, name, &named, AT_SYMLINK_NOFOLLOW) == 0 && named.st_dev == locked.st_dev &&
        named.st_ino == locked.st_ino)
        unlinkat(directory, name, 0);
    close(file);
}

static void clear_left_files(struct directory* directory) {
    for (const char* name; (name = next_name(directory)) != NULL;)
        if (is_temporary(name))
            remove_if_left(directory->file, name);
}

static struct text settings_text(const struct fields* fields) {
    size_t length = 64;
    for (size_t i = 0; i < fields->count; ++i)
        length += 2 * fields->all[i].name.length + fields->all[i].value.length + 8;
    struct text text = {malloc(length), 0};
    if (text.bytes == NULL)
        abort();
    char* to = put(text.bytes, "<Settings>\n", 11);
    for (size_t i = 0; i < fields->count; ++i) {
        const struct field* const field = &fields->all[i];
        to = put(to, "  <", 3);
        to = put(to, field->name.bytes, field->name.length);
        *to++ = '>';
        to = put(to, field->value.bytes, field->value.length);
        to = put(to, "</", 2);
        to = put(to, field->name.bytes, field->name.length);
        to = put(to, ">\n", 2);
    }
    to = put(to, "</Settings>\n", 12);
    text.length = (size_t)(to - text.bytes);
    return text;
}

static bool copy_attribute(int file, const char* name) {
    char value[65536];
    const ssize_t length = lgetxattr(settings_file, name, value, sizeof value);
    return length >= 0 && fsetxattr(file, name, value, (size_t)length, 0) == 0;
}

/* The access list, and whatever else the existing file has. */
static bool copy_attributes(int file) {
    const ssize_t expected = llistxattr(settings_file, NULL, 0);
    if (expected <= 0) {
        fremovexattr(file, "system.posix_acl_access"); /* the directory's default */
        return expected == 0 || errno == EOPNOTSUPP;
    }
    char names[65536];
    const ssize_t length = llistxattr(settings_file, names, sizeof names);
    for (ssize_t at = 0; at < length; at += (ssize_t)strlen(names + at) + 1)
        if (!copy_attribute(file, names + at))
            return false;
    return length >= 0;
}

static bool write_temporary(int file, const struct stat* existing, struct text text) {
    struct stat made;
    if (flock(file, LOCK_EX | LOCK_NB) != 0 || fstat(file, &made) != 0 || made.st_nlink == 0)
        return false;
    if (existing != NULL && (made.st_uid != existing->st_uid || made.st_gid != existing->st_gid) &&
        fchown(file, existing->st_uid, existing->st_gid) != 0)
        return false;
    if (write(file, text.bytes, text.length) != (ssize_t)text.length)
        return false;
    if (existing != NULL && (!copy_attributes(file) || fchmod(file, existing->st_mode & 0777) != 0))
        return false;
    return fsync(file) == 0 || errno == EINVAL;
}

static bool replace(int directory, const struct stat* existing, struct text text) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    char temporary[sizeof temporary_prefix + digits_in_name];
    snprintf(temporary, sizeof temporary, "%s%016llx", temporary_prefix,
             (unsigned long long)now.tv_sec * 1000000000 + (unsigned long long)now.tv_nsec);
    const int file = openat(directory, temporary, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                            existing != NULL ? 0600 : 0666);
    if (file < 0)
        return false;
    const bool renamed = write_temporary(file, existing, text) &&
                         renameat(directory, temporary, directory, settings_file) == 0;
    if (!renamed)
        unlinkat(directory, temporary, 0);
    const bool replaced = renamed && (fsync(directory) == 0 || errno == EINVAL);
    close(file);
    return replaced;
}

bool save_settings(const struct fields* fields) {
    const struct text text = settings_text(fields);
    struct directory directory;
    if (!open_directory(&directory, "."))
        return false;
    clear_left_files(&directory);
    struct stat existing;
    const bool exists = fstatat(directory.file, settings_file, &existing, AT_SYMLINK_NOFOLLOW) == 0;
    const bool may_replace =
        exists ? S_ISREG(existing.st_mode) && faccessat(directory.file, settings_file, W_OK, AT_EACCESS) == 0
               : errno == ENOENT;
    const bool replaced = may_replace && replace(directory.file, exists ? &existing : NULL, text);
    close(directory.file);
    return replaced;
}

/* --- The application --- */

/* The name of the directory above "html", when the marker file mentions it. */
static const char* application_name(void) {
    static char directory[4096];
    char marker[4096];
    const int file = open("pid.cgi", O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return NULL;
    size_t length = 0;
    for (ssize_t count;
         length < sizeof marker - 1 && (count = read(file, marker + length, sizeof marker - 1 - length)) > 0;)
        length += (size_t)count;
    marker[length] = '\0';
    close(file);
    if (getcwd(directory, sizeof directory) == NULL)
        return NULL;
    char* const last = strrchr(directory, '/');
    if (last == NULL || strcmp(last, "/html") != 0)
        return NULL;
    *last = '\0';
    const char* const slash = strrchr(directory, '/');
    return slash != NULL && slash != directory && strstr(marker, slash + 1) != NULL ? slash + 1 : NULL;
}

static bool first_argument_names(const char* id, const char* name) {
    char path[64] = "/proc/";
    char command[257];
    memcpy(stpcpy(path + 6, id), "/cmdline", 9);
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return false;
    const ssize_t length = read(file, command, sizeof command - 1);
    close(file);
    if (length <= 0)
        return false;
    command[length] = '\0';
    command[strcspn(command, "\n")] = '\0';
    const char* const slash = strrchr(command, '/');
    return strcmp(slash != NULL ? slash + 1 : command, name) == 0;
}

static bool is_running(const char* name) {
    struct directory processes;
    if (!open_directory(&processes, "/proc"))
        return false;
    bool found = false;
    for (const char* id; !found && (id = next_name(&processes)) != NULL;)
        found = *id >= '1' && *id <= '9' && first_argument_names(id, name);
    close(processes.file);
    return found;
}

const char* restart_application(void) {
    const char* const name = application_name();
    if (name == NULL)
        return "false";
    if (!is_running(name))
        return "stopped";
    char command[4200];
    signal(SIGCHLD, SIG_DFL);
    snprintf(command, sizeof command, "killall -SIGUSR1 %s", name);
    return system(command) == 0 ? "restarted" : "running";
}

/* --- The answer --- */

struct address {
    struct text scheme;
    struct text user;
    struct text password;
    struct text host;
    long port;
    struct text path;
    struct fields parameters;
};

static struct text between(char* from, char* to) {
    return decode(from, (size_t)(to - from), false);
}

static void parse_authority(char* from, char* end, struct address* address) {
    char* const at = memchr(from, '@', (size_t)(end - from));
    if (at != NULL) {
        char* const colon = memchr(from, ':', (size_t)(at - from));
        address->user = between(from, colon != NULL ? colon : at);
        if (colon != NULL)
            address->password = between(colon + 1, at);
        from = at + 1;
    }
    char* const colon = memchr(from, ':', (size_t)(end - from));
    if (colon != NULL)
        address->port = strtol(colon + 1, NULL, 10);
    address->host = between(from, colon != NULL ? colon : end);
}

static void parse_query(char* from, char* end, struct fields* parameters) {
    while (from < end) {
        char* next = memchr(from, '&', (size_t)(end - from));
        if (next == NULL)
            next = end;
        char* const equals = memchr(from, '=', (size_t)(next - from));
        if (equals != NULL) {
            const struct text name = decode(from, (size_t)(equals - from), true);
            put_field(parameters, name, decode(equals + 1, (size_t)(next - equals - 1), true), true);
        }
        from = next + 1;
    }
}

/* Takes the text apart in place; an address that is none stays empty. */
static void parse_address(char* from, struct address* address) {
    char* const end = from + strlen(from);
    char* const colon = strchr(from, ':');
    if (colon != NULL) {
        address->scheme = between(from, colon);
        from = colon + 1;
    }
    if (from[0] == '/' && from[1] == '/') {
        from += 2;
        char* const authority_end = from + strcspn(from, "/?");
        parse_authority(from, authority_end, address);
        from = authority_end;
        if (from == end)
            return;
    }
    if (*from != '/' && *from != '?') {
        *address = (struct address){.port = -1};
        return;
    }
    char* question = strchr(from, '?');
    if (question == NULL)
        question = end;
    if (question > from)
        address->path = between(from + 1, question);
    if (question < end)
        parse_query(question + 1, end, &address->parameters);
}

static char* put_authority(char* to, const struct address* address) {
    if (address->user.length > 0) {
        to = put_encoded(to, address->user, "@:/");
        if (address->password.length > 0) {
            *to++ = ':';
            to = put_encoded(to, address->password, "@:/");
        }
        *to++ = '@';
    }
    to = put_encoded(to, address->host, "@:/?");
    if (address->port >= 0)
        to += sprintf(to, ":%ld", address->port);
    return to;
}

static char* put_address(char* to, const struct address* address) {
    if (address->scheme.length > 0) {
        to = put_encoded(to, address->scheme, ":");
        *to++ = ':';
    }
    if (address->user.length > 0 || address->host.length > 0 || address->port >= 0)
        to = put_authority(put(to, "//", 2), address);
    if (address->path.length > 0) {
        *to++ = '/';
        to = put_encoded(to, address->path, "?");
    }
    for (size_t i = 0; i < address->parameters.count; ++i) {
        *to++ = i == 0 ? '?' : '&';
        to = put_encoded(to, address->parameters.all[i].name, "=&+");
        *to++ = '=';
        to = put_encoded(to, address->parameters.all[i].value, "&+");
    }
    return to;
}

void redirect(const char* status) {
    const char* const referer = getenv("HTTP_REFERER");
    const size_t length = referer == NULL ? 0 : strlen(referer);
    char* const text = malloc(length + 1);
    char* const answer = malloc(3 * length + 128);
    if (text == NULL || answer == NULL)
        abort();
    memcpy(text, referer == NULL ? "" : referer, length + 1);
    struct address address = {.port = -1};
    parse_address(text, &address);
    put_field(&address.parameters, (struct text){(char[]){"success"}, 7},
              (struct text){strcpy((char[16]){0}, status), strlen(status)}, true);
    char* const start = put(answer, "Location: ", 10);
    char* to = put_address(start, &address);
    for (const char* byte = start; byte < to; ++byte) {
        if ((unsigned char)*byte < 0x20 || *byte == 0x7F) {
            to = start + sprintf(start, "?success=%s", status);
            break;
        }
    }
    to = put(to, "\r\n\r\n", 4);
    if (write(STDOUT_FILENO, answer, (size_t)(to - answer)) < 0)
        _exit(1);
}
