#pragma once
// The description of the settings in an application's "state.json".

#include "zuap_Setting.h"

#include <vector>

namespace settings {

// Reads the description in the working directory. Returns an empty text, or what is wrong with the file.
// Without a file `described` is false.
zutl::String readDescription(std::vector<zuap::Setting>& description, bool& described);

} // namespace settings
