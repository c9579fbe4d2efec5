#pragma once

#include "command_line.h"
#include "dialogs/prompt.h"

#include <string>

namespace authmodule {

// Asks the user what the request asks for. On Outcome::Answered, `answer` is what the library shall get.
Outcome AskUser(const Request& request, std::string& answer);

} // namespace authmodule
