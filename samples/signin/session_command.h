#pragma once

#include "command_line.h"

// Signs in with the browser of the user at the console, as a service would, prints the result, and returns the exit code.
int RunSessionCommand(const Options* options);
