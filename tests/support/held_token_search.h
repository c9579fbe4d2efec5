#pragma once

#include "auth/kernel_handle.h"
#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"

#include <future>
#include <gtest/gtest.h>
#include <string>
#include <windows.h>

#include <msi.h>

namespace zelto::test {

// A call of SamlAuthGetAzureToken on a thread of its own that has created its pipes and now searches for the
// token program, until it is told to go on. At most one at a time.
class HeldTokenSearch {
public:
    enum class Then { FindsNothing, Searches };

    HeldTokenSearch(const LibraryUnderTest& library, Then then)
        : then_(then), patch_(library.Module(), "MsiEnumRelatedProductsW", &Hold),
          searching_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
          goesOn_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
        current_ = this;
        call_ = std::async(std::launch::async, [&library] {
            char token[64] = "";
            library.SamlAuthGetAzureToken(L"held", L"tenant", 0, token, sizeof(token));
            return std::string(token);
        });
        EXPECT_EQ(WaitForSingleObject(searching_.get(), 60'000), WAIT_OBJECT_0);
    }
    HeldTokenSearch(const HeldTokenSearch&) = delete;
    HeldTokenSearch& operator=(const HeldTokenSearch&) = delete;
    ~HeldTokenSearch() {
        SetEvent(goesOn_.get());
        if (call_.valid()) {
            call_.wait();
        }
    }

    // Gives the token of that call; the empty text when there is none.
    std::string GoOn() {
        SetEvent(goesOn_.get());
        return call_.get();
    }

private:
    static UINT WINAPI Hold(LPCWSTR upgradeCode, DWORD reserved, DWORD index, LPWSTR product) {
        SetEvent(current_->searching_.get());
        WaitForSingleObject(current_->goesOn_.get(), 60'000);
        if (current_->then_ == Then::FindsNothing) {
            return ERROR_NO_MORE_ITEMS;
        }
        return current_->patch_.Original<decltype(::MsiEnumRelatedProductsW)>()(upgradeCode, reserved, index,
                                                                                product);
    }

    static inline HeldTokenSearch* current_;
    const Then then_;
    ImportPatch patch_;
    KernelHandle searching_;
    KernelHandle goesOn_;
    std::future<std::string> call_;
};

} // namespace zelto::test
