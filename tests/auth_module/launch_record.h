#pragma once

#include <string>
#include <vector>
#include <windows.h>

namespace zelto::test {

// What CreateProcessW was given.
struct LocalStart {
    bool hasApplication = false;
    std::wstring application;
    std::wstring commandLine;
    bool hasSecurity = false; // of process or thread
    BOOL inheritHandles = FALSE;
    DWORD flags = 0;
    bool hasEnvironment = false;
    bool hasDirectory = false;
    STARTUPINFOW startup = {};
};

// What CreateProcessInSessionEx was given.
struct SessionStart {
    DWORD session = 0;
    std::wstring application;
    std::wstring commandLine;
    int inheritHandles = 0;
    DWORD flags = 0;
    const wchar_t* directory = nullptr;
    bool hasProcessId = false;
    bool hasProcess = false;
};

} // namespace zelto::test
