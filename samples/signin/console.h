#pragma once

#include <stdio.h>
#include <wchar.h>

// What went well, and what went wrong, as the program's exit code.
enum {
    kExitSignedIn = 0,    // signed in, or done (or help shown, when it was asked for)
    kExitNotSignedIn = 1, // the library was called and answered with a failure
    kExitNotTried = 2,    // the library was not called: wrong command line, or the library cannot be loaded
};

// Has the console show UTF-8, and gives it its former code page back. (It keeps its code page when the
// program has ended.)
void StartConsole(void);
void EndConsole(void);

// Writes wide printf-style text as UTF-8 and flushes, so that whoever reads through a pipe sees each line at
// once. Longer texts than 4,000 characters are not written.
void Print(FILE* stream, const wchar_t* format, ...);

// Writes "ZeltoSignIn: ", the text and, unless error is 0, the system's text for this last-error value to
// stderr.
void PrintError(unsigned long error, const wchar_t* format, ...);

// Makes an event that Ctrl+C, Ctrl+Break and closing the console window signal. A second Ctrl+C ends the
// program, unless the event has been reset. Returns the event (a HANDLE that lives as long as the program), or null.
void* CancelEventForCtrlC(void);
