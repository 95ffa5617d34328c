#pragma once
// Diagnostics on standard error.

#include <string_view>

// Prints "saveSettings: SUBJECT: CAUSE" as a line on standard error, unless that is the response itself.
void report(std::string_view subject, std::string_view cause);

// As above, with the system's text for an errno value as the cause.
void report(std::string_view subject, int error);

// Returns true if standard error and standard output are the same file: some web servers send both as the
// response.
bool errorsReachResponse();
