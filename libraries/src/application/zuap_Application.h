#pragma once
// The application's side of its settings: describes them, reads them, takes them over at each signal of the
// gateway, and publishes what is in use.

#include "zuap_Setting.h"
#include "zuap_SettingsFile.h"

#include <memory>
#include <vector>

namespace zuap {

// The kind of event that Application::next found.
enum class Event {
    none,    // nothing to do
    changed, // the settings file was read; the values in use may have changed
    ended,   // SIGTERM or SIGINT: the application is to end
    failed,  // error() has the reason
};

// An application with its settings. From start() until it is destroyed, the gateway can signal it, and the
// page and zusettings(1) find its state in "state.json".
//
// A value is taken if it is valid. Otherwise the last good one stays in use, and refusals() has the reason. A
// setting that is not in the settings file has its initial value.
//
// Not for use by several threads at a time.
class Application {
public:
    // `folder` is the directory of the application's web page: a directory named "html" inside one with the
    // name of the application's process.
    explicit Application(zutl::String folder);
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    // Removes "pid.cgi" and "state.json", if start() made them. The signals stay blocked.
    ~Application();

    // Adds a setting; the page shows settings in this order. Throws zutl::Exception "zuap::Application::add()
    // - " and the fault, with location, if the description has a fault or the name is taken. Requires that
    // start() was not called.
    void add(const Setting& setting);

    // Blocks SIGUSR1, SIGTERM and SIGINT, tells the gateway that the application runs, reads the settings,
    // and publishes the state. On failure returns false, and error() has the reason.
    //
    // Call it before starting threads: they must inherit the blocked signals. A program that the application
    // executes inherits them too.
    [[nodiscard]] bool start();

    // A descriptor that is readable while next() has something to do, for poll, epoll or an event loop. It
    // belongs to the object. -1 before start().
    int descriptor() const;

    // Takes over changed settings if the gateway has signalled, without waiting. However many signals have
    // come, they are one event, and the last state of the settings file is never missed. Fails before
    // start().
    Event next();

    // Waits until there is an event other than `none` and returns it. `while (application.wait() ==
    // Event::changed)` is a whole main loop.
    Event wait();

    // Returns the value in use. Throws zutl::Exception "zuap::Application::value() - no such setting", with
    // location.
    const zutl::String& value(const zutl::String& name) const;

    // Returns true if the value in use is "on". Throws as value() does.
    bool isOn(const zutl::String& name) const;

    // Returns the value in use as a count of 10^-decimals, rounded towards zero: with 1 decimal 20.5 is 205.
    // 0 if the setting is no number. Throws as value() does. Requires at most 7 decimals.
    long long scaled(const zutl::String& name, unsigned int decimals) const;

    // Returns the values that were refused when the settings file was last read.
    const std::vector<Refusal>& refusals() const;

    // Returns the number of readings since start().
    unsigned int revision() const;

    // Returns why start() or next() failed, or why the settings file could not be read or the state not be
    // published, which is no failure; empty if all is well.
    const zutl::String& error() const;

private:
    struct Implementation;
    std::unique_ptr<Implementation> self;
};

} // namespace zuap
