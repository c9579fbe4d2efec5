#pragma once

namespace authmodule {

// What the program ends with; the library hands it on to its caller. docs/auth-module.md lists them.
enum ExitCode : int {
    kExitAnswered = 0,
    kExitCancelled = 10,   // by the user: Cancel, Escape, or the window's close button
    kExitTimedOut = 11,    // nothing was answered within "--timeout"
    kExitCommandLine = 12, // the command line is not the library's
    kExitReceiver = 13,    // "--receiver" is no handle of a block that can be written to
    kExitAnswerLost = 14,  // the answer is too long for the block, or could not be encrypted
    kExitNoWindow = 15,    // the dialog could not be made
    kExitScript = 16,      // the test script cannot be read, or makes no sense
};

} // namespace authmodule
