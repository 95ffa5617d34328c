// Fuzzes the path of a form to the text of the settings file.

#include "fuzzing.h"
#include "plainSettings.h"
#include "settingsFile.h"
#include "zutl_ReplaceFile.h"

#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

static Text saved;

// Replaces the library's function, which writes the file.
zutl::FileError zutl::replaceFile(const char* /*directory*/, const char* /*name*/, const String& text,
                                  Durability /*durability*/, const ReplaceCondition* /*condition*/) {
    saved = text;
    return {};
}

static void check(const Text& form, const Settings& params) {
    std::map<Text, Text> fields;
    std::istringstream pieces(form);
    for (Text piece; std::getline(pieces, piece, '&');) {
        const size_t equals = piece.find('=');
        Text name = piece.substr(0, equals);
        for (char& byte : name)
            byte = byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + 'a' - 'A') : byte;
        if (!piece.empty()) // without "=" the piece is also the value
            fields.emplace(plainDecode(name, false), plainDecode(piece.substr(equals + 1), false));
    }
    require(fields == std::map<Text, Text>(params.begin(), params.end()));
    require(saveXML(params) && saved == plainSettingsText(params));
}

// The environment, because setenv leaks every value.
static char query[16384] = "QUERY_STRING=", length[32] = "CONTENT_LENGTH=";
static char* variables[] = {query, length, nullptr};

static void setVariable(char* variable, const Text& value) {
    std::strcpy(std::strchr(variable, '=') + 1, value.c_str());
}

void fuzz(FuzzedDataProvider& input) {
    environ = variables;
    static const int body = dup2(memfd_create("body", MFD_CLOEXEC), STDIN_FILENO);
    const int announced = input.ConsumeIntegral<std::int16_t>();
    const Text form = input.ConsumeRemainingBytesAsString();
    Settings params;
    setVariable(query, form);
    parseGet(params);
    check(form.c_str(), params);

    require(ftruncate(body, 0) == 0 && lseek(body, 0, SEEK_SET) == 0);
    require(pwrite(body, form.data(), form.size(), 0) == static_cast<ssize_t>(form.size()));
    setVariable(length, std::to_string(announced));
    parsePost(params);
    check(form.substr(0, static_cast<size_t>(std::max(0, announced))).c_str(), params);
}
