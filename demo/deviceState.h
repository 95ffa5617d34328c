// The small file in which the thermostat tells its web page what it runs with.
#pragma once

#include "deviceSettings.h"
#include "zutl_String.h"

// `text` as a JSON string with its quotes. Whatever bytes come in, valid JSON comes out: control characters
// are escaped, and each byte that is not part of valid UTF-8 becomes U+FFFD.
zutl::String jsonString(const zutl::String& text);

// Puts the settings into `path` as JSON. A reader sees the whole previous file or the whole new one.
//   process   id of this process; with it a reader notices a restart, after which `revision` begins anew
//   revision  how often settings have been taken over since the start; 1 for those of the start itself
// False when the file could not be written; the previous one then stays.
bool publishState(const zutl::String& path, const DeviceSettings& settings, int process, int revision);
