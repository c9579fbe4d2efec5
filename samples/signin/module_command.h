#pragma once

#include "command_line.h"

// They sign in through the auth module, print the result, and return the exit code.

// By SAML in one of the module's windows; the gateway is the address that the sign-in starts at.
int RunElectronCommand(const Options* options);
int RunWebBrowserCommand(const Options* options);
int RunWebView2Command(const Options* options);

// User name and password, and a second-factor token. The gateway is what the user is told to sign in to.
int RunPasswordCommand(const Options* options);
int RunTokenCommand(const Options* options);
