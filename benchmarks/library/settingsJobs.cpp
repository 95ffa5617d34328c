// Reading a settings file of 30 fields and checking every value.

#include "jobs.h"

#include "zuap_Setting.h"
#include "zuap_SettingsFile.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr int fields = 30;

// The file, removed at the end.
class SettingsFile {
public:
    SettingsFile() {
        const int file = mkstemp(path.data());
        const std::string content = text();
        require(file >= 0 &&
                    write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
                "the settings file cannot be written");
        close(file);
    }
    SettingsFile(const SettingsFile&) = delete;
    SettingsFile& operator=(const SettingsFile&) = delete;
    ~SettingsFile() { unlink(path.data()); }

    std::array<char, 32> path{"/tmp/zu_settings.XXXXXX"};

private:
    // Ten numbers, ten texts, ten choices.
    static std::string text() {
        std::string entries = "<Settings>\n";
        for (int number = 10; number < 10 + fields; ++number) {
            const std::string name = "field" + std::to_string(number);
            const char* const values[] = {"21.5", "Living room", "auto"};
            entries += "  <" + name + ">" + values[number % 3] + "</" + name + ">\n";
        }
        return entries + "</Settings>\n";
    }
};

const std::vector<zuap::Setting>& description() {
    static const std::vector<zuap::Setting> settings = [] {
        std::vector<zuap::Setting> all;
        for (int number = 10; number < 10 + fields; ++number) {
            const std::string name = "field" + std::to_string(number);
            if (number % 3 == 0)
                all.push_back(zuap::Setting::number(name, "").range("5", "30").step("0.5"));
            else if (number % 3 == 1)
                all.push_back(zuap::Setting::text(name, "").length(1, 40));
            else
                all.push_back(zuap::Setting::choice(name, "").option("off", "").option("auto", ""));
        }
        return all;
    }();
    return settings;
}

int readWithLibrary(const char* path) {
    zuap::Values values;
    zuap::readSettings(path, values);
    int valid = 0;
    for (const zuap::Setting& setting : description())
        valid += setting.refusal(values[setting.name]).empty() ? 1 : 0;
    return valid;
}

// As an application's author would: one buffer, one line at a time, the values checked where they are.
bool isValidByHand(int number, const char* value, size_t length) {
    if (number % 3 == 0) {
        char* end = nullptr;
        const double degrees = std::strtod(value, &end);
        const double steps = (degrees - 5) / 0.5;
        return end == value + length && degrees >= 5 && degrees <= 30 && steps == static_cast<int>(steps);
    }
    if (number % 3 == 2)
        return std::strcmp(value, "off") == 0 || std::strcmp(value, "auto") == 0;
    size_t characters = 0;
    for (size_t position = 0; position < length; ++position) {
        if (static_cast<unsigned char>(value[position]) < 0x20)
            return false;
        characters += (static_cast<unsigned char>(value[position]) & 0xC0U) != 0x80U ? 1U : 0U;
    }
    return characters >= 1 && characters <= 40;
}

int readByHand(const char* path) {
    static std::array<char, 65536> text;
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    const ssize_t length = read(file, text.data(), text.size() - 1);
    close(file);
    if (length < 0)
        return 0;
    text[static_cast<size_t>(length)] = '\0';
    int valid = 0;
    for (char* line = text.data(); char* const end = std::strchr(line, '\n'); line = end + 1) {
        *end = '\0';
        char* const name = line + 3;
        char* const open = end - line > 3 ? std::strchr(name, '>') : nullptr;
        char* const close = open != nullptr ? std::strstr(open, "</") : nullptr;
        if (close == nullptr || std::strncmp(name, "field", 5) != 0)
            continue;
        *close = '\0';
        valid += isValidByHand(std::atoi(name + 5), open + 1, static_cast<size_t>(close - open - 1)) ? 1 : 0;
    }
    return valid;
}

} // namespace

void addSettingsJobs(Jobs& jobs) {
    static const SettingsFile file;
    require(readWithLibrary(file.path.data()) == fields, "ours refuses a value");
    require(readByHand(file.path.data()) == fields, "by hand refuses a value");
    jobs.push_back({settingsJob,
                    fields,
                    {{byHand, [] { keep(readByHand(file.path.data())); }, {}},
                     {ours, [] { keep(readWithLibrary(file.path.data())); }, {}}}});
}

} // namespace bench
