#include "zutl_FileAttributes.h"

#include <cerrno>
#include <string_view>
#include <sys/xattr.h>
#include <unistd.h>

namespace zutl {

namespace {

constexpr const char* accessList = "system.posix_acl_access";

// Attributes that the kernel derives from the content, so the old ones would be wrong.
bool belongsToContent(std::string_view name) {
    return name == "security.capability" || name == "security.ima" || name == "security.evm";
}

bool hasNoAttributes(int error) {
    return error == EOPNOTSUPP || error == ENOSYS;
}

// Calls read(buffer, size) for the size, then for the bytes: a list of names, or a value. The kernel limits
// either to 64 KB. Returns false, with errno set, on an error.
template <typename Read>
bool readAttribute(String& to, Read read) {
    to.clear();
    const ssize_t size = read(nullptr, 0);
    if (size <= 0)
        return size == 0;
    to.resize(static_cast<size_t>(size));
    const ssize_t length = read(to.data(), to.size());
    if (length < 0)
        return false;
    to.resize(static_cast<size_t>(length));
    return true;
}

bool copyAttribute(int descriptor, const char* existingPath, const char* name) {
    String value;
    if (!readAttribute(value, [&](char* to, size_t size) { return lgetxattr(existingPath, name, to, size); }))
        return false;
    // We may lack the permission to set an attribute that the new file already has, such as a security label.
    String present;
    if (readAttribute(present,
                      [&](char* to, size_t size) { return fgetxattr(descriptor, name, to, size); }) &&
        present == value)
        return true;
    return fsetxattr(descriptor, name, value.data(), value.size(), 0) == 0;
}

bool contains(const String& names, std::string_view wanted) {
    for (size_t at = 0; at < names.size();) {
        const std::string_view name(names.c_str() + at);
        if (name == wanted)
            return true;
        at += name.size() + 1;
    }
    return false;
}

bool copyExtendedAttributes(int descriptor, const char* existingPath) {
    String names;
    if (!readAttribute(names, [&](char* to, size_t size) { return llistxattr(existingPath, to, size); }))
        return hasNoAttributes(errno);
    // The new file may have got a default ACL from its directory that the existing file lacks.
    if (!contains(names, accessList) && fremovexattr(descriptor, accessList) != 0 && errno != ENODATA &&
        !hasNoAttributes(errno))
        return false;
    for (size_t at = 0; at < names.size();) {
        const char* const name = names.c_str() + at;
        const std::string_view text(name);
        at += text.size() + 1;
        if (!belongsToContent(text) && !copyAttribute(descriptor, existingPath, name))
            return false;
    }
    return true;
}

} // namespace

bool copyOwner(int descriptor, const struct stat& created, const struct stat& existing) {
    return (created.st_uid == existing.st_uid && created.st_gid == existing.st_gid) ||
           fchown(descriptor, existing.st_uid, existing.st_gid) == 0;
}

bool copyAttributes(int descriptor, const char* existingPath, const struct stat& existing) {
    return copyExtendedAttributes(descriptor, existingPath) &&
           fchmod(descriptor, existing.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO)) == 0;
}

} // namespace zutl
