#include "tests/ssl_signin/sign_in_test.h"

namespace zelto::test {
namespace {

// The port that the gateway names cannot be used: 0xA7000009, and no browser is opened.
class SslSignInPortTest : public SignInTest {
protected:
    void ExpectPortUnusable(const std::string& message) {
        EXPECT_EQ(SignIn(), 0xA7000009u);
        EXPECT_TRUE(browserCalls_.empty());
        EXPECT_EQ(Id(), "old");
        EXPECT_EQ(Errors(), (std::vector<std::string>{message}));
    }
};

TEST_F(SslSignInPortTest, PortIsTaken) {
    const TakenPort taken;
    SetGateway(R"({"sso_port":)" + std::to_string(taken.Port()) + "}");
    ExpectPortUnusable("error: IsPortUsable() local port " + std::to_string(taken.Port()) +
                       " could not be bound.");
}

int WSAAPI StartupFails(WORD, LPWSADATA) {
    return WSAVERNOTSUPPORTED;
}

TEST_F(SslSignInPortTest, WinsockCannotBeStarted) {
    Patch("WSAStartup", &StartupFails);
    ExpectPortUnusable("error: IsPortUsable() WSAStartup failed.");
}

SOCKET WSAAPI NoSocket(int, int, int) {
    return INVALID_SOCKET;
}

TEST_F(SslSignInPortTest, NoSocketCanBeCreated) {
    Patch("socket", &NoSocket);
    ExpectPortUnusable("error: IsPortUsable() could not create listener socket.");
}

// The low 16 bits go to the socket, the whole number to the log.
TEST_F(SslSignInPortTest, ThePortsRangeIsNotChecked) {
    const TakenPort taken;
    const std::string port = std::to_string(65536 + taken.Port());
    SetGateway(R"({"sso_port":)" + port + "}");
    ExpectPortUnusable("error: IsPortUsable() local port " + port + " could not be bound.");
}

std::vector<sockaddr_in> boundAddresses;

int WSAAPI RecordBind(SOCKET socket, const sockaddr* address, int length) {
    boundAddresses.push_back(*reinterpret_cast<const sockaddr_in*>(address));
    return bind(socket, address, length);
}

// Nobody but this machine reaches the port: neither while it is probed nor while the listener has it.
TEST_F(SslSignInPortTest, OnlyTheLoopbackAddressIsEverBound) {
    boundAddresses.clear();
    UsePort();
    Patch("bind", &RecordBind);
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    ASSERT_EQ(boundAddresses.size(), 2u);
    for (const sockaddr_in& address : boundAddresses) {
        EXPECT_EQ(ntohl(address.sin_addr.s_addr), INADDR_LOOPBACK);
        EXPECT_EQ(ntohs(address.sin_port), ssoPort_);
    }
}

} // namespace
} // namespace zelto::test
