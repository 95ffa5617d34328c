#include "settingsFolder.h"

#include "appSignal.h"
#include "escaped.h"
#include "report.h"
#include "settingsFile.h"
#include "zutl_File.h"
#include "zutl_FileVersion.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

// The gateway's code reports through these. Its own ones are not linked: they would keep silent on a
// terminal, where standard error and standard output are the same file.

void report(std::string_view subject, std::string_view cause) {
    settings::complain(subject, cause);
}

void report(std::string_view subject, int error) {
    report(subject, std::strerror(error));
}

bool errorsReachResponse() {
    return false;
}

namespace settings {

void complain(std::string_view subject, std::string_view cause) {
    std::fprintf(stderr, "zusettings: %s: %s\n", escaped(subject).c_str(), escaped(cause).c_str());
}

namespace {

bool fail(std::string_view subject, int error) {
    report(subject, error);
    return false;
}

// Returns true if the text of the settings file is read back as these values.
bool canBeStored(const zuap::Values& values, const zutl::String& text) {
    zuap::Values stored;
    return zuap::parseSettings(text, stored) && stored == values;
}

// A file that root has created would not be replaceable for the gateway: gives it to the user of the
// application, or if that has not run yet to the owner of the directory. Whoever may write to the directory
// may put another file in its place, so checks what it gives away.
bool giveToUserOfFolder() {
    if (geteuid() != 0)
        return true;
    struct stat user;
    if (lstat("pid.cgi", &user) != 0 && stat(".", &user) != 0)
        return false;
    const zutl::File file(settingsFile, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    struct stat made;
    if (!file.isOpen() || fstat(file.get(), &made) != 0)
        return false;
    const bool isOurs = S_ISREG(made.st_mode) && made.st_nlink == 1 && made.st_uid == 0;
    return !isOurs || fchown(file.get(), user.st_uid, user.st_gid) == 0;
}

enum class Outcome { done, failed, overtaken };

Outcome tryToModify(int folder, const std::function<bool(zuap::Values&)>& change) {
    const zutl::FileVersion version(folder, settingsFile);
    if (version.error() != 0) {
        report(settingsFile, version.error());
        return Outcome::failed;
    }
    zuap::Values values;
    if (!read(values) || !change(values))
        return Outcome::failed;
    const zutl::String text = settingsText(values);
    if (!canBeStored(values, text)) {
        complain(settingsFile, "these names and values would be ambiguous in it");
        return Outcome::failed;
    }
    const zutl::FileError error =
        zutl::replaceFile(".", settingsFile, text, zutl::Durability::flushed, &version);
    if (error.code == ESTALE)
        return Outcome::overtaken;
    if (error.code != 0)
        report(error.file, error.code);
    else if (!version.exists() && !giveToUserOfFolder())
        report(settingsFile, errno);
    return error.code == 0 ? Outcome::done : Outcome::failed;
}

} // namespace

bool read(zuap::Values& values) {
    switch (zuap::readSettings(settingsFile, values)) {
    case zuap::Reading::complete:
    case zuap::Reading::missing:
        return true;
    case zuap::Reading::incomplete:
        complain(settingsFile, "is not a whole settings file");
        return false;
    case zuap::Reading::failed:
        break;
    }
    return fail(settingsFile, errno);
}

bool modify(const std::function<bool(zuap::Values&)>& change) {
    // One zusettings at a time: several could overtake each other for ever.
    const zutl::File folder(".", O_RDONLY | O_DIRECTORY);
    int locked;
    do
        locked = flock(folder.get(), LOCK_EX);
    while (locked != 0 && errno == EINTR);
    if (locked != 0)
        return fail(".", errno);
    constexpr int mostAttempts = 100;
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        const Outcome outcome = tryToModify(folder.get(), change);
        if (outcome != Outcome::overtaken)
            return outcome == Outcome::done;
    }
    complain(settingsFile, "is replaced again and again");
    return false;
}

zutl::String apply() {
    zutl::String status("false");
    try {
        restartApp(status);
    } catch (const std::exception& error) {
        complain("signal", error.what());
    }
    return status;
}

} // namespace settings
