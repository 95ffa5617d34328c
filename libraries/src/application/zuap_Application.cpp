#include "zuap_Application.h"

#include "zuap_Decimal.h"
#include "zuap_Signals.h"
#include "zuap_State.h"
#include "zutl_Exception.h"
#include "zutl_ReplaceFile.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace zuap {

using zutl::String;

namespace {

constexpr const char* className = "zuap::Application";
constexpr const char* markerFile = "pid.cgi";
constexpr const char* settingsFile = "settings_xml.txt";

String systemError(const String& subject, int number) {
    return subject + ": " + std::strerror(number);
}

// Returns the name that the application's process must have: that of the directory above "html"; empty if the
// path does not end so.
String processName(const String& path) {
    const std::vector<String> parts = path.tokenize("/", "");
    if (parts.size() < 3 || parts.back() != "html")
        return String();
    return parts[parts.size() - 2];
}

} // namespace

struct Application::Implementation {
    String folder;
    State state;
    String error;
    std::optional<Signals> signals; // since start()
    bool isRunning = false;

    String path(const char* name) const { return folder + "/" + name; }
    bool fail(String reason);
    bool enterFolder();
    void takeValue(const Setting& setting, const Values& read);
    void read();
    void publish();
};

bool Application::Implementation::fail(String reason) {
    error = std::move(reason);
    return false;
}

// Makes the folder's path absolute, as the gateway sees it.
bool Application::Implementation::enterFolder() {
    char resolved[PATH_MAX];
    if (realpath(folder.c_str(), resolved) == nullptr)
        return fail(systemError(folder, errno));
    folder = resolved;
    if (processName(folder).empty())
        return fail(folder + ": the folder must be APPLICATION/html, at least three levels deep");
    return true;
}

void Application::Implementation::takeValue(const Setting& setting, const Values& read) {
    const auto entry = read.find(setting.name);
    if (entry == read.end()) {
        state.values[setting.name] = setting.initialValue;
        return;
    }
    String reason = setting.refusal(entry->second);
    if (reason.empty())
        state.values[setting.name] = entry->second;
    else
        state.refusals.push_back({setting.name, abbreviated(entry->second), std::move(reason)});
}

void Application::Implementation::read() {
    const String file = path(settingsFile);
    Values read;
    const Reading result = readSettings(file.c_str(), read);
    error.clear();
    if (result == Reading::failed)
        error = systemError(file, errno);
    else if (result == Reading::incomplete)
        error = file + ": not a whole settings file";
    if (!error.empty())
        return;
    state.refusals.clear();
    for (const Setting& setting : state.settings)
        takeValue(setting, read);
}

void Application::Implementation::publish() {
    ++state.revision;
    const zutl::FileError failure =
        zutl::replaceFile(folder.c_str(), stateFile, toJson(state), zutl::Durability::cached);
    if (failure.code != 0)
        error = systemError(path(stateFile), failure.code);
}

Application::Application(String folder) : self(std::make_unique<Implementation>()) {
    self->folder = std::move(folder);
}

Application::~Application() {
    if (!self->isRunning)
        return;
    unlink(self->path(markerFile).c_str());
    unlink(self->path(stateFile).c_str());
}

void Application::add(const Setting& setting) {
    String fault = setting.fault();
    if (fault.empty() && self->state.values.count(setting.name) > 0)
        fault = setting.name + ": the name is taken";
    if (!fault.empty())
        zutl::throwError(className, ("add() - " + fault).c_str());
    self->state.settings.push_back(setting);
    self->state.values.insert(setting.name, setting.initialValue);
}

bool Application::start() {
    if (self->isRunning)
        return self->fail("the application has been started");
    if (!self->enterFolder())
        return false;
    // Blocked before the marker exists: an unblocked SIGUSR1 would end the process.
    self->signals.emplace();
    if (!self->signals->isOpen())
        return self->fail(systemError("signalfd", errno));
    const String marker = self->path(markerFile);
    if (!String(processName(self->folder) + "\n").toFile(marker.c_str()))
        return self->fail(systemError(marker, errno));
    self->isRunning = true;
    self->read();
    self->publish();
    return true;
}

int Application::descriptor() const {
    return self->isRunning ? self->signals->get() : -1;
}

Event Application::next() {
    if (!self->isRunning) {
        self->fail("the application has not been started");
        return Event::failed;
    }
    const Signals::Pending pending = self->signals->take();
    if (pending.end)
        return Event::ended;
    if (!pending.change)
        return Event::none;
    self->read();
    self->publish();
    return Event::changed;
}

Event Application::wait() {
    for (;;) {
        const Event event = next();
        if (event != Event::none)
            return event;
        pollfd readable = {descriptor(), POLLIN, 0};
        if (poll(&readable, 1, -1) < 0 && errno != EINTR) {
            self->fail(systemError("poll", errno));
            return Event::failed;
        }
    }
}

const String& Application::value(const String& name) const {
    const auto entry = self->state.values.find(name);
    if (entry == self->state.values.end())
        zutl::throwError(className, "value() - no such setting");
    return entry->second;
}

bool Application::isOn(const String& name) const {
    return value(name) == "on";
}

long long Application::scaled(const String& name, unsigned int decimals) const {
    Decimal number = 0;
    parseDecimal(value(name), number);
    for (unsigned int place = decimals; place < decimalPlaces; ++place)
        number /= 10;
    return number;
}

const std::vector<Refusal>& Application::refusals() const {
    return self->state.refusals;
}

unsigned int Application::revision() const {
    return self->state.revision;
}

const String& Application::error() const {
    return self->error;
}

} // namespace zuap
