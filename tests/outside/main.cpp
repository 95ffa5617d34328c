// Shadows a name and casts in C style, which only this project's own warnings forbid.
#include "zusl_Map.h"

#include <cstdio>

extern "C" int compareInC(void);

int main() {
    const zusl::StringMap<zutl::String> settings{{"host", "192.0.2.1"}};
    zusl::StringMap<zutl::String> restored;
    if (const char restored = (char)compareInC())
        return restored;
    std::puts(restored.fromXML(settings.toXML("Settings").c_str()) ? "pugixml" : "none");
    try {
        zutl::SmartArray<char>()[0];
    } catch (const zutl::Exception& error) {
        std::puts(error.what());
    }
}
