// What the thermostat can be told, and how it reads that from the settings file.
#pragma once

#include "zutl_String.h"

struct DeviceSettings {
    zutl::String room = "Living room"; // 1 to 40 characters
    zutl::String mode = "heat";        // heat, cool, auto or off
    int targetTenths = 205;            // tenths of a degree Celsius, 50 to 300
    bool away = false;
    int brightness = 60; // percent, 0 to 100
    zutl::String note;   // 0 to 160 characters
};

// Gives the settings that the text of a settings file asks for. Each setting that the text lacks, or gives a
// value that the device cannot run with, stays as it is in `lastGood`.
DeviceSettings readSettings(const zutl::String& text, const DeviceSettings& lastGood);
