#pragma once

#include "command_line.h"
#include "receiver_block.h"

#include <optional>
#include <string>

namespace authmodule {

// The file that the environment variable ZELTO_AUTH_MODULE_SCRIPT names; none when it is not set.
std::optional<std::wstring> ScriptPath();

// Does what the script says; returns the exit code.
int RunScript(const std::wstring& path, const Request& request, ReceiverBlock& block);

} // namespace authmodule
