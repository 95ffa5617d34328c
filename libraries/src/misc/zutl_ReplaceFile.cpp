#include "zutl_ReplaceFile.h"

#include "zutl_Directory.h"
#include "zutl_FileAttributes.h"
#include "zutl_TemporaryFile.h"
#include "zutl_WriteInPlace.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zutl {

namespace {

// Returns true for errors that writing in place would also hit, after truncating the old content. After any
// other error writing in place may work where a temporary file does not.
bool isGeneral(int error) {
    switch (error) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
    case EIO:
    case ENOMEM:
    case EMFILE:
    case ENFILE:
        return true;
    default:
        return false;
    }
}

// Falls back to O_PATH for a directory without read permission: files in it can still be replaced.
File openDirectory(const char* path) {
    File readable(path, O_RDONLY | O_DIRECTORY);
    if (readable.isOpen() || errno != EACCES)
        return readable;
    return File(path, O_PATH | O_DIRECTORY);
}

// A directory opened with O_PATH cannot be flushed itself, so the whole file system is.
bool flushDirectory(const Directory& directory, int file) {
    return flushToDisk(directory.get()) || (errno == EBADF && syncfs(file) == 0);
}

// The result of replacing the file through a temporary file.
struct Attempt {
    FileError error;
    bool refused = false; // try to write in place
};

// A file and its new content.
struct Job {
    const char* path; // of the directory
    const Directory& directory;
    const char* name;
    const String& text;
    Durability durability;
    const ReplaceCondition* condition;
};

FileError failure(const Job& job, int error) {
    return {error, job.name};
}

Attempt refusal(const Job& job, int error) {
    return {failure(job, error), !isGeneral(error)};
}

bool copyAttributesFromExisting(const Job& job, int descriptor, const struct stat& existing) {
    const String path = String(job.path) + "/" + job.name;
    return copyAttributes(descriptor, path.c_str(), existing);
}

// Returns 0, or an errno value.
int rename(const Job& job, TemporaryFile& temporary) {
    if (job.condition != nullptr)
        return job.condition->rename(temporary, job.directory.get(), job.name);
    return temporary.renameTo(job.name) ? 0 : errno;
}

// `existing` is null if there is no file yet. Then the kernel derives the final mode from the umask, or from
// the directory's default ACL, when it creates the temporary file. Otherwise the temporary file is private
// until it is complete.
Attempt throughTemporaryFile(const Job& job, const struct stat* existing) {
    TemporaryFile temporary(job.directory.get(), job.name, existing != nullptr ? S_IRUSR | S_IWUSR : 0666);
    if (!temporary.isOpen())
        return refusal(job, errno);
    if (existing != nullptr && !copyOwner(temporary.get(), temporary.status(), *existing))
        return refusal(job, errno);
    if (!writeAll(temporary.get(), job.text.data(), job.text.size()))
        return {failure(job, errno)};
    if (existing != nullptr && !copyAttributesFromExisting(job, temporary.get(), *existing))
        return refusal(job, errno);
    if (job.durability == Durability::flushed && !flushToDisk(temporary.get()))
        return {failure(job, errno)};
    if (const int error = rename(job, temporary))
        return error == ESTALE ? Attempt{failure(job, error)} : refusal(job, error);
    if (job.durability == Durability::flushed && !flushDirectory(job.directory, temporary.get()))
        return {{errno, job.path}};
    return {};
}

FileError inPlace(const Job& job) {
    if (job.condition != nullptr && !job.condition->holds(job.directory.get(), job.name))
        return failure(job, ESTALE);
    return failure(job, writeInPlace(job.directory.get(), job.name, job.text));
}

FileError replace(const Job& job, const struct stat* existing) {
    const Attempt attempt = throughTemporaryFile(job, existing);
    return attempt.refused ? inPlace(job) : attempt.error;
}

} // namespace

FileError replaceFile(const char* path, const char* name, const String& text, Durability durability,
                      const ReplaceCondition* condition) {
    Directory directory(openDirectory(path));
    if (!directory.isOpen())
        return {errno, path};
    clearLeftTemporaryFiles(directory, name);
    const Job job{path, directory, name, text, durability, condition};
    struct stat existing;
    if (fstatat(directory.get(), name, &existing, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? replace(job, nullptr) : failure(job, errno);
    if (!S_ISREG(existing.st_mode))
        return inPlace(job);
    if (faccessat(directory.get(), name, W_OK, AT_EACCESS) != 0)
        return failure(job, errno);
    return replace(job, &existing);
}

} // namespace zutl
