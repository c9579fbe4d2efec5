#pragma once

#include "command_line.h"

// Signs in for an IPsec tunnel in the default browser, prints the result, and returns the exit code.
int RunIpsecCommand(const Options* options);
