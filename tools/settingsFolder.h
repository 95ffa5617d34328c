#pragma once
// An application's "html" folder, which is the working directory: its settings file, and what its application
// publishes.

#include "zuap_Setting.h"
#include "zuap_SettingsFile.h"

#include <functional>
#include <string_view>
#include <vector>

namespace settings {

// Prints "zusettings: SUBJECT: CAUSE" on standard error.
void complain(std::string_view subject, std::string_view cause);

// Each of these complains and returns false on failure.

// Reads the settings file. A file that does not exist has no settings.
[[nodiscard]] bool read(zuap::Values& values);

// Changes the settings file atomically and durably: reads it, lets `change` alter the values, and replaces
// it. If another program replaces it in the meantime, such as for a posted form, begins anew with its
// content. `change` returns false to give up, with the file unchanged.
[[nodiscard]] bool modify(const std::function<bool(zuap::Values&)>& change);

// Signals the application. Returns the status word; does not throw.
zutl::String apply();

} // namespace settings
