#include "trace/library_trace.h"

#include "trace/running_trace.h"

#include <cstring>
#include <gmock/gmock.h>
#include <shlobj.h>

namespace zelto {
namespace {

std::string localAppData;
HRESULT WINAPI FolderPath(HWND, int, HANDLE, DWORD, LPSTR path) {
    std::memcpy(path, localAppData.c_str(), localAppData.size() + 1);
    return S_OK;
}

DWORD session = 0;
BOOL sessionIsKnown = TRUE;
BOOL WINAPI SessionOf(DWORD process, DWORD* id) {
    EXPECT_EQ(process, GetCurrentProcessId());
    *id = session;
    return sessionIsKnown;
}

// The library's trace as DllMain runs it, with the test program for a host.
class LibraryTraceTest : public testing::Test {
protected:
    LibraryTraceTest()
        : folderPath_(OwnModule(), "SHGetFolderPathA", &FolderPath),
          sessionOf_(OwnModule(), "ProcessIdToSessionId", &SessionOf) {
        localAppData = folder_.Path().string();
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        host_ = path;
    }
    ~LibraryTraceTest() override { TraceOnProcessDetach(false); }

    std::filesystem::path LogName() const { return host_.filename().string() + "_ZeltoAuth.log"; }
    std::filesystem::path UsersFolder() const { return folder_.Path() / "ZeltoClient" / "logs" / "trace"; }

    test::TempFolder folder_;
    test::ImportPatch folderPath_;
    test::ImportPatch sessionOf_;
    std::filesystem::path host_;
};

TEST_F(LibraryTraceTest, ServiceLogsBesideItsExecutable) {
    session = 0;
    const std::filesystem::path file = host_.parent_path() / "logs" / "trace" / LogName();
    std::filesystem::remove(file);
    TraceOnProcessAttach();
    TRACE_INFO("service");
    TraceOnProcessDetach(false);
    EXPECT_EQ(test::Messages(test::ReadTraceLines(file)), Lines({"info: service"}));
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path()));
    std::filesystem::remove(file);
}

TEST_F(LibraryTraceTest, AnyOtherSessionLogsInTheUsersFolder) {
    for (const DWORD number : {1u, 2u, 0xFFFFFFFFu}) {
        session = number;
        TraceOnProcessAttach();
        TRACE_INFO("session %u", number);
        TraceOnProcessDetach(false);
    }
    EXPECT_THAT(test::Messages(test::ReadTraceLines(UsersFolder() / LogName())),
                testing::ElementsAre("info: session 1", "info: session 2", "info: session 4294967295"));
}

TEST_F(LibraryTraceTest, UnknownSessionLogsInTheUsersFolder) {
    session = 0;
    sessionIsKnown = FALSE;
    TraceOnProcessAttach();
    sessionIsKnown = TRUE;
    TRACE_INFO("unknown");
    TraceOnProcessDetach(false);
    EXPECT_EQ(test::Messages(test::ReadTraceLines(UsersFolder() / LogName())), Lines({"info: unknown"}));
}

TEST_F(LibraryTraceTest, UnloadClosesBothFiles) {
    session = 1;
    TraceOnProcessAttach();
    TRACE_ERROR("opens both");
    TraceOnProcessDetach(false);
    EXPECT_EQ(traceState.mainLog.file, nullptr);
    EXPECT_EQ(traceState.errorCopy.file, nullptr);
    EXPECT_EQ(std::filesystem::remove_all(UsersFolder()), 3u); // both files and the folder: none is open
}

// The writer's thread is gone by then: there is nobody to wait for.
TEST_F(LibraryTraceTest, ProcessEndLeavesTheWriterAlone) {
    session = 1;
    TraceOnProcessAttach();
    {
        const TraceLockGuard lock; // the writer, which still runs here, does not have it
        TRACE_INFO("last words");
        TraceOnProcessDetach(true);
    }
    EXPECT_NE(traceState.stopEvent, nullptr);
    EXPECT_EQ(test::ReadTraceLines(UsersFolder() / LogName()).back().text, "trace stopped");
    traceState.initialised = 1; // the writer still runs here: end it as an unload does
}

} // namespace
} // namespace zelto
