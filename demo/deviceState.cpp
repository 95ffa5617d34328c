#include "deviceState.h"

#include <cstddef>
#include <cstdio>
#include <vector>

namespace {

unsigned byteAt(const zutl::String& text, std::size_t position) {
    return position < text.size() ? static_cast<unsigned char>(text[position]) : 0U;
}

// Length of the UTF-8 sequence at `position`, 0 when none stands there. Overlong forms, surrogates and values
// beyond U+10FFFF are no characters; the range of the second byte rules them out.
std::size_t sequenceLength(const zutl::String& text, std::size_t position) {
    const unsigned first = byteAt(text, position);
    if (first < 0x80) {
        return 1;
    }
    if (first < 0xC2 || first > 0xF4) {
        return 0;
    }
    const std::size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    const unsigned low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const unsigned high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    const unsigned second = byteAt(text, position + 1);
    if (second < low || second > high) {
        return 0;
    }
    for (std::size_t next = 2; next < length; ++next) {
        if ((byteAt(text, position + next) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    return length;
}

// A member of a JSON object; `value` is JSON already.
zutl::String member(const char* name, const zutl::String& value) {
    return jsonString(name) + ": " + value;
}

} // namespace

zutl::String jsonString(const zutl::String& text) {
    zutl::String json = "\"";
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t length = sequenceLength(text, position);
        const unsigned byte = byteAt(text, position);
        if (length == 0) {
            json += "\xEF\xBF\xBD";
        } else if (byte < 0x20) {
            json += zutl::String::fromFormat("\\u%04x", byte);
        } else {
            if (byte == '"' || byte == '\\') {
                json += '\\';
            }
            json.append(text, position, length);
        }
        position += length == 0 ? 1 : length;
    }
    json += '"';
    return json;
}

bool publishState(const zutl::String& path, const DeviceSettings& settings, int process, int revision) {
    const std::vector<zutl::String> members = {
        member("room", jsonString(settings.room)),
        member("mode", jsonString(settings.mode)),
        member("target",
               zutl::String::fromFormat("%d.%d", settings.targetTenths / 10, settings.targetTenths % 10)),
        member("away", settings.away ? "true" : "false"),
        member("brightness", zutl::String::fromInteger(settings.brightness)),
        member("note", jsonString(settings.note)),
    };
    const zutl::String json("{" + member("process", zutl::String::fromInteger(process)) + ", " +
                            member("revision", zutl::String::fromInteger(revision)) + ", " +
                            member("settings", "{" + zutl::String::join(members, ", ") + "}") + "}\n");

    // A page may fetch the file at any moment; the rename never shows it half a file.
    const zutl::String next(path + ".new");
    if (json.toFile(next.c_str()) && std::rename(next.c_str(), path.c_str()) == 0) {
        return true;
    }
    std::remove(next.c_str());
    return false;
}
