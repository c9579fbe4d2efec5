#pragma once

#include "auth/inheritance_hold.h"
#include "auth/kernel_handle.h"
#include "auth/secret.h"

#include <string>

namespace zelto {

// The two pipes of the token program: one for its standard input, one for its standard output and error. The
// hold comes first, so that it ends behind them: no other program of this library's starts while there are
// ends to inherit.
struct TokenPipes {
    InheritanceHold hold;
    KernelHandle inputRead; // the program's
    KernelHandle inputWrite;
    KernelHandle outputRead;
    KernelHandle outputWrite; // the program's
};

// False, after logging it, when a pipe cannot be created.
bool CreateTokenPipes(TokenPipes& pipes) noexcept;

// Runs the command line and returns what it wrote, when it has ended; nothing, after logging it, when it
// cannot be started. Whatever its exit code is, its output counts. Closes the pipes, and releases the hold as
// soon as the program has its ends of them. Throws std::bad_alloc, also then when the program has ended.
SecretBytes RunTokenProgram(std::wstring commandLine, TokenPipes& pipes);

} // namespace zelto
