// The token program's double. ZELTO_TOKEN_DOUBLE names what it does, ZELTO_TOKEN_TEXT is the text that it
// writes then, and into the folder ZELTO_TOKEN_RECORD it writes how it was started:
//
//   command_line   as it stands, in UTF-16
//   folder         its current folder, in UTF-16
//   handles        for each of the pipe ends in ZELTO_TOKEN_PIPES (input read, input write, output read,
//                  output write; decimal) "1" when the handle is a pipe here, else "0"; then "1" or "0" for
//                  each of standard input, output and error being what it is to be
//
// It signals each event handle in ZELTO_TOKEN_EVENTS.

#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <string>

namespace {

constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz";
constexpr std::size_t kLargeToken = 10u << 20; // bytes

std::wstring Variable(const wchar_t* name) {
    std::wstring value(32767, L'\0');
    value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
    return value;
}

std::string Text() {
    const std::wstring wide = Variable(L"ZELTO_TOKEN_TEXT");
    std::string text(3 * wide.size(), '\0');
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), text.data(),
                                          static_cast<int>(text.size()), nullptr, nullptr);
    text.resize(static_cast<std::size_t>(bytes));
    return text;
}

void Write(DWORD stream, const std::string& bytes) {
    DWORD written = 0;
    WriteFile(GetStdHandle(stream), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

// The numbers in a variable, as handles; at most four.
std::size_t Handles(const wchar_t* name, HANDLE (&handles)[4]) {
    const std::wstring numbers = Variable(name);
    std::size_t count = 0;
    const wchar_t* at = numbers.c_str();
    while (*at != L'\0' && count < 4) {
        wchar_t* end = nullptr;
        handles[count++] = reinterpret_cast<HANDLE>(std::wcstoull(at, &end, 10));
        at = end;
    }
    return count;
}

std::string HandleRecord() {
    HANDLE pipes[4] = {};
    std::string record;
    const std::size_t count = Handles(L"ZELTO_TOKEN_PIPES", pipes);
    for (std::size_t i = 0; i < count; ++i) {
        record += GetFileType(pipes[i]) == FILE_TYPE_PIPE ? '1' : '0';
    }
    record += GetStdHandle(STD_INPUT_HANDLE) == pipes[0] ? '1' : '0';
    record += GetStdHandle(STD_OUTPUT_HANDLE) == pipes[3] ? '1' : '0';
    record += GetStdHandle(STD_ERROR_HANDLE) == pipes[3] ? '1' : '0';
    return record;
}

void WriteRecord(const std::wstring& folder, const wchar_t* name, const void* bytes, std::size_t size) {
    std::FILE* const file = _wfopen((folder + L"\\" + name).c_str(), L"wb");
    if (file != nullptr) {
        std::fwrite(bytes, 1, size, file);
        std::fclose(file);
    }
}

void RecordStart() {
    const std::string handles = HandleRecord(); // before there are handles of its own
    const std::wstring folder = Variable(L"ZELTO_TOKEN_RECORD");
    const std::wstring commandLine = GetCommandLineW();
    wchar_t current[MAX_PATH] = {};
    const DWORD length = GetCurrentDirectoryW(MAX_PATH, current);
    WriteRecord(folder, L"command_line", commandLine.data(), commandLine.size() * sizeof(wchar_t));
    WriteRecord(folder, L"folder", current, length * sizeof(wchar_t));
    WriteRecord(folder, L"handles", handles.data(), handles.size());

    HANDLE events[4] = {};
    const std::size_t count = Handles(L"ZELTO_TOKEN_EVENTS", events);
    for (std::size_t i = 0; i < count; ++i) {
        SetEvent(events[i]);
    }
}

void WriteLarge() {
    std::string token = "x|";
    while (token.size() < kLargeToken + 2) {
        token += kLetters[(token.size() - 2) % 26];
    }
    Write(STD_OUTPUT_HANDLE, token);
}

void Dribble() {
    for (const char byte : Text()) {
        Write(STD_OUTPUT_HANDLE, std::string(1, byte));
        Sleep(20); // slow on purpose
    }
}

// Reads its input to the end and tells how that went.
void ReadInput() {
    char byte = 0;
    DWORD read = 0;
    int count = 0;
    while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), &byte, 1, &read, nullptr) && read == 1) {
        ++count;
    }
    Write(STD_OUTPUT_HANDLE, "read " + std::to_string(count) + "|done");
}

// Closes its output, tells so, and lives until it is told to end.
void LiveOn() {
    Write(STD_OUTPUT_HANDLE, Text());
    CloseHandle(GetStdHandle(STD_OUTPUT_HANDLE)); // standard error is the same handle
    const HANDLE closed = OpenEventW(EVENT_MODIFY_STATE, FALSE, L"zelto test token double closed");
    const HANDLE end = OpenEventW(SYNCHRONIZE, FALSE, L"zelto test token double end");
    SetEvent(closed);
    WaitForSingleObject(end, 60'000);
}

// Ends the process with the exception's code, as the system does without a debugger. (Wine's would write what
// it finds to our standard output.)
LONG WINAPI EndQuietly(EXCEPTION_POINTERS*) {
    return EXCEPTION_EXECUTE_HANDLER;
}

void Crash() {
    Write(STD_OUTPUT_HANDLE, Text());
    SetUnhandledExceptionFilter(EndQuietly);
    *static_cast<volatile int*>(nullptr) = 0;
}

int Behave(const std::wstring& behaviour, const char* clientId) {
    if (behaviour == L"write") {
        Write(STD_OUTPUT_HANDLE, Text());
    } else if (behaviour == L"echo") {
        Write(STD_OUTPUT_HANDLE, std::string("x|") + clientId);
    } else if (behaviour == L"error") {
        Write(STD_ERROR_HANDLE, Text());
    } else if (behaviour == L"both") {
        Write(STD_OUTPUT_HANDLE, "out");
        Write(STD_ERROR_HANDLE, "|err");
        Write(STD_OUTPUT_HANDLE, "out");
    } else if (behaviour == L"large") {
        WriteLarge();
    } else if (behaviour == L"zeros") {
        Write(STD_OUTPUT_HANDLE, std::string("a\0b|x\0y", 7));
    } else if (behaviour == L"dribble") {
        Dribble();
    } else if (behaviour == L"read") {
        ReadInput();
    } else if (behaviour == L"live on") {
        LiveOn();
    } else if (behaviour == L"crash") {
        Crash();
    } else if (behaviour == L"fail") {
        Write(STD_OUTPUT_HANDLE, Text());
        return 7;
    } else {
        return 99;
    }
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    RecordStart();
    return Behave(Variable(L"ZELTO_TOKEN_DOUBLE"), count > 1 ? arguments[1] : "");
}
