#pragma once

#include "auth/kernel_handle.h"
#include "auth/secret.h"

#include <string>

namespace zelto {

// The two pipes of the token program: one for its standard input, one for its standard output and error.
struct TokenPipes {
    KernelHandle inputRead; // the program's
    KernelHandle inputWrite;
    KernelHandle outputRead;
    KernelHandle outputWrite; // the program's
};

// False, after logging it, when a pipe cannot be created.
bool CreateTokenPipes(TokenPipes& pipes) noexcept;

// Runs the command line and returns what it wrote, when it has ended; nothing, after logging it, when it
// cannot be started. Whatever its exit code is, its output counts. Closes the pipes. Throws std::bad_alloc.
SecretBytes RunTokenProgram(std::wstring commandLine, TokenPipes& pipes);

} // namespace zelto
