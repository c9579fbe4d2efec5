#include "auth/launcher.h"

#include "auth/inheritance_hold.h"
#include "auth/module_command_line.h"
#include "auth/module_folder.h"
#include "auth/module_lock_hold.h"
#include "auth/process_objects.h"
#include "auth/response_block.h"
#include "auth/response_channel.h"
#include "auth/result_codes.h"
#include "auth/target_session.h"
#include "session/session_library.h"
#include "trace/trace.h"

#include <windows.h>

namespace zelto {
namespace {

constexpr char kTag[] = "RunZeltoAuthInSession";

// The process of the running auth module: one per library, null when none runs. It belongs to the launch that
// holds the module lock.
KernelHandle runningModule;

struct RunningModuleScope {
    RunningModuleScope() = default;
    RunningModuleScope(const RunningModuleScope&) = delete;
    RunningModuleScope& operator=(const RunningModuleScope&) = delete;
    ~RunningModuleScope() { runningModule.reset(); }
};

// The host's current directory is changed on purpose, and not changed back.
std::wstring EnterModuleFolder() {
    std::wstring folder = ModuleFolder();
    TRACE_DEBUG("CurrentDir=%ws", folder.c_str());
    if (!SetCurrentDirectoryW(folder.c_str())) {
        TRACE_ERROR("SetCurrentDirectoryW failed.");
    }
    return folder;
}

std::uint32_t ChooseSession() noexcept {
    const DWORD active = SelectCurrentActiveTSSession();
    DWORD own = 0;
    ProcessIdToSessionId(GetCurrentProcessId(), &own);
    return TargetSession(active, own);
}

bool StartInSession(std::uint32_t session, const std::wstring& executable,
                    std::wstring& commandLine) noexcept {
    TRACE_DEBUG("Show Auth window in current session(%lu)", session);
    DWORD processId = 0;
    HANDLE process = nullptr;
    const int result = CreateProcessInSessionEx(session, executable.c_str(), commandLine.data(), 1, 0,
                                                nullptr, &processId, &process);
    runningModule.reset(IsPseudoHandle(process) ? nullptr : process);
    return result >= 0;
}

bool StartLocally(const std::wstring& executable, std::wstring& commandLine) noexcept {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started = {};
    const BOOL result = CreateProcessW(executable.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0,
                                       nullptr, nullptr, &startup, &started);
    TRACE_INFO("CreateProcessW() returned %d", result);
    if (!result) {
        return false;
    }
    TRACE_DEBUG("Process Id: %lu", started.dwProcessId);
    runningModule.reset(started.hProcess);
    CloseHandle(started.hThread);
    return true;
}

// Has the module inherit the block, and nobody else: whatever the host starts while the module runs could read the
// answer.
class InheritedBlock {
public:
    explicit InheritedBlock(const ResponseBlock& block) noexcept : block_(block) {
        block_.SetInherited(true);
    }
    InheritedBlock(const InheritedBlock&) = delete;
    InheritedBlock& operator=(const InheritedBlock&) = delete;
    ~InheritedBlock() { block_.SetInherited(false); }

private:
    const ResponseBlock& block_;
};

bool StartModule(std::uint32_t session, const std::wstring& executable, std::wstring& commandLine,
                 const ResponseBlock& block) noexcept {
    ResetEvent(StopEvent()); // a cancel from before this point is forgotten
    const InheritanceHold hold;
    const InheritedBlock inherited(block);
    const bool started = session != 0 ? StartInSession(session, executable, commandLine)
                                      : StartLocally(executable, commandLine);
    return started && runningModule;
}

std::uint64_t ReceiverNumber(const ResponseBlock& block) noexcept {
    return reinterpret_cast<std::uintptr_t>(block.Handle());
}

// The answer is read whatever the exit code is, and the exit code counts whatever the answer is.
std::uint32_t WaitForModule(const ResponseBlock& block, SecretText& answer) noexcept {
    const HANDLE either[] = {runningModule.get(), StopEvent()};
    if (WaitForMultipleObjects(2, either, FALSE, INFINITE) != WAIT_OBJECT_0) {
        TerminateProcess(runningModule.get(), AUTH_E_CANCELLED);
        TRACE_INFO("Caller deliberately terminates auth process.");
        return AUTH_E_CANCELLED;
    }
    DWORD exitCode = AUTH_E_FAILED;
    GetExitCodeProcess(runningModule.get(), &exitCode);
    TRACE_DEBUG("Daemon exit code: %x", exitCode);
    ReadAnswer(block.View(), ReceiverNumber(block), answer);
    return exitCode;
}

} // namespace

std::uint32_t RunZeltoAuthInSession(const std::wstring& arguments, SecretText& answer,
                                    const ProviderKind& providerKind) {
    const ProviderEntry* const provider = FindProvider(providerKind);
    if (provider == nullptr) {
        return AUTH_E_INVALID_PARAMETER;
    }
    const std::wstring executable = EnterModuleFolder() + provider->executable;
    TRACE_DEBUG("%s() auth provider selected: %ws", kTag, executable.c_str());
    TRACE_DEBUG("%s() Arguments for provider: %ws", kTag, arguments.c_str());
    const std::uint32_t session = ChooseSession();

    // Left in the opposite order: process, view, block, lock.
    const ModuleLockHold lock(ModuleLock());
    if (!lock) {
        return AUTH_E_BUSY;
    }
    const ResponseBlock block;
    if (!block) {
        return AUTH_E_SHARED_MEMORY;
    }
    std::wstring commandLine = ModuleCommandLine(provider->name, ReceiverNumber(block), arguments);
    TRACE_DEBUG("hMap=%p, pMappedBuf=%p", block.Handle(), block.View());
    TRACE_DEBUG("%s() CMD to start auth module: %ws", kTag, commandLine.c_str());
    const RunningModuleScope module;
    return StartModule(session, executable, commandLine, block) ? WaitForModule(block, answer)
                                                                : AUTH_E_LAUNCH_FAILED;
}

} // namespace zelto
