#include "commandLine.h"

#include <cstdlib>
#include <string_view>

namespace {

constexpr const char* version = "saveSettings " PROGRAM_VERSION "\n";

constexpr const char* help = "Usage: saveSettings [--help | --version]\n"
                             "A CGI program to be started by a web server; see saveSettings(8).\n";

} // namespace

const char* commandLineAnswer(int count, const char* const* arguments) {
    if (count < 2 || std::getenv("REQUEST_METHOD") != nullptr)
        return nullptr;
    for (int number = 1; number < count; ++number) {
        const std::string_view argument(arguments[number]);
        if (argument == "--help")
            return help;
        if (argument == "--version")
            return version;
    }
    return nullptr;
}
