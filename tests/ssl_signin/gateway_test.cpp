#include "tests/ssl_signin/sign_in_test.h"

#include <algorithm>
#include <winhttp.h>

namespace zelto::test {
namespace {

constexpr std::uint32_t kGatewayFailed = 1;

// The sign-in ends with the plain 1 and no browser is opened.
class SslSignInGatewayTest : public SignInTest {
protected:
    void ExpectGatewayFailed(const std::wstring& gateway = GatewayAddress()) {
        EXPECT_EQ(SignIn(gateway), kGatewayFailed);
        EXPECT_TRUE(browserCalls_.empty());
        EXPECT_EQ(Id(), "old");
    }

    // The last error line is the flow's own and names the error of WinHTTP (12001 to 12184) or of the socket
    // below it (Winsock's, from 10004), whichever met the reset first; the line before it is the HTTP
    // client's.
    void ExpectNetworkErrorLogged() {
        const std::vector<std::string> errors = Errors();
        ASSERT_EQ(errors.size(), 2u);
        EXPECT_TRUE(errors[0].starts_with("error: GetHttpResponse() WinHttp")) << errors[0];
        const std::string before = "error: GetRemoteInfo() GetHttpResponse() failed (";
        ASSERT_TRUE(errors[1].starts_with(before)) << errors[1];
        const int code = std::stoi(errors[1].substr(before.size()));
        EXPECT_EQ(errors[1], before + std::to_string(code) + ")");
        EXPECT_GE(code, 10004);
        EXPECT_LE(code, 12184);
    }

    // Nothing but the answer is logged: a gateway without a usable port is answered in silence.
    void ExpectNoErrorLogged() { EXPECT_EQ(Errors(), std::vector<std::string>{}); }
};

TEST_F(SslSignInGatewayTest, NobodyListensAtTheGateway) {
    ExpectGatewayFailed(L"https://127.0.0.1:" + std::to_wstring(FreePort()));
    EXPECT_EQ(Errors(), (std::vector<std::string>{
                            "error: GetHttpResponse() WinHttpSendRequest failed.",
                            "error: GetRemoteInfo() GetHttpResponse() failed (12029)",
                        }));
}

TEST_F(SslSignInGatewayTest, ConnectionIsReset) {
    UsePort(R"("fault":"reset")");
    ExpectGatewayFailed();
    ExpectNetworkErrorLogged();
}

TEST_F(SslSignInGatewayTest, HandshakeFails) {
    UsePort(R"("fault":"bad_handshake")");
    ExpectGatewayFailed();
    ExpectNetworkErrorLogged();
}

// The gateway is done with the request before the next test begins.
BOOL WINAPI ReceiveTimesOut(HINTERNET request, LPVOID) {
    WinHttpReceiveResponse(request, nullptr);
    SetLastError(ERROR_WINHTTP_TIMEOUT);
    return FALSE;
}

TEST_F(SslSignInGatewayTest, TheErrorOfTheRequestIsLogged) {
    Patch("WinHttpReceiveResponse", &ReceiveTimesOut);
    ExpectGatewayFailed();
    EXPECT_EQ(Errors(), (std::vector<std::string>{
                            "error: GetHttpResponse() WinHttpReceiveResponse failed.",
                            "error: GetRemoteInfo() GetHttpResponse() failed (12002)",
                        }));
}

TEST_F(SslSignInGatewayTest, AnswerWithoutSsoPort) {
    UsePort(R"("fault":"no_sso_port")");
    ExpectGatewayFailed();
    ExpectNoErrorLogged();
}

TEST_F(SslSignInGatewayTest, EmptySsoPort) {
    SetGateway(R"({"sso_port":""})");
    ExpectGatewayFailed();
    ExpectNoErrorLogged();
}

TEST_F(SslSignInGatewayTest, SsoPortThatIsNoNumber) {
    SetGateway(R"({"sso_port":"none"})");
    ExpectGatewayFailed();
    ExpectNoErrorLogged();
}

TEST_F(SslSignInGatewayTest, SsoPortZero) {
    SetGateway(R"({"sso_port":"0"})");
    ExpectGatewayFailed();
    ExpectNoErrorLogged();
}

TEST_F(SslSignInGatewayTest, AnErrorPageWithoutSsoPort) {
    UsePort(R"("fault":"status","status":503,"body":"down")");
    ExpectGatewayFailed();
    ExpectNoErrorLogged();
}

TEST_F(SslSignInGatewayTest, TheStatusOfAnAnswerDoesNotCount) {
    UsePort();
    SetGateway(R"({"fault":"status","status":404,"body":"<a sso_port=')" + std::to_string(ssoPort_) +
               R"(' remoteauthtimeout='60'/>"})");
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    EXPECT_EQ(Id(), "XYZ");
}

// The values stand behind what one answer may hold.
TEST_F(SslSignInGatewayTest, SsoPortBehindTheFirst1024Bytes) {
    UsePort(R"("fault":"oversized","padding":"before","size":4000)");
    ExpectGatewayFailed();
    ExpectNoErrorLogged();
}

TEST_F(SslSignInGatewayTest, AnAnswerEndsAtItsFirstZeroByte) {
    UsePort(R"("fault":"zero_byte","position":10)");
    ExpectGatewayFailed();
    ExpectNoErrorLogged();
}

TEST_F(SslSignInGatewayTest, AGatewayThatAsksForAClientCertificateIsServedWithoutOne) {
    UsePort(R"("fault":"client_certificate","certificate":"optional")");
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    EXPECT_EQ(Id(), "XYZ");
}

// The port's number ends at the second ":".
TEST_F(SslSignInGatewayTest, TheGatewayIsAskedOnce) {
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(GatewayAddress() + L":1/realm"), 0u);
    const std::string log = GatewayLog();
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
    EXPECT_NE(log.find("/remote/info"), std::string::npos) << log;
}

} // namespace
} // namespace zelto::test
