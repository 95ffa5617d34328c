// A device to try the gateway with: a thermostat that takes over its settings at its start and at each
// SIGUSR1. Usage: thermostat [DIRECTORY]    the folder with its web page, by default the working directory

#include "deviceSettings.h"
#include "deviceState.h"
#include "zutl_String.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

// The gateway signals only an application whose name stands in the marker file.
constexpr const char* applicationName = "thermostat";
constexpr const char* markerFile = "pid.cgi";
constexpr const char* settingsFile = "settings_xml.txt";
constexpr const char* stateFile = "state.json";

// The signals this program lives by. They are blocked and waited for, so each is dealt with between two
// readings and never in the middle of one; a SIGUSR1 that comes during a reading stays pending and brings
// another reading.
sigset_t awaitedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}

DeviceSettings takeOver(const DeviceSettings& lastGood) {
    zutl::String text;
    if (!text.fromFile(settingsFile)) {
        return lastGood;
    }
    return readSettings(text, lastGood);
}

void publish(const DeviceSettings& settings, int revision) {
    if (!publishState(stateFile, settings, getpid(), revision)) {
        std::fprintf(stderr, "%s: cannot write %s\n", applicationName, stateFile);
    }
}

void run(const sigset_t& signals) {
    DeviceSettings settings = takeOver(DeviceSettings());
    int revision = 1;
    publish(settings, revision);

    for (;;) {
        const int signal = sigwaitinfo(&signals, nullptr);
        if (signal == SIGTERM || signal == SIGINT) {
            return;
        }
        if (signal == SIGUSR1) {
            settings = takeOver(settings);
            publish(settings, ++revision);
        }
    }
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc > 2 || (argc == 2 && chdir(argv[1]) != 0)) {
        std::fprintf(stderr, "Usage: %s [DIRECTORY]\n", applicationName);
        return EXIT_FAILURE;
    }

    // Blocked before the marker file invites the gateway to signal: an unblocked SIGUSR1 would end the
    // program.
    const sigset_t signals = awaitedSignals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    if (!zutl::String::fromFormat("%s\n", applicationName).toFile(markerFile)) {
        std::fprintf(stderr, "%s: cannot write %s\n", applicationName, markerFile);
        return EXIT_FAILURE;
    }

    run(signals);
    std::remove(markerFile);
    std::remove(stateFile);
    return EXIT_SUCCESS;
}
