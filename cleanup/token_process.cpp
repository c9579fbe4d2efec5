#include "cleanup/token_process.h"

#include "trace/trace.h"

#include <new>
#include <windows.h>

namespace zelto {
namespace {

constexpr DWORD kChunk = 2048; // bytes per read

bool CreateInheritablePipe(KernelHandle& read, KernelHandle& write) noexcept {
    SECURITY_ATTRIBUTES attributes = {};
    attributes.nLength = sizeof(attributes);
    attributes.bInheritHandle = TRUE;
    static_assert(sizeof(attributes) == 24);

    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &attributes, 0)) {
        const DWORD error = GetLastError();
        TRACE_DEBUG("Failed to create pipe. Error: %d\n", error);
        return false;
    }
    read.reset(readEnd);
    write.reset(writeEnd);
    return true;
}

// A program that held our end of its own input would never see that end, and one that held our end of its
// output would never notice that nobody reads on.
void KeepFromProgram(const KernelHandle& end) noexcept {
    SetHandleInformation(end.get(), HANDLE_FLAG_INHERIT, 0);
}

// Closed from the last to the first.
struct TokenProcess {
    KernelHandle thread;
    KernelHandle process; // empty: not started
};

TokenProcess StartTokenProgram(std::wstring& commandLine, const TokenPipes& pipes) noexcept {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    static_assert(sizeof(startup) == 104);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = pipes.inputRead.get();
    startup.hStdOutput = pipes.outputWrite.get();
    startup.hStdError = pipes.outputWrite.get();

    PROCESS_INFORMATION started = {};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                        &started)) {
        const DWORD error = GetLastError();
        TRACE_DEBUG("Failed to create child process. Error: %d\n", error);
        return {};
    }
    return {KernelHandle(started.hThread), KernelHandle(started.hProcess)};
}

// How many bytes could be read; 0 when the other side has closed its end.
DWORD ReadChunk(HANDLE pipe, void* bytes) noexcept {
    DWORD read = 0;
    return ReadFile(pipe, bytes, kChunk, &read, nullptr) ? read : 0;
}

// Reads until the other side has closed its end, straight into storage that is wiped.
void ReadToEnd(HANDLE pipe, SecretBytes& output) {
    for (;;) {
        const std::size_t before = output.size();
        output.resize(before + kChunk);
        const DWORD read = ReadChunk(pipe, output.data() + before);
        output.resize(before + read);
        if (read == 0) {
            return;
        }
    }
}

// The same without keeping anything.
void Drain(HANDLE pipe) noexcept {
    unsigned char bytes[kChunk];
    while (ReadChunk(pipe, bytes) != 0) {
    }
    Wipe(bytes, sizeof(bytes));
}

// False when there was not enough memory. The rest has then been read all the same: a program that nobody
// listens to might never end.
bool ReadOrDrain(HANDLE pipe, SecretBytes& output) noexcept {
    try {
        ReadToEnd(pipe, output);
        return true;
    } catch (const std::bad_alloc&) {
        Drain(pipe);
        return false;
    }
}

// The exit code is nobody's business: the output alone decides.
void WaitForEnd(HANDLE process) noexcept {
    WaitForSingleObject(process, INFINITE);
    DWORD exitCode = 0;
    if (!GetExitCodeProcess(process, &exitCode)) {
        const DWORD error = GetLastError();
        TRACE_DEBUG("Failed to get exit code. Error: %d\n", error);
    }
}

} // namespace

bool CreateTokenPipes(TokenPipes& pipes) noexcept {
    if (!CreateInheritablePipe(pipes.inputRead, pipes.inputWrite) ||
        !CreateInheritablePipe(pipes.outputRead, pipes.outputWrite)) {
        return false;
    }
    KeepFromProgram(pipes.inputWrite);
    KeepFromProgram(pipes.outputRead);
    return true;
}

SecretBytes RunTokenProgram(std::wstring commandLine, TokenPipes& pipes) {
    const TokenProcess program = StartTokenProgram(commandLine, pipes);
    if (!program.process) {
        return {};
    }
    pipes.inputRead.reset();
    pipes.inputWrite.reset();  // the program reads the end of its input
    pipes.outputWrite.reset(); // the output ends with the program's own end of it
    pipes.hold.Release();
    SecretBytes output;
    const bool complete = ReadOrDrain(pipes.outputRead.get(), output);
    pipes.outputRead.reset();
    WaitForEnd(program.process.get());
    if (!complete) {
        throw std::bad_alloc();
    }
    return output;
}

} // namespace zelto
