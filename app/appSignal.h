#pragma once
// Telling the application that its settings have changed.

#include "zutl_String.h"

// Signals the application whose "html" directory is the working directory and whose name stands in "pid.cgi".
// Sets the status to "stopped" when no process of the name runs, to "restarted" when the signal was sent, to
// "running" when it could not be; leaves it when the application cannot be identified.
void restartApp(zutl::String& status);
