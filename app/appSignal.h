#pragma once
// Signals the application that its settings have changed.

#include "zutl_String.h"

// Signals the application: the working directory must be its directory "html", and "pid.cgi" must contain its
// name. Sets the status to "stopped" if no process has that name, to "restarted" if the signal was sent, and
// to "running" if sending failed. Leaves the status alone if the application cannot be identified. The name
// is part of the published interface; nothing is restarted.
void restartApp(zutl::String& status);
