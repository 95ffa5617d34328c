// Parsing a settings text of 30 fields and checking every value: 15 numbers and 15 choices.

#include "jobs.h"
#include "zuap_Setting.h"
#include "zuap_SettingsFile.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr int fields = 30;
std::string text = "<Settings>\n";
std::vector<zuap::Setting> settings;

void describe() {
    using zuap::Setting;
    for (int number = 10; number < 10 + fields; number += 2) {
        const std::string level = "level" + std::to_string(number);
        const std::string mode = "mode" + std::to_string(number);
        text += "  <" + level + ">21.5</" + level + ">\n  <" + mode + ">auto</" + mode + ">\n";
        settings.push_back(Setting::number(level, "").range("5", "30").step("0.5"));
        settings.push_back(Setting::choice(mode, "").option("off", "").option("auto", ""));
    }
    text += "</Settings>\n";
}

int checkWithLibrary() {
    zuap::Values found;
    require(zuap::parseSettings(text, found), "settings text");
    int valid = 0;
    for (const zuap::Setting& setting : settings)
        valid += setting.refusal(found[setting.name]).empty() ? 1 : 0;
    return valid;
}

// As an application's author would: one buffer, one line at a time, the values checked where they are.
bool isValidByHand(const char* name, const char* value) {
    if (std::strncmp(name, "mode", 4) == 0)
        return std::strcmp(value, "off") == 0 || std::strcmp(value, "auto") == 0;
    char* end = nullptr;
    const double level = std::strtod(value, &end);
    const double steps = (level - 5) / 0.5;
    return *end == '\0' && end != value && level >= 5 && level <= 30 && steps == static_cast<int>(steps);
}

int checkByHand() {
    static char buffer[65536];
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    int valid = 0;
    for (char* line = buffer; char* const end = std::strchr(line, '\n'); line = end + 1) {
        *end = '\0';
        char* const open = std::strncmp(line, "  <", 3) == 0 ? std::strchr(line + 3, '>') : nullptr;
        char* const close = open != nullptr ? std::strstr(open, "</") : nullptr;
        if (close == nullptr)
            continue;
        *close = '\0';
        valid += isValidByHand(line + 3, open + 1) ? 1 : 0;
    }
    return valid;
}

} // namespace

void addSettingsJobs(Contenders& all) {
    describe();
    require(checkWithLibrary() == fields && checkByHand() == fields, "settings: a value is refused");
    constexpr const char* name = "settings text of 30 fields, parsed and checked";
    all.push_back({name, byHand, [] { keep(checkByHand()); }});
    all.push_back({name, ours, [] { keep(checkWithLibrary()); }});
}
