#pragma once
// The settings file "settings_xml.txt" in the working directory.

#include "cgiCommon.h"

// Replaces the settings file by these settings, nothing escaped. False when they could not be written; the
// file then holds what it held before. Throws std::bad_alloc when memory runs out, with the file untouched.
bool saveXML(const Settings& params);
