#pragma once
// Makes untrusted text safe to print on a terminal.

#include <string>
#include <string_view>

// Returns `text` so that it cannot control a terminal: with C escapes for what is not harmless, for quotes
// and for backslashes.
std::string escaped(std::string_view text);
