#include "console.h"

#include <windows.h>

#include <stdarg.h>

enum { kMaxText = 4000 };

static UINT formerCodePage;
static HANDLE cancelEvent;

void StartConsole(void) {
    formerCodePage = GetConsoleOutputCP();
    SetConsoleOutputCP(CP_UTF8);
}

void EndConsole(void) {
    if (formerCodePage != 0) {
        SetConsoleOutputCP(formerCodePage);
    }
}

static void PrintArguments(FILE* stream, const wchar_t* format, va_list arguments) {
    wchar_t text[kMaxText];
    const int length = vswprintf(text, kMaxText, format, arguments);
    if (length <= 0) {
        return;
    }
    char utf8[3 * kMaxText]; // one UTF-16 unit becomes three bytes at most
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text, length, utf8, sizeof utf8, NULL, NULL);
    fwrite(utf8, 1, (size_t)bytes, stream);
    fflush(stream);
}

void Print(FILE* stream, const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    PrintArguments(stream, format, arguments);
    va_end(arguments);
}

void PrintError(unsigned long error, const wchar_t* format, ...) {
    Print(stderr, L"ZeltoSignIn: ");
    va_list arguments;
    va_start(arguments, format);
    PrintArguments(stderr, format, arguments);
    va_end(arguments);
    if (error != 0) {
        wchar_t text[512] = L"";
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
                           FORMAT_MESSAGE_MAX_WIDTH_MASK,
                       NULL, error, 0, text, 512, NULL);
        Print(stderr, L": error %lu %ls", error, text);
    }
    Print(stderr, L"\n");
}

// Runs on a thread of its own that the system makes.
static BOOL WINAPI OnConsoleEvent(DWORD event) {
    (void)event;
    if (WaitForSingleObject(cancelEvent, 0) == WAIT_OBJECT_0) {
        return FALSE; // cancelled already, and still here: the default handler ends the program
    }
    return SetEvent(cancelEvent);
}

void* CancelEventForCtrlC(void) {
    // Manual-reset: whoever looks at it later sees that it was signalled.
    cancelEvent = CreateEventW(NULL, TRUE, FALSE, NULL);
    if (cancelEvent != NULL) {
        SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
    }
    return cancelEvent;
}
