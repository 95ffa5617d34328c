// A thermostat to try the gateway with. Usage: thermostat HTML-FOLDER

#include "zuap_Application.h"

#include <cstdio>
#include <exception>

using zuap::Setting;

static void describe(zuap::Application& device) {
    device.add(Setting::text("room", "Room name")
                   .length(1, 40)
                   .initially("Living room")
                   .help("Shown on the display."));
    device.add(Setting::choice("mode", "Mode")
                   .option("heat", "Heat")
                   .option("cool", "Cool")
                   .option("auto", "Automatic"));
    device.add(Setting::number("target", "Target temperature")
                   .range("5", "30")
                   .step("0.5")
                   .unit("°C")
                   .initially("20.5"));
    device.add(Setting::onOff("away", "Nobody is at home").help("Saves energy until you switch this off."));
    device.add(
        Setting::number("brightness", "Brightness").range("0", "100").step("1").unit("%").initially("60"));
    device.add(Setting::text("note", "Note").length(0, 160));
}

// Here, a real thermostat would pass the new settings to its control loop.
static void use(const zuap::Application& device) {
    std::printf("%s: %lld tenths of a degree%s\n", device.value("room").c_str(), device.scaled("target", 1),
                device.isOn("away") ? ", away" : "");
    for (const zuap::Refusal& refusal : device.refusals())
        std::printf("refused %s\n", refusal.reason.c_str());
    std::fflush(stdout);
}

int main(int argc, char* argv[]) {
    try {
        zuap::Application device(argc == 2 ? argv[1] : ".");
        describe(device);
        if (!device.start()) {
            std::fprintf(stderr, "thermostat: %s\n", device.error().c_str());
            return 1;
        }
        do
            use(device);
        while (device.wait() == zuap::Event::changed);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "thermostat: %s\n", error.what());
        return 1;
    }
}
