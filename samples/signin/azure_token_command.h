#pragma once

#include "command_line.h"

// Fetches an Azure token through the installed client's token program, prints it, and returns the exit code.
int RunAzureTokenCommand(const Options* options);
