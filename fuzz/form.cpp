// Fuzzes a form on its way to the text of the settings file.

#include "fuzzing.h"
#include "settingsFile.h"
#include "wholeFile.h"

#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

static Text saved;

// In place of the one that writes the file.
bool replaceFile(const char* /*name*/, const zutl::String& text) {
    saved = text;
    return true;
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
    Text text = "<Settings>\n";
    for (const auto& [name, value] : fields)
        text += "  <" + name + ">" + value + "</" + name + ">\n";
    require(saveXML(params) && saved == text + "</Settings>\n");
    require(fields == std::map<Text, Text>(params.begin(), params.end()));
}

void fuzz(FuzzedDataProvider& input) {
    static const int body = dup2(memfd_create("body", MFD_CLOEXEC), STDIN_FILENO);
    const int announced = input.ConsumeIntegral<std::int16_t>();
    const Text form = input.ConsumeRemainingBytesAsString();
    Settings params;
    setenv("QUERY_STRING", form.c_str(), 1);
    parseGet(params);
    check(form.c_str(), params);

    require(ftruncate(body, 0) == 0 && lseek(body, 0, SEEK_SET) == 0);
    require(pwrite(body, form.data(), form.size(), 0) == static_cast<ssize_t>(form.size()));
    setenv("CONTENT_LENGTH", std::to_string(announced).c_str(), 1);
    parsePost(params);
    check(form.substr(0, static_cast<size_t>(std::max(0, announced))).c_str(), params);
}
