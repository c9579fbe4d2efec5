// The library's frame through the real DLL: loading, unloading, and the one export that has no sign-in behind
// it.

#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"
#include "tests/support/temp_folder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace zelto::test {
namespace {

HANDLE signalled = nullptr;

BOOL WINAPI RecordSignal(HANDLE event) {
    signalled = event;
    return SetEvent(event);
}

BOOL WINAPI FailToSignal(HANDLE) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}

bool IsSignalled(HANDLE event) {
    return WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
}

BOOL WINAPI RecordWithoutSignal(HANDLE event) {
    signalled = event;
    return TRUE;
}

// The first test of this program: no earlier load has left its objects behind.
TEST(FreshProcessTest, TheStopEventIsNotSignalled) {
    LibraryUnderTest library;
    const ImportPatch patch(library.Module(), "SetEvent", RecordWithoutSignal);
    ASSERT_NE(library.StopRunningZeltoAuth(), 0);
    EXPECT_EQ(WaitForSingleObject(signalled, 0), DWORD{WAIT_TIMEOUT});
}

TEST(StopRunningZeltoAuthTest, AnswersNonZeroWhenNothingRuns) {
    LibraryUnderTest library;
    EXPECT_NE(library.StopRunningZeltoAuth(), 0);
    EXPECT_NE(library.StopRunningZeltoAuth(), 0);
}

TEST(StopRunningZeltoAuthTest, SignalsAnAutoResetEvent) {
    LibraryUnderTest library;
    const ImportPatch patch(library.Module(), "SetEvent", RecordSignal);
    library.StopRunningZeltoAuth();
    EXPECT_TRUE(IsSignalled(signalled));
    EXPECT_FALSE(IsSignalled(signalled)); // the first look has reset it
}

TEST(StopRunningZeltoAuthTest, AnswersZeroWhenTheSignalFails) {
    LibraryUnderTest library;
    const ImportPatch patch(library.Module(), "SetEvent", FailToSignal);
    EXPECT_EQ(library.StopRunningZeltoAuth(), 0);
}

TEST(StopRunningZeltoAuthTest, MayBeCalledFromManyThreadsAtOnce) {
    LibraryUnderTest library;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&library] {
            for (int call = 0; call < 1000; ++call) {
                ASSERT_NE(library.StopRunningZeltoAuth(), 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(ProcessObjectsTest, ALaterLoadTakesUpTheObjectsOfTheLastOne) {
    HANDLE first = nullptr;
    for (int load = 0; load < 3; ++load) {
        LibraryUnderTest library;
        const ImportPatch patch(library.Module(), "SetEvent", RecordSignal);
        library.StopRunningZeltoAuth();
        first = load == 0 ? signalled : first;
        EXPECT_EQ(signalled, first);
        EXPECT_TRUE(IsSignalled(first));
    }
}

TEST(ProcessObjectsTest, LiveOnAfterTheLibraryIsUnloaded) {
    {
        LibraryUnderTest library;
        const ImportPatch patch(library.Module(), "SetEvent", RecordSignal);
        library.StopRunningZeltoAuth();
    }
    EXPECT_FALSE(LibraryIsLoaded());
    EXPECT_TRUE(IsSignalled(signalled));
}

TEST(ProcessObjectsTest, TwoCopiesOfTheLibraryHaveEachTheirOwn) {
    const TempFolder folder;
    const std::filesystem::path copy = folder.Path() / L"ZeltoAuthCopy.dll";
    std::filesystem::copy_file(LibraryUnderTest::LibraryPath(), copy);

    LibraryUnderTest library;
    const HMODULE second = LoadBuiltLibrary(copy);
    ASSERT_NE(second, nullptr);
    {
        const ImportPatch patch(library.Module(), "SetEvent", RecordSignal);
        library.StopRunningZeltoAuth();
    }
    const HANDLE ofTheFirst = signalled;
    {
        const ImportPatch patch(second, "SetEvent", RecordWithoutSignal);
        const FARPROC stop = GetProcAddress(second, "StopRunningZeltoAuth");
        reinterpret_cast<int32_t (*)()>(reinterpret_cast<void*>(stop))();
    }
    EXPECT_NE(signalled, ofTheFirst);
    EXPECT_FALSE(IsSignalled(signalled)); // it is not the first one's by another handle either
    FreeLibrary(second);
}

TEST(LoadingTest, TheHostsCurrentFolderIsItsOwn) {
    wchar_t before[MAX_PATH] = {};
    wchar_t after[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, before);
    {
        LibraryUnderTest library;
    }
    GetCurrentDirectoryW(MAX_PATH, after);
    EXPECT_STREQ(before, after);
}

} // namespace
} // namespace zelto::test
