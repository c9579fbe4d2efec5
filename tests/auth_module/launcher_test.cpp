// The launcher, through the exports: what is started, how it is waited for, and what is left.

#include "tests/auth_module/auth_module_test.h"

#include "tests/auth_module/launch_record.h"
#include "tests/support/process_counts.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <thread>
#include <wincrypt.h>

namespace zelto::test {
namespace {

using Lines = std::vector<std::string>;

LocalStart localStart;

BOOL WINAPI RecordStart(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                        LPSECURITY_ATTRIBUTES thread, BOOL inheritHandles, DWORD flags, LPVOID environment,
                        LPCWSTR directory, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION started) {
    localStart = {application != nullptr,
                  application == nullptr ? L"" : application,
                  commandLine,
                  process != nullptr || thread != nullptr,
                  inheritHandles,
                  flags,
                  environment != nullptr,
                  directory != nullptr,
                  *startup};
    return CreateProcessW(application, commandLine, process, thread, inheritHandles, flags, environment,
                          directory, startup, started);
}

class LauncherTest : public AuthModuleTest {
protected:
    std::wstring Receiver() const {
        const std::string digits = Record().receiver;
        return std::wstring(digits.begin(), digits.end());
    }

    // After a failure nothing is held: the next prompt works.
    void ExpectNextPromptWorks() {
        TakePatchesAway();
        Script({Answer("next")});
        EXPECT_EQ(TwoFactor(), kOk);
        EXPECT_STREQ(token_.data(), "next");
    }
};

TEST_F(LauncherTest, TheStartByteByByte) {
    Patch("CreateProcessW", &RecordStart);
    EXPECT_EQ(TwoFactor(), kOk);
    const std::wstring program = (ModuleFolder() / L"ZeltoAuth.exe").wstring();
    const std::wstring commandLine = L" --provider-name=ZeltoAuth --receiver=" + Receiver() +
                                     L" --object=2fa --description=\"Enter the code\" --timeout=60";
    EXPECT_TRUE(localStart.hasApplication);
    EXPECT_EQ(localStart.application, program);
    EXPECT_EQ(localStart.commandLine, commandLine);
    EXPECT_FALSE(localStart.hasSecurity);
    EXPECT_TRUE(localStart.inheritHandles);
    EXPECT_EQ(localStart.flags, 0u);
    EXPECT_FALSE(localStart.hasEnvironment);
    EXPECT_FALSE(localStart.hasDirectory);
    STARTUPINFOW zeroed = {};
    zeroed.cb = sizeof(zeroed);
    EXPECT_EQ(std::memcmp(&localStart.startup, &zeroed, sizeof(zeroed)), 0);

    const ModuleRecord record = Record();
    EXPECT_EQ(record.program, program);
    EXPECT_EQ(record.commandLine, commandLine);
}

TEST_F(LauncherTest, TheModulesFolderIsCurrentForItAndStaysSoForTheHost) {
    SetCurrentDirectoryW(folder_.Path().c_str());
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_EQ(Record().directory, ModuleFolder().wstring());
    EXPECT_EQ(CurrentFolder(), ModuleFolder().wstring());
}

TEST_F(LauncherTest, TheModuleInheritsTheBlock) {
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_EQ(Record().blockSize, 65'536u);
    EXPECT_TRUE(Record().blockIsZero);
}

struct BlockRequest {
    HANDLE file;
    bool inheritable;
    bool hasDescriptor;
    DWORD protection;
    std::uint64_t size;
    bool named;
    DWORD securitySize;
} blockRequest;

HANDLE WINAPI RecordBlock(HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protection, DWORD high,
                          DWORD low, LPCWSTR name) {
    blockRequest = {file,
                    security != nullptr && security->bInheritHandle,
                    security != nullptr && security->lpSecurityDescriptor != nullptr,
                    protection,
                    (std::uint64_t{high} << 32) | low,
                    name != nullptr,
                    security == nullptr ? 0 : security->nLength};
    return CreateFileMappingW(file, security, protection, high, low, name);
}

TEST_F(LauncherTest, TheBlockIsUnnamedInheritableAndOf64KiB) {
    Patch("CreateFileMappingW", &RecordBlock);
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_EQ(blockRequest.file, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(blockRequest.inheritable);
    EXPECT_FALSE(blockRequest.hasDescriptor);
    EXPECT_EQ(blockRequest.protection, static_cast<DWORD>(PAGE_READWRITE));
    EXPECT_EQ(blockRequest.size, 65'536u);
    EXPECT_FALSE(blockRequest.named);
    EXPECT_EQ(blockRequest.securitySize, sizeof(SECURITY_ATTRIBUTES));
}

void* mappedView;

void* WINAPI MapAndFill(HANDLE mapping, DWORD access, DWORD high, DWORD low, SIZE_T size) {
    mappedView = MapViewOfFile(mapping, access, high, low, size);
    std::memset(mappedView, '#', size);
    return mappedView;
}

TEST_F(LauncherTest, TheBlockIsFilledWithZerosWhateverItHolds) {
    Patch("MapViewOfFile", &MapAndFill);
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_TRUE(Record().blockIsZero);
}

HANDLE createdBlock;
std::vector<std::string> inheritance; // of the block, at each step that was looked at

void NoteInheritance(const std::string& step) {
    DWORD flags = 0;
    EXPECT_TRUE(GetHandleInformation(createdBlock, &flags));
    inheritance.push_back(step + ((flags & HANDLE_FLAG_INHERIT) != 0 ? ": inherited" : ": kept"));
}

HANDLE WINAPI KeepBlock(HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protection, DWORD high, DWORD low,
                        LPCWSTR name) {
    createdBlock = CreateFileMappingW(file, security, protection, high, low, name);
    return createdBlock;
}

BOOL WINAPI NoteBeforeStart(HANDLE event) {
    NoteInheritance("before");
    return ResetEvent(event);
}

BOOL WINAPI NoteAtStart(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                        LPSECURITY_ATTRIBUTES thread, BOOL inheritHandles, DWORD flags, LPVOID environment,
                        LPCWSTR directory, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION started) {
    NoteInheritance("start");
    return CreateProcessW(application, commandLine, process, thread, inheritHandles, flags, environment,
                          directory, startup, started);
}

DWORD WINAPI NoteAtWait(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) {
    NoteInheritance("wait");
    return WaitForMultipleObjects(count, handles, all, milliseconds);
}

TEST_F(LauncherTest, OnlyTheModuleInheritsTheBlock) {
    Patch("CreateFileMappingW", &KeepBlock);
    Patch("ResetEvent", &NoteBeforeStart);
    Patch("CreateProcessW", &NoteAtStart);
    Patch("WaitForMultipleObjects", &NoteAtWait);
    inheritance.clear();
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_EQ(inheritance, (Lines{"before: kept", "start: inherited", "wait: kept"}));
}

BOOL WINAPI SetNoDirectory(LPCWSTR) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

TEST_F(LauncherTest, TheCurrentFolderCannotBeSet) {
    Patch("SetCurrentDirectoryW", &SetNoDirectory);
    SetCurrentDirectoryW(folder_.Path().c_str());
    Script({Answer("123456")});
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_STREQ(token_.data(), "123456");
    EXPECT_EQ(Record().directory, folder_.Path().wstring());
    EXPECT_EQ(LogAt("error"), (Lines{"error: SetCurrentDirectoryW failed."}));
}

DWORD WINAPI NameWithoutBackslash(HMODULE, LPWSTR buffer, DWORD) {
    std::wmemcpy(buffer, L"ZeltoAuth.dll", 14);
    return 13;
}

DWORD WINAPI NoName(HMODULE, LPWSTR, DWORD) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
}

std::wstring folderEntered;

BOOL WINAPI RecordFolder(LPCWSTR folder) {
    folderEntered = folder;
    return SetCurrentDirectoryW(folder);
}

TEST_F(LauncherTest, ALibraryPathWithoutBackslashIsInTheCurrentFolder) {
    SetCurrentDirectoryW(ModuleFolder().c_str());
    Patch("CreateProcessW", &RecordStart);
    Patch("SetCurrentDirectoryW", &RecordFolder);
    Patch("GetModuleFileNameW", &NameWithoutBackslash);
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_EQ(localStart.application, L".\\ZeltoAuth.exe");
    EXPECT_EQ(folderEntered, L".\\");
    EXPECT_EQ(CurrentFolder(), ModuleFolder().wstring());
    EXPECT_EQ(Log().front(), "debug: CurrentDir=.\\");
}

TEST_F(LauncherTest, ALibraryPathThatCannotBeReadIsInTheCurrentFolder) {
    SetCurrentDirectoryW(ModuleFolder().c_str());
    Patch("CreateProcessW", &RecordStart);
    Patch("SetCurrentDirectoryW", &RecordFolder);
    Patch("GetModuleFileNameW", &NoName);
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_EQ(localStart.application, L".\\ZeltoAuth.exe");
    EXPECT_EQ(folderEntered, L".\\");
    EXPECT_EQ(Log().front(), "debug: CurrentDir=.\\");
}

// A path of as many characters as the system's longest has.
DWORD WINAPI NameOf259Characters(HMODULE, LPWSTR buffer, DWORD size) {
    const std::wstring path = L"C:\\" + std::wstring(242, L'f') + L"\\ZeltoAuth.dll";
    EXPECT_EQ(path.size(), 259u);
    const DWORD length = std::min(size, DWORD{260});
    path.copy(buffer, length - 1);
    buffer[length - 1] = L'\0';
    return length == 260 ? 259 : size;
}

TEST_F(LauncherTest, ALibraryPathMayBeAsLongAsTheSystemAllows) {
    Patch("GetModuleFileNameW", &NameOf259Characters);
    Patch("SetCurrentDirectoryW", &SetNoDirectory);
    EXPECT_EQ(TwoFactor(), kLaunchFailed);
    const std::string folder = "C:\\" + std::string(242, 'f') + "\\";
    const Lines log = Log();
    EXPECT_EQ(log[0], "debug: CurrentDir=" + folder);
    EXPECT_EQ(log[2], "debug: RunZeltoAuthInSession() auth provider selected: " + folder + "ZeltoAuth.exe");
}

HANDLE WINAPI CreateNoBlock(HANDLE, LPSECURITY_ATTRIBUTES, DWORD, DWORD, DWORD, LPCWSTR) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

void* WINAPI MapNothing(HANDLE, DWORD, DWORD, DWORD, SIZE_T) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

TEST_F(LauncherTest, TheBlockCannotBeCreated) {
    Patch("CreateFileMappingW", &CreateNoBlock);
    EXPECT_EQ(TwoFactor(), kSharedMemory);
    EXPECT_FALSE(ModuleWasStarted());
    ExpectNextPromptWorks();
}

TEST_F(LauncherTest, TheBlockCannotBeMapped) {
    Patch("MapViewOfFile", &MapNothing);
    EXPECT_EQ(TwoFactor(), kSharedMemory);
    EXPECT_FALSE(ModuleWasStarted());
    const std::size_t handles = CountHandles();
    EXPECT_EQ(TwoFactor(), kSharedMemory);
    EXPECT_EQ(CountHandles(), handles);
    ExpectNextPromptWorks();
}

TEST_F(LauncherTest, WithoutABlockNothingMoreIsLogged) {
    Patch("CreateFileMappingW", &CreateNoBlock);
    EXPECT_EQ(TwoFactor(), kSharedMemory);
    const Lines log = Log();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.back(), "debug: RunZeltoAuthInSession() Arguments for provider: --object=2fa "
                          "--description=\"Enter the code\" --timeout=60");
}

BOOL WINAPI StartNothing(LPCWSTR, LPWSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL, DWORD, LPVOID,
                         LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

TEST_F(LauncherTest, TheModuleCannotBeStarted) {
    Patch("CreateProcessW", &StartNothing);
    EXPECT_EQ(TwoFactor(), kLaunchFailed);
    EXPECT_FALSE(ModuleWasStarted());
    EXPECT_STREQ(token_.data(), "old");
    ExpectNextPromptWorks();
}

TEST_F(LauncherTest, AFailedStartIsLogged) {
    Patch("CreateProcessW", &StartNothing);
    EXPECT_EQ(TwoFactor(), kLaunchFailed);
    EXPECT_EQ(Log().back(), "info: CreateProcessW() returned 0");
}

HANDLE givenThread;
int closesOfGivenThread;

BOOL WINAPI StartWithoutAHandle(LPCWSTR, LPWSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL, DWORD,
                                LPVOID, LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION started) {
    givenThread = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    *started = {nullptr, givenThread, 4711, 1};
    return TRUE;
}

BOOL WINAPI CloseAndCountThread(HANDLE handle) {
    closesOfGivenThread += handle == givenThread ? 1 : 0;
    return CloseHandle(handle);
}

TEST_F(LauncherTest, NoProcessHandleIsAFailure) {
    Patch("CreateProcessW", &StartWithoutAHandle);
    Patch("CloseHandle", &CloseAndCountThread);
    closesOfGivenThread = 0;
    EXPECT_EQ(TwoFactor(), kLaunchFailed);
    EXPECT_EQ(closesOfGivenThread, 1);
    EXPECT_STREQ(token_.data(), "old");
    ExpectNextPromptWorks();
}

TEST_F(LauncherTest, AStartWithoutAProcessHandleIsLoggedAsDone) {
    Patch("CreateProcessW", &StartWithoutAHandle);
    EXPECT_EQ(TwoFactor(), kLaunchFailed);
    const Lines log = Log();
    const Lines end(log.end() - 2, log.end());
    EXPECT_EQ(end, (Lines{"info: CreateProcessW() returned 1", "debug: Process Id: 4711"}));
}

TEST_F(LauncherTest, TheModuleIsNotThere) {
    const std::filesystem::path alone = folder_.Path() / L"ZeltoAuth.dll";
    std::filesystem::copy_file(LibraryUnderTest::LibraryPath(), alone);
    LibraryUnderTest library(alone);
    EXPECT_EQ(library.TwoFactorAuthGetResponse("", token_.data(), 64, 1000, nullptr, nullptr), kLaunchFailed);
    SetCurrentDirectoryW(ModuleFolder().c_str()); // out of the folder that goes
}

TEST_F(LauncherTest, EachExportReportsAMissingBlockAndACancel) {
    for (const Call& call :
         {Call([&] { return Saml(); }), Call([&] { return Basic(); }), Call([&] { return TwoFactor(); })}) {
        {
            const ImportPatch failing(library_.Module(), "CreateFileMappingW", &CreateNoBlock);
            EXPECT_EQ(call(), kSharedMemory);
        }
        EXPECT_EQ(Cancelled(call), kCancelled);
    }
    EXPECT_STREQ(response_.data(), "old");
    EXPECT_STREQ(serverIp_.data(), "old");
    EXPECT_STREQ(userName_.data(), "alice");
    EXPECT_STREQ(password_.data(), "old");
    EXPECT_STREQ(certificate_.data(), "old");
    EXPECT_STREQ(token_.data(), "old");
}

BOOL WINAPI ReadNoExitCode(HANDLE, LPDWORD) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

TEST_F(LauncherTest, AnExitCodeThatCannotBeReadIsAFailure) {
    Patch("GetExitCodeProcess", &ReadNoExitCode);
    Script({Answer("123456")});
    EXPECT_EQ(TwoFactor(), 0xA7000000u);
    EXPECT_STREQ(token_.data(), "old");
    const Lines log = Log();
    const Lines end(log.end() - 2, log.end());
    EXPECT_EQ(end, (Lines{"debug: Daemon exit code: 0xa7000000",
                          "debug: decode base64 to cipher binary, cipher len=32"}));
}

TEST_F(LauncherTest, TheExitCodeIsTheResult) {
    for (const std::uint32_t code : {0u, 1u, 259u, 0xA7000005u, 0xFFFFFFFFu}) {
        Script({"exit " + std::to_string(code)});
        EXPECT_EQ(TwoFactor(), code);
    }
}

TEST_F(LauncherTest, AModuleThatCrashesGivesItsExceptionCode) {
    Script({Answer("123456"), "crash"});
    EXPECT_EQ(TwoFactor(), 0xC0000005u);
    EXPECT_STREQ(token_.data(), "old");
}

TEST_F(LauncherTest, TheAnswerIsReadWhateverTheExitCode) {
    Script({Answer("123456"), "exit 1"});
    EXPECT_EQ(TwoFactor(), 1u);
    const Lines log = Log();
    EXPECT_EQ(log.back(), "debug: decode base64 to cipher binary, cipher len=32");
    EXPECT_EQ(log[log.size() - 2], "debug: Daemon exit code: 0x1");
}

TEST_F(LauncherTest, AnUntouchedBlockLeavesTheExitCode) {
    Script({"exit 5"});
    EXPECT_EQ(TwoFactor(), 5u);
    const Lines log = Log();
    const Lines end(log.end() - 2, log.end());
    EXPECT_EQ(end, (Lines{"debug: decode base64 to cipher binary, cipher len=0",
                          "error: Could not decrypt saml data. nRet=-10"}));
}

TEST_F(LauncherTest, AStopDuringTheWaitTerminatesTheModule) {
    KernelHandle module;
    EXPECT_EQ(WhileTheModuleWaits([&] { return TwoFactor(); },
                                  [&] {
                                      module = OpenModule();
                                      EXPECT_NE(library_.StopRunningZeltoAuth(), 0);
                                  }),
              kCancelled);
    EXPECT_EQ(ExitCode(module), kCancelled);
    EXPECT_STREQ(token_.data(), "old");
    EXPECT_EQ(Log().back(), "info: Caller deliberately terminates auth process."); // no answer is read
}

TEST_F(LauncherTest, AStopBeforeTheLaunchIsForgotten) {
    EXPECT_NE(library_.StopRunningZeltoAuth(), 0);
    Script({Answer("123456")});
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_STREQ(token_.data(), "123456");
}

TEST_F(LauncherTest, EndedModuleComesBeforeAStop) {
    // Both are there when the wait begins: the process is the first of the two handles.
    static LibraryUnderTest* library;
    library = &library_;
    Patch(
        "WaitForMultipleObjects", +[](DWORD count, const HANDLE* handles, BOOL all, DWORD timeout) -> DWORD {
            WaitForSingleObject(handles[0], 60'000);
            library->StopRunningZeltoAuth();
            return WaitForMultipleObjects(count, handles, all, timeout);
        });
    Script({Answer("123456")});
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_STREQ(token_.data(), "123456");
}

DWORD WINAPI FailToWait(DWORD, const HANDLE*, BOOL, DWORD) {
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

HANDLE startedProcess; // a second handle to the module's process

BOOL WINAPI StartAndKeep(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                         LPSECURITY_ATTRIBUTES thread, BOOL inheritHandles, DWORD flags, LPVOID environment,
                         LPCWSTR directory, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION started) {
    const BOOL result = CreateProcessW(application, commandLine, process, thread, inheritHandles, flags,
                                       environment, directory, startup, started);
    DuplicateHandle(GetCurrentProcess(), started->hProcess, GetCurrentProcess(), &startedProcess, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    return result;
}

TEST_F(LauncherTest, AFailedWaitTerminatesTheModule) {
    NamedEvent("zelto test never");
    Script({"wait zelto test never"});
    Patch("CreateProcessW", &StartAndKeep);
    Patch("WaitForMultipleObjects", &FailToWait);
    EXPECT_EQ(TwoFactor(), kCancelled);
    EXPECT_EQ(ExitCode(KernelHandle(startedProcess)), kCancelled);
    EXPECT_EQ(Log().back(), "info: Caller deliberately terminates auth process.");
}

TEST_F(LauncherTest, ASecondLaunchIsTurnedAwayWithoutALogLine) {
    EXPECT_EQ(WhileTheModuleWaits([&] { return TwoFactor(); },
                                  [&] {
                                      EXPECT_EQ(Saml(2), kBusy);
                                      EXPECT_EQ(Basic(), kBusy);
                                      EXPECT_STREQ(response_.data(), "old");
                                      library_.StopRunningZeltoAuth();
                                  }),
              kCancelled);
    EXPECT_EQ(LogAt("error"), (Lines{"error: RunZeltoAuthInSession=0xa7000005"})); // the SAML export's own
}

HANDLE moduleLock;
int locksReleased;

// The launcher tries the lock with a time-out of zero; the log's writer has waits of its own.
DWORD WINAPI RecordLock(HANDLE object, DWORD timeout) {
    if (timeout == 0) {
        moduleLock = object;
    }
    return WaitForSingleObject(object, timeout);
}

BOOL WINAPI CountRelease(HANDLE lock) {
    ++locksReleased;
    return ReleaseMutex(lock);
}

TEST_F(LauncherTest, AnAbandonedLockCountsAsTaken) {
    Patch("WaitForSingleObject", &RecordLock);
    Patch("ReleaseMutex", &CountRelease);
    locksReleased = 0;
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_EQ(locksReleased, 1);
    std::thread([] { WaitForSingleObject(moduleLock, INFINITE); }).join(); // and never lets go of it

    EXPECT_EQ(TwoFactor(), kBusy);
    EXPECT_EQ(locksReleased, 1);
    EXPECT_TRUE(ReleaseMutex(moduleLock)); // it is this thread's since then
    EXPECT_EQ(TwoFactor(), kOk);
}

TEST_F(LauncherTest, TheWholeLogOfAPrompt) {
    Patch("CreateProcessW", &RecordStart);
    Patch("MapViewOfFile", &MapAndFill);
    Script({Answer("123456")});
    EXPECT_EQ(TwoFactor(), kOk);
    const ModuleRecord record = Record();
    char block[80];
    std::snprintf(block, sizeof(block), "debug: hMap=0x%016llX, pMappedBuf=0x%016llX",
                  std::strtoull(record.receiver.c_str(), nullptr, 10),
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(mappedView)));
    const std::string folder = ModuleFolder().string() + "\\";
    const std::string options = "--object=2fa --description=\"Enter the code\" --timeout=60";
    Lines log = Log();
    ASSERT_EQ(log.size(), 9u);
    EXPECT_EQ(log[3], block);
    log.erase(log.begin() + 3);
    EXPECT_EQ(
        log,
        (Lines{"debug: CurrentDir=" + folder,
               "debug: RunZeltoAuthInSession() auth provider selected: " + folder + "ZeltoAuth.exe",
               "debug: RunZeltoAuthInSession() Arguments for provider: " + options,
               "debug: RunZeltoAuthInSession() CMD to start auth module:  --provider-name=ZeltoAuth "
               "--receiver=" +
                   record.receiver + " " + options,
               "info: CreateProcessW() returned 1", "debug: Process Id: " + std::to_string(record.process),
               "debug: Daemon exit code: 0x0", "debug: decode base64 to cipher binary, cipher len=32"}));
}

TEST_F(LauncherTest, NoHandleIsLeft) {
    const auto round = [&] {
        Script({Answer("123456")});
        EXPECT_EQ(TwoFactor(), kOk);
        Script({"exit 7"});
        EXPECT_EQ(Saml(), 7u);
        const ImportPatch nothing(library_.Module(), "CreateProcessW", &StartNothing);
        EXPECT_EQ(Basic(), kLaunchFailed);
    };
    round();
    const std::size_t handles = CountHandles();
    for (int i = 0; i < 5; ++i) {
        round();
    }
    EXPECT_LE(CountHandles(), handles + 1);
}

// The steps of a launch, in the order in which the library asks the system for them.
Lines steps;
HANDLE stepProcess;
HANDLE stepThread;
HANDLE stepEvent; // the one that is reset
HANDLE stepBlock;
void* stepView;
std::string failingStep;

// The tick count is read once for each record of the log, by the thread that writes it.
DWORD launchThread;

DWORD WINAPI NoteRecord() {
    if (GetCurrentThreadId() == launchThread) {
        steps.push_back("record");
    }
    return GetTickCount();
}

class LauncherOrderTest : public LauncherTest {
protected:
    LauncherOrderTest() {
        steps.clear();
        failingStep.clear();
        launchThread = GetCurrentThreadId();
        Patch(
            "GetModuleFileNameW", +[](HMODULE module, LPWSTR path, DWORD size) -> DWORD {
                steps.push_back("folder");
                return GetModuleFileNameW(module, path, size);
            });
        Patch(
            "SetCurrentDirectoryW", +[](LPCWSTR folder) -> BOOL {
                steps.push_back("enter");
                return SetCurrentDirectoryW(folder);
            });
        Patch(
            "SelectCurrentActiveTSSession", +[]() -> DWORD {
                steps.push_back("active session");
                DWORD own = 0;
                ProcessIdToSessionId(GetCurrentProcessId(), &own);
                return own;
            });
        Patch(
            "ProcessIdToSessionId", +[](DWORD process, DWORD* session) -> BOOL {
                steps.push_back(process == GetCurrentProcessId() ? "own session" : "?");
                return ProcessIdToSessionId(process, session);
            });
        Patch(
            "WaitForSingleObject", +[](HANDLE object, DWORD timeout) -> DWORD {
                if (timeout == 0) { // the log's writer waits for longer
                    steps.push_back("lock");
                }
                return WaitForSingleObject(object, timeout);
            });
        Patch(
            "CreateFileMappingW",
            +[](HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protection, DWORD high, DWORD low,
                LPCWSTR name) -> HANDLE {
                steps.push_back("block");
                if (failingStep == "block") {
                    return nullptr;
                }
                return stepBlock = CreateFileMappingW(file, security, protection, high, low, name);
            });
        Patch(
            "MapViewOfFile", +[](HANDLE mapping, DWORD access, DWORD high, DWORD low, SIZE_T size) -> void* {
                steps.push_back(mapping == stepBlock && access == (FILE_MAP_READ | FILE_MAP_WRITE) ? "map"
                                                                                                   : "?");
                EXPECT_EQ(size, 65'536u);
                if (failingStep == "map") {
                    return nullptr;
                }
                return stepView = MapViewOfFile(mapping, access, high, low, size);
            });
        Patch(
            "ResetEvent", +[](HANDLE event) -> BOOL {
                steps.push_back("reset");
                stepEvent = event;
                return ResetEvent(event);
            });
        Patch(
            "CreateProcessW",
            +[](LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL,
                DWORD, LPVOID, LPCWSTR, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION started) -> BOOL {
                steps.push_back("start");
                if (failingStep == "start") {
                    return FALSE;
                }
                const BOOL result = CreateProcessW(application, commandLine, nullptr, nullptr, TRUE, 0,
                                                   nullptr, nullptr, startup, started);
                stepProcess = started->hProcess;
                stepThread = started->hThread;
                return result;
            });
        Patch(
            "WaitForMultipleObjects",
            +[](DWORD count, const HANDLE* handles, BOOL all, DWORD timeout) -> DWORD {
                const bool both = count == 2 && handles[0] == stepProcess && handles[1] == stepEvent;
                steps.push_back(both && !all && timeout == INFINITE ? "wait" : "?");
                return WaitForMultipleObjects(count, handles, all, timeout);
            });
        Patch(
            "GetExitCodeProcess", +[](HANDLE process, DWORD* code) -> BOOL {
                steps.push_back("exit code");
                return GetExitCodeProcess(process, code);
            });
        Patch(
            "CryptStringToBinaryA",
            +[](LPCSTR text, DWORD length, DWORD flags, BYTE* bytes, DWORD* size, DWORD* skipped,
                DWORD* used) -> BOOL {
                const bool measured = text == stepView && length == std::strlen(text);
                steps.push_back(measured && flags == CRYPT_STRING_BASE64 ? "decode" : "?");
                return CryptStringToBinaryA(text, length, flags, bytes, size, skipped, used);
            });
        Patch(
            "TerminateProcess", +[](HANDLE process, UINT code) -> BOOL {
                steps.push_back(process == stepProcess && code == kCancelled ? "terminate" : "?");
                return TerminateProcess(process, code);
            });
        Patch(
            "CloseHandle", +[](HANDLE handle) -> BOOL {
                steps.push_back(handle == stepProcess  ? "close process"
                                : handle == stepThread ? "close thread"
                                : handle == stepBlock  ? "close block"
                                                       : "close other");
                return CloseHandle(handle);
            });
        Patch(
            "UnmapViewOfFile", +[](LPCVOID view) -> BOOL {
                steps.push_back(view == stepView ? "unmap" : "?");
                return UnmapViewOfFile(view);
            });
        Patch(
            "ReleaseMutex", +[](HANDLE mutex) -> BOOL {
                steps.push_back("unlock");
                return ReleaseMutex(mutex);
            });
    }
    ~LauncherOrderTest() override { TakePatchesAway(); }
};

const Lines kStepsToTheWait = {"folder", "enter", "active session", "own session",  "lock", "block",
                               "map",    "reset", "start",          "close thread", "wait"};
const Lines kCleanUp = {"close process", "unmap", "close block", "unlock"};

Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

TEST_F(LauncherOrderTest, OfAnAnswer) {
    Script({Answer("123456")});
    EXPECT_EQ(TwoFactor(), kOk);
    const Lines answer = {"exit code", "decode", "decode"}; // its length, and itself
    EXPECT_EQ(steps, kStepsToTheWait + answer + kCleanUp);
}

// The steps up to and with one of those to the wait.
Lines StepsTo(const std::string& last) {
    return {kStepsToTheWait.begin(), std::find(kStepsToTheWait.begin(), kStepsToTheWait.end(), last) + 1};
}

TEST_F(LauncherOrderTest, OfABlockThatCannotBeCreated) {
    failingStep = "block";
    EXPECT_EQ(TwoFactor(), kSharedMemory);
    EXPECT_EQ(steps, StepsTo("block") + Lines{"unlock"});
}

TEST_F(LauncherOrderTest, OfABlockThatCannotBeMapped) {
    failingStep = "map";
    EXPECT_EQ(TwoFactor(), kSharedMemory);
    EXPECT_EQ(steps, StepsTo("map") + (Lines{"close block", "unlock"}));
}

TEST_F(LauncherOrderTest, OfAFailedStart) {
    failingStep = "start";
    EXPECT_EQ(TwoFactor(), kLaunchFailed);
    EXPECT_EQ(steps, StepsTo("start") + (Lines{"unmap", "close block", "unlock"}));
}

TEST_F(LauncherOrderTest, OfLogLinesAndSteps) {
    Patch("GetTickCount", &NoteRecord);
    Script({Answer("123456")});
    EXPECT_EQ(TwoFactor(), kOk);
    Lines all = steps;
    const Lines log = Log();
    std::size_t next = 0;
    for (std::string& step : all) { // each record by the text that it begins with
        if (step == "record" && next < log.size()) {
            step = log[next++];
            step = step.substr(0, step.find_first_of("=,"));
        }
    }
    all.resize(std::min(all.size(), std::size_t{23}));
    EXPECT_EQ(next, log.size());
    EXPECT_EQ(all, (Lines{"folder",
                          "debug: CurrentDir",
                          "enter",
                          "debug: RunZeltoAuthInSession() auth provider selected: " +
                              ModuleFolder().string() + "\\ZeltoAuth.exe",
                          "debug: RunZeltoAuthInSession() Arguments for provider: --object",
                          "active session",
                          "own session",
                          "lock",
                          "block",
                          "map",
                          "debug: hMap",
                          "debug: RunZeltoAuthInSession() CMD to start auth module:  --provider-name",
                          "reset",
                          "start",
                          "info: CreateProcessW() returned 1",
                          "debug: Process Id: " + std::to_string(Record().process),
                          "close thread",
                          "wait",
                          "exit code",
                          "debug: Daemon exit code: 0x0",
                          "decode",
                          "debug: decode base64 to cipher binary",
                          "decode"}));
}

TEST_F(LauncherOrderTest, OfACancel) {
    EXPECT_EQ(Cancelled([&] { return TwoFactor(); }), kCancelled);
    EXPECT_EQ(steps, kStepsToTheWait + Lines{"terminate"} + kCleanUp);
}

TEST_F(LauncherOrderTest, OfACancelAndItsLogLine) {
    Patch("GetTickCount", &NoteRecord);
    EXPECT_EQ(Cancelled([&] {
                  launchThread = GetCurrentThreadId();
                  return TwoFactor();
              }),
              kCancelled);
    const Lines end = {"wait", "terminate", "record", "close process", "unmap", "close block", "unlock"};
    ASSERT_GE(steps.size(), end.size());
    EXPECT_EQ(Lines(steps.end() - static_cast<std::ptrdiff_t>(end.size()), steps.end()), end);
    EXPECT_EQ(Log().back(), "info: Caller deliberately terminates auth process.");
}

TEST_F(LauncherTest, AStopBetweenResetAndWaitCancels) {
    static LibraryUnderTest* library;
    library = &library_;
    Patch(
        "CreateProcessW",
        +[](LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
            LPSECURITY_ATTRIBUTES thread, BOOL inheritHandles, DWORD flags, LPVOID environment,
            LPCWSTR directory, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION started) -> BOOL {
            EXPECT_NE(library->StopRunningZeltoAuth(), 0);
            return StartAndKeep(application, commandLine, process, thread, inheritHandles, flags, environment,
                                directory, startup, started);
        });
    NamedEvent("zelto test never");
    Script({Answer("123456"), "wait zelto test never"});
    EXPECT_EQ(TwoFactor(), kCancelled);
    EXPECT_EQ(ExitCode(KernelHandle(startedProcess)), kCancelled);
    EXPECT_STREQ(token_.data(), "old");
}

// What the stop event is when a launch resets it.
HANDLE eventReset;
bool wasSignalled;

BOOL WINAPI LookAndReset(HANDLE event) {
    eventReset = event;
    wasSignalled = WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
    return ResetEvent(event);
}

TEST_F(LauncherTest, AStopOfAnEarlierLoadIsNotTheNextOnes) {
    library_.Unload();
    HANDLE former = nullptr;
    for (const bool again : {false, true}) {
        LibraryUnderTest library(ModuleFolder() / L"ZeltoAuth.dll");
        const ImportPatch looking(library.Module(), "ResetEvent", &LookAndReset);
        EXPECT_EQ(library.TwoFactorAuthGetResponse("", nullptr, 0, 1000, nullptr, nullptr), kOk);
        EXPECT_FALSE(wasSignalled);
        EXPECT_TRUE(!again || eventReset == former); // the objects are kept from load to load
        former = eventReset;
        EXPECT_NE(library.StopRunningZeltoAuth(), 0);
    }
}

TEST_F(LauncherTest, AStopBetweenLockAndResetIsForgotten) {
    static LibraryUnderTest* library;
    library = &library_;
    Patch(
        "ResetEvent", +[](HANDLE event) -> BOOL {
            library->StopRunningZeltoAuth(); // the last moment before it is forgotten
            return ResetEvent(event);
        });
    Script({Answer("123456")});
    EXPECT_EQ(TwoFactor(), kOk);
}

} // namespace
} // namespace zelto::test
