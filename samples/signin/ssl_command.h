#pragma once

#include "command_line.h"

// Signs in for an SSL-VPN tunnel in the default browser, prints the result, and returns the exit code.
int RunSslCommand(const Options* options);
