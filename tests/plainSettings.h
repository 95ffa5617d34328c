#pragma once
// Simple implementations of the settings file's rules, for comparison.

#include "zusl_Map.h"

#include <vector>

using PlainSettings = zusl::StringMap<zutl::String>;

inline std::string plainSettingsText(const PlainSettings& settings) {
    std::string text = "<Settings>\n";
    for (const auto& [name, value] : settings)
        text += "  <" + name + ">" + value + "</" + name + ">\n";
    return text + "</Settings>\n";
}

// Returns all maps whose names contain no "<", ">" or line feed and whose entries are written as this text.
// Maps with the shorter first value are first.
inline std::vector<PlainSettings> plainSettingsOf(const std::string& entries,
                                                  const std::string* previous = nullptr) {
    std::vector<PlainSettings> maps(entries.empty() ? 1 : 0);
    const size_t nameEnd = entries.find_first_of("<>\n", 3);
    if (entries.compare(0, 3, "  <") != 0 || nameEnd == entries.npos || entries[nameEnd] != '>')
        return maps;
    const std::string name = entries.substr(3, nameEnd - 3), close = "</" + name + ">\n";
    if (previous != nullptr && name <= *previous)
        return maps;
    for (size_t end = entries.find(close, nameEnd + 1); end != entries.npos;
         end = entries.find(close, end + 1))
        for (PlainSettings& map : plainSettingsOf(entries.substr(end + close.size()), &name)) {
            map.insert(name, entries.substr(nameEnd + 1, end - nameEnd - 1));
            maps.push_back(map);
        }
    return maps;
}
