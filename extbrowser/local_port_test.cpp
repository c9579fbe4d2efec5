#include "extbrowser/local_port.h"

#include "net/winsock_balance.h"
#include "tests/support/import_patch.h"
#include "tests/support/process_counts.h"
#include "tests/support/scripted_browser.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_lines.h"
#include "trace/library_trace.h"
#include "trace/life_cycle.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

using test::ImportPatch;

int WSAAPI StartupFails(WORD, LPWSADATA) {
    return WSASYSNOTREADY;
}

SOCKET WSAAPI NoSocket(int, int, int) {
    return INVALID_SOCKET;
}

int WSAAPI NameFails(SOCKET, sockaddr*, int*) {
    return SOCKET_ERROR;
}

int WSAAPI BindFails(SOCKET, const sockaddr*, int) {
    return SOCKET_ERROR;
}

// Each test has a trace log of its own, and Winsock balanced behind it.
class LocalPortTest : public ::testing::Test {
protected:
    LocalPortTest() { TraceStart(folder_.NarrowWithBackslash().c_str(), "local_port.log"); }
    ~LocalPortTest() override {
        TraceOnProcessDetach(false);
        EXPECT_EQ(balance_.Held(), 0);
    }

    std::vector<std::string> Log() {
        TraceOnProcessDetach(false);
        return test::Messages(test::ReadTraceLines(folder_.Path() / "local_port.log"));
    }

    void ExpectUnusable(std::uint32_t port, const std::string& message) {
        EXPECT_FALSE(IsPortUsable(port));
        EXPECT_EQ(Log(), (std::vector<std::string>{message}));
    }

    test::TempFolder folder_;
    const test::TakenPort taken_; // keeps Winsock started, too
    const test::WinsockBalance balance_;
};

TEST_F(LocalPortTest, AFreePortIsUsableMoreThanOnce) {
    const std::uint16_t port = test::FreePort();
    EXPECT_TRUE(IsPortUsable(port));
    EXPECT_TRUE(IsPortUsable(port));
    EXPECT_EQ(Log(), std::vector<std::string>{});
}

TEST_F(LocalPortTest, ATakenPortIsNot) {
    ExpectUnusable(taken_.Port(), "error: IsPortUsable() local port " + std::to_string(taken_.Port()) +
                                      " could not be bound.");
}

TEST_F(LocalPortTest, TheLow16BitsAreBound) {
    const std::uint32_t port = 0x10000u + taken_.Port();
    ExpectUnusable(port, "error: IsPortUsable() local port " + std::to_string(port) + " could not be bound.");
}

TEST_F(LocalPortTest, WinsockCannotBeStarted) {
    const ImportPatch patch(GetModuleHandleW(nullptr), "WSAStartup", &StartupFails);
    ExpectUnusable(1, "error: IsPortUsable() WSAStartup failed.");
    EXPECT_EQ(AllocateDynamicPort(), 0u);
}

TEST_F(LocalPortTest, NoSocketCanBeCreated) {
    const ImportPatch patch(GetModuleHandleW(nullptr), "socket", &NoSocket);
    ExpectUnusable(1, "error: IsPortUsable() could not create listener socket.");
    EXPECT_EQ(AllocateDynamicPort(), 0u);
}

TEST_F(LocalPortTest, NoSocketStaysOpen) {
    IsPortUsable(taken_.Port());
    AllocateDynamicPort();
    const std::size_t before = test::CountHandles();
    for (int round = 0; round < 20; ++round) {
        IsPortUsable(taken_.Port());
        IsPortUsable(AllocateDynamicPort());
    }
    EXPECT_EQ(test::CountHandles(), before);
}

TEST_F(LocalPortTest, TheSystemChoosesAFreePort) {
    const std::uint32_t port = AllocateDynamicPort();
    EXPECT_GT(port, 0u);
    EXPECT_LE(port, 65535u);
    EXPECT_NE(port, taken_.Port());
    EXPECT_TRUE(IsPortUsable(port));
}

TEST_F(LocalPortTest, NoPortIsChosenWithoutABinding) {
    const ImportPatch patch(GetModuleHandleW(nullptr), "bind", &BindFails);
    EXPECT_EQ(AllocateDynamicPort(), 0u);
    EXPECT_EQ(Log(), std::vector<std::string>{}); // the caller's to log
}

TEST_F(LocalPortTest, NoPortIsChosenWithoutAnAddress) {
    const ImportPatch patch(GetModuleHandleW(nullptr), "getsockname", &NameFails);
    EXPECT_EQ(AllocateDynamicPort(), 0u);
    EXPECT_EQ(Log(), std::vector<std::string>{});
}

} // namespace
} // namespace zelto
