#pragma once
// The settings file in the working directory.

#include "cgiCommon.h"

constexpr const char* settingsFile = "settings_xml.txt";

// Returns the text of a settings file, nothing escaped. Throws std::bad_alloc.
zutl::String settingsText(const Settings& params);

// Replaces the settings file by these settings, nothing escaped, and flushes it to disk. On failure reports
// the cause and returns false. Throws std::bad_alloc, with the file unchanged.
[[nodiscard]] bool saveXML(const Settings& params);
