#include "auth/kernel_handle.h"

#include "tests/support/import_patch.h"

#include <gtest/gtest.h>
#include <vector>

namespace zelto {
namespace {

KernelHandle NewEvent() {
    return KernelHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

bool IsOpen(HANDLE handle) {
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) != FALSE;
}

TEST(KernelHandleTest, ClosesWhatItOwns) {
    HANDLE handle = nullptr;
    {
        const KernelHandle event = NewEvent();
        handle = event.get();
        EXPECT_TRUE(event);
        EXPECT_TRUE(IsOpen(handle));
    }
    EXPECT_FALSE(IsOpen(handle));
}

TEST(KernelHandleTest, WhatIsReleasedStaysOpen) {
    KernelHandle event = NewEvent();
    const HANDLE handle = event.release();
    EXPECT_FALSE(event);
    event.reset();
    EXPECT_TRUE(IsOpen(handle));
    CloseHandle(handle);
}

TEST(KernelHandleTest, AMoveClosesTheFormerHandleOnly) {
    KernelHandle taker = NewEvent();
    const HANDLE former = taker.get();
    KernelHandle giver = NewEvent();
    const HANDLE moved = giver.get();
    taker = std::move(giver);
    EXPECT_EQ(taker.get(), moved);
    EXPECT_FALSE(giver); // NOLINT(bugprone-use-after-move): that nothing stays is the point
    EXPECT_FALSE(IsOpen(former));
    EXPECT_TRUE(IsOpen(moved));
}

TEST(KernelHandleTest, ClosingKeepsTheLastError) {
    const test::ImportPatch closing(
        GetModuleHandleW(nullptr), "CloseHandle", +[](HANDLE) -> BOOL {
            SetLastError(ERROR_INVALID_HANDLE);
            return TRUE;
        });
    KernelHandle event(GetCurrentProcess());
    SetLastError(ERROR_TIMEOUT);
    event.reset();
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_TIMEOUT));
}

TEST(DuplicateKernelHandleTest, IsASecondHandleToTheSameObject) {
    const KernelHandle event = NewEvent();
    const KernelHandle second = DuplicateKernelHandle(event.get());
    EXPECT_NE(second.get(), event.get());
    EXPECT_TRUE(SetEvent(second.get())); // with the same access
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), WAIT_OBJECT_0);
}

TEST(DuplicateKernelHandleTest, IsNotInheritedEvenIfTheFirstOneIs) {
    const KernelHandle event = NewEvent();
    ASSERT_TRUE(SetHandleInformation(event.get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT));
    DWORD flags = HANDLE_FLAG_INHERIT;
    EXPECT_TRUE(GetHandleInformation(DuplicateKernelHandle(event.get()).get(), &flags));
    EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0u);
}

TEST(DuplicateKernelHandleTest, WhatIsNoHandleHasNone) {
    for (const HANDLE handle : {HANDLE{}, GetCurrentProcess(), GetCurrentThread()}) {
        SetLastError(ERROR_SUCCESS);
        EXPECT_FALSE(DuplicateKernelHandle(handle));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    }
}

} // namespace
} // namespace zelto
