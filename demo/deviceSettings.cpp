#include "deviceSettings.h"

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <string>

namespace {

// The settings file escapes nothing, so a value may hold "<", "&" and even its own closing tag. What can be
// relied on is the line: it begins with the opening tag and ends with the closing one, and everything between
// is the value.
std::optional<zutl::String> findValue(const zutl::String& text, const std::string& key) {
    const std::string opening = "  <" + key + ">";
    const std::string closing = "</" + key + ">";

    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t lineFeed = text.find('\n', begin);
        const std::size_t end = lineFeed == std::string::npos ? text.size() : lineFeed;
        const std::size_t length = end - begin;
        if (length >= opening.size() + closing.size() && text.compare(begin, opening.size(), opening) == 0 &&
            text.compare(end - closing.size(), closing.size(), closing) == 0) {
            return zutl::String(
                text.substr(begin + opening.size(), length - opening.size() - closing.size()));
        }
        begin = end + 1;
    }
    return std::nullopt;
}

// Characters of UTF-8 text: every byte but the continuation bytes begins one.
std::size_t countCharacters(const zutl::String& text) {
    std::size_t count = 0;
    for (const char byte : text) {
        if ((static_cast<unsigned char>(byte) & 0xC0U) != 0x80U) {
            ++count;
        }
    }
    return count;
}

// The display has no glyphs for control characters.
bool hasControlCharacter(const zutl::String& text) {
    for (const char byte : text) {
        const auto value = static_cast<unsigned char>(byte);
        if (value < 0x20 || value == 0x7F) {
            return true;
        }
    }
    return false;
}

void takeText(const std::optional<zutl::String>& value, std::size_t least, std::size_t most,
              zutl::String& setting) {
    if (!value || hasControlCharacter(*value)) {
        return;
    }
    const std::size_t characters = countCharacters(*value);
    if (characters >= least && characters <= most) {
        setting = *value;
    }
}

// `scale` is the number of steps that one unit of the setting has: 10 keeps tenths.
void takeNumber(const std::optional<zutl::String>& value, int scale, int least, int most, int& setting) {
    bool isInteger = false;
    if (!value || !value->isNumeric(isInteger) || value->find_first_of("0123456789") == std::string::npos) {
        return;
    }
    const double steps = std::round(std::strtod(value->c_str(), nullptr) * scale);
    if (steps >= least && steps <= most) {
        setting = static_cast<int>(steps);
    }
}

void takeMode(const std::optional<zutl::String>& value, zutl::String& setting) {
    if (value && (*value == "heat" || *value == "cool" || *value == "auto" || *value == "off")) {
        setting = *value;
    }
}

// "on" is what a browser sends by itself for a ticked box.
void takeSwitch(const std::optional<zutl::String>& value, bool& setting) {
    if (value && (*value == "0" || *value == "1" || *value == "on" || *value == "off")) {
        setting = value->toBool();
    }
}

} // namespace

DeviceSettings readSettings(const zutl::String& text, const DeviceSettings& lastGood) {
    DeviceSettings settings = lastGood;
    takeText(findValue(text, "room"), 1, 40, settings.room);
    takeMode(findValue(text, "mode"), settings.mode);
    takeNumber(findValue(text, "target"), 10, 50, 300, settings.targetTenths);
    takeSwitch(findValue(text, "away"), settings.away);
    takeNumber(findValue(text, "brightness"), 1, 0, 100, settings.brightness);
    takeText(findValue(text, "note"), 0, 160, settings.note);
    return settings;
}
