#include "tests/support/import_patch.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace zelto::test {
namespace {

DWORD WINAPI FakeProcessId() {
    return 4711;
}

// A function of its own, because the compiler may keep an import's address in a register within one function.
__declspec(noinline) DWORD ProcessId() {
    return GetCurrentProcessId();
}

TEST(ImportPatchTest, ReplacesTheImportUntilItIsDestroyed) {
    const DWORD real = ProcessId();
    {
        const ImportPatch patch(GetModuleHandleW(nullptr), "GetCurrentProcessId", FakeProcessId);
        EXPECT_EQ(ProcessId(), 4711u);
        EXPECT_EQ(patch.Original<DWORD WINAPI()>()(), real);
    }
    EXPECT_EQ(ProcessId(), real);
}

TEST(ImportPatchTest, AnUnknownImportIsAnError) {
    EXPECT_THROW(ImportPatch(GetModuleHandleW(nullptr), "NoSuchFunction", FakeProcessId), std::runtime_error);
    EXPECT_FALSE(ImportsFunction(GetModuleHandleW(nullptr), "NoSuchFunction"));
}

} // namespace
} // namespace zelto::test
