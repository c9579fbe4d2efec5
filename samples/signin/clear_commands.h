#pragma once

#include "command_line.h"

// Deletes all cookies of the user, and says whether all went. Returns the exit code.
int RunClearCookiesCommand(const Options* options);

// Deletes the cookies and the embedded browser's folder, which takes some 15 seconds. Returns the exit code.
int RunClearBrowserDataCommand(const Options* options);
