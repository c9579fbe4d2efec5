#pragma once

#include "prompt.h"

namespace authmodule {

// Shows the prompt until the user has answered or cancelled, or the time is up. Afterwards the fields hold
// what the user gave. Enter is OK, Escape is Cancel; nothing can be answered while a text is empty.
Outcome ShowPrompt(Prompt& prompt);

} // namespace authmodule
