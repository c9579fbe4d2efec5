// AzureToken2.exe, as a sample: plays the client's token program. It writes what the real one would: a text,
// a "|", and the token, which here is made up of its arguments.

#include <windows.h>

#include <shellapi.h>

#include <stdio.h>
#include <wchar.h>

enum { kMaxToken = 8192 };

static int WriteToken(const wchar_t* clientId, const wchar_t* tenantName) {
    wchar_t text[kMaxToken];
    const int length =
        swprintf(text, kMaxToken, L"signed in at %ls|sample-token.%ls.%ls", tenantName, clientId, tenantName);
    if (length <= 0) {
        return 1;
    }
    char utf8[3 * kMaxToken]; // one UTF-16 unit becomes three bytes at most
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text, length, utf8, sizeof utf8, NULL, NULL);
    return fwrite(utf8, 1, (size_t)bytes, stdout) == (size_t)bytes ? 0 : 1;
}

// The command line is read wide whatever the toolchain's idea of main() is.
int main(void) {
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    int exitCode = 2;
    if (arguments != NULL && count == 4 && wcscmp(arguments[3], L"--from-ploxe") == 0) {
        exitCode = WriteToken(arguments[1], arguments[2]);
    } else {
        fputs("usage: AzureToken2.exe CLIENT-ID TENANT --from-ploxe\n", stderr);
    }
    LocalFree(arguments);
    return exitCode;
}
