#include "siblingFile.h"

#include "directory.h"
#include "processTable.h"

#include <cstdlib>
#include <string_view>
#include <unistd.h>

SiblingFile::SiblingFile(const char* name) : siblingPath(name) {
    siblingPath += '.';
    siblingPath += zutl::String::fromInteger(getpid());
}

SiblingFile::~SiblingFile() {
    if (remove)
        unlink(path());
}

namespace {

// The process id in a sibling's name; 0 when the entry is no sibling of `name`.
pid_t siblingOwner(std::string_view entry, std::string_view name) {
    if (entry.size() <= name.size() + 1 || entry.substr(0, name.size()) != name || entry[name.size()] != '.')
        return 0;
    const std::string_view id = entry.substr(name.size() + 1);
    if (id.find_first_not_of("0123456789") != id.npos)
        return 0;
    return static_cast<pid_t>(std::strtol(id.data(), nullptr, 10)); // the entry's name ends with a zero byte
}

} // namespace

void clearLeftSiblings(const char* name) {
    Directory directory(".");
    if (!directory.isOpen())
        return;
    while (const char* const entry = directory.next()) {
        const pid_t owner = siblingOwner(entry, name);
        if (owner > 0 && !runsThisProgram(owner))
            unlink(entry);
    }
}
