// Keeps a file open against everybody else, as a program of its own: file_holder.exe PATH MILLISECONDS. It
// signals "zelto test file holder holds" when it has the file, and lets go of it when "zelto test file holder
// lets go" is signalled or so many milliseconds have passed.

#include <windows.h>

#include <shellapi.h>

#include <cwchar>

int main() {
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (arguments == nullptr || count != 3) {
        return 2;
    }
    const HANDLE file = CreateFileW(arguments[1], GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    const HANDLE holds = OpenEventW(EVENT_MODIFY_STATE, FALSE, L"zelto test file holder holds");
    const HANDLE letsGo = OpenEventW(SYNCHRONIZE, FALSE, L"zelto test file holder lets go");
    if (file == INVALID_HANDLE_VALUE || holds == nullptr || letsGo == nullptr) {
        return 1;
    }
    SetEvent(holds);
    WaitForSingleObject(letsGo, std::wcstoul(arguments[2], nullptr, 10));
    return 0; // the system closes the file
}
