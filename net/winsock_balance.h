#pragma once

#include "tests/support/import_patch.h"

#include <atomic>
#include <gtest/gtest.h>
#include <winsock2.h>

namespace zelto::test {

// Counts the references on Winsock that this program takes and gives back while the object lives. Start the
// test's own Winsock before.
class WinsockBalance {
public:
    WinsockBalance() {
        held_ = 0;
        startup_ = startupPatch_.Original<int WINAPI(WORD, LPWSADATA)>();
        cleanup_ = cleanupPatch_.Original<int WINAPI()>();
    }

    static int Held() { return held_; }

private:
    static int WINAPI Startup(WORD version, LPWSADATA data) {
        EXPECT_EQ(version, MAKEWORD(2, 2));
        const int error = startup_(version, data);
        held_ += error == 0 ? 1 : 0;
        return error;
    }

    static int WINAPI Cleanup() {
        --held_;
        return cleanup_();
    }

    static inline std::atomic<int> held_{0};
    static inline int(WINAPI* startup_)(WORD, LPWSADATA) = nullptr;
    static inline int(WINAPI* cleanup_)() = nullptr;
    ImportPatch startupPatch_{GetModuleHandleW(nullptr), "WSAStartup", Startup};
    ImportPatch cleanupPatch_{GetModuleHandleW(nullptr), "WSACleanup", Cleanup};
};

} // namespace zelto::test
