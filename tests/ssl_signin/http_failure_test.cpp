#include "tests/ssl_signin/sign_in_test.h"

#include <algorithm>
#include <winhttp.h>

namespace zelto::test {
namespace {

constexpr DWORD kError = 4321;

// What the library called, of what a test records.
std::vector<std::string> calls;

// WinHTTP fails the request to the gateway, step by step.
class SslSignInHttpFailureTest : public LoggedSignInTest {
protected:
    SslSignInHttpFailureTest() { calls.clear(); }

    // The sign-in ends with the plain 1, and nothing else is logged or opened.
    void ExpectGatewayFailed(const std::vector<std::string>& clientLines) {
        EXPECT_EQ(SignIn(), 1u);
        EXPECT_EQ(GatewayLog(), "");
        EXPECT_TRUE(browserCalls_.empty());
        EXPECT_EQ(Id(), "old");
        std::vector<std::string> lines = clientLines;
        lines.push_back("error: GetRemoteInfo() GetHttpResponse() failed (" + std::to_string(kError) + ")");
        EXPECT_EQ(Log(), lines);
    }

    // The sign-in succeeds all the same; `clientLines` stand before its own.
    void ExpectSignedIn(const std::vector<std::string>& clientLines = {}) {
        BrowserRequests("GET /?id=XYZ HTTP/1.1");
        EXPECT_EQ(SignIn(), 0u);
        EXPECT_EQ(Id(), "XYZ");
        std::vector<std::string> lines = clientLines;
        for (const std::string& line : CallersLines({kGotId})) {
            lines.push_back(line);
        }
        ExpectLogOfThreads(lines, OthersLines());
    }
};

HINTERNET WINAPI NoSession(LPCWSTR, DWORD, LPCWSTR, LPCWSTR, DWORD) {
    SetLastError(kError);
    return nullptr;
}

TEST_F(SslSignInHttpFailureTest, NoSession) {
    Patch("WinHttpOpen", &NoSession);
    ExpectGatewayFailed({"error: GetHttpResponse() WinHttpOpen() failed."});
}

BOOL WINAPI RefuseTimeouts(HINTERNET, int resolve, int connect, int send, int receive) {
    for (const int milliseconds : {resolve, connect, send, receive}) {
        EXPECT_EQ(milliseconds, 10'000);
    }
    SetLastError(kError);
    return FALSE;
}

TEST_F(SslSignInHttpFailureTest, TimeOutsThatCannotBeSetAreOnlyLogged) {
    Patch("WinHttpSetTimeouts", &RefuseTimeouts);
    ExpectSignedIn({"error: GetHttpResponse() Could not set timeout value for http."});
}

HINTERNET WINAPI NoConnection(HINTERNET, LPCWSTR, INTERNET_PORT, DWORD) {
    SetLastError(kError);
    return nullptr;
}

TEST_F(SslSignInHttpFailureTest, NoConnection) {
    Patch("WinHttpConnect", &NoConnection);
    ExpectGatewayFailed({"error: GetHttpResponse() WinHttpConnect failed."});
}

HINTERNET WINAPI NoRequest(HINTERNET, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR*, DWORD) {
    SetLastError(kError);
    return nullptr;
}

TEST_F(SslSignInHttpFailureTest, NoRequest) {
    Patch("WinHttpOpenRequest", &NoRequest);
    ExpectGatewayFailed({"error: GetHttpResponse() WinHttpOpenRequest failed."});
}

BOOL WINAPI RecordOption(HINTERNET handle, DWORD option, LPVOID value, DWORD length) {
    calls.push_back("option " + std::to_string(option) + (value == nullptr ? " null " : " value ") +
                    std::to_string(length));
    return WinHttpSetOption(handle, option, value, length);
}

BOOL WINAPI AskForCertificate(HINTERNET, LPCWSTR, DWORD, LPVOID, DWORD, DWORD, DWORD_PTR) {
    calls.emplace_back("send");
    SetLastError(ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED);
    return FALSE;
}

// The first time only.
BOOL WINAPI AskForCertificateOnce(HINTERNET request, LPCWSTR headers, DWORD headersLength, LPVOID body,
                                  DWORD length, DWORD total, DWORD_PTR context) {
    if (std::count(calls.begin(), calls.end(), "send") == 0) {
        return AskForCertificate(request, headers, headersLength, body, length, total, context);
    }
    calls.emplace_back("send");
    return WinHttpSendRequest(request, headers, headersLength, body, length, total, context);
}

// The second request reaches the gateway, but the library is told that it did not.
BOOL WINAPI AskForCertificateAndFail(HINTERNET request, LPCWSTR headers, DWORD headersLength, LPVOID body,
                                     DWORD length, DWORD total, DWORD_PTR context) {
    if (AskForCertificateOnce(request, headers, headersLength, body, length, total, context)) {
        SetLastError(ERROR_WINHTTP_CONNECTION_ERROR);
    }
    return FALSE;
}

BOOL WINAPI ReceiveNothing(HINTERNET, LPVOID) {
    calls.emplace_back("receive");
    SetLastError(kError);
    return FALSE;
}

// The gateway asks for a client certificate: the request is sent once more, without one.
class SslSignInCertificateTest : public SslSignInHttpFailureTest {
protected:
    SslSignInCertificateTest() { Patch("WinHttpSetOption", &RecordOption); }

    // The security flags, and between the two requests the client certificate, which is none.
    static void ExpectSentTwice(const std::vector<std::string>& furtherCalls = {}) {
        std::vector<std::string> expected = {"option 31 value 4", "send", "option 47 null 0", "send"};
        expected.insert(expected.end(), furtherCalls.begin(), furtherCalls.end());
        EXPECT_EQ(calls, expected);
    }
};

TEST_F(SslSignInCertificateTest, TheSecondRequestIsAnswered) {
    Patch("WinHttpSendRequest", &AskForCertificateOnce);
    ExpectSignedIn();
    ExpectSentTwice();
}

TEST_F(SslSignInCertificateTest, ASecondRequestThatFailsIsOnlyLogged) {
    Patch("WinHttpSendRequest", &AskForCertificateAndFail);
    ExpectSignedIn({"error: GetHttpResponse() WinHttpSendRequest failed."});
    ExpectSentTwice();
}

TEST_F(SslSignInCertificateTest, ThereIsNoThirdRequest) {
    Patch("WinHttpSendRequest", &AskForCertificate);
    Patch("WinHttpReceiveResponse", &ReceiveNothing);
    ExpectGatewayFailed({
        "error: GetHttpResponse() WinHttpSendRequest failed.",
        "error: GetHttpResponse() WinHttpReceiveResponse failed.",
    });
    ExpectSentTwice({"receive"});
}

} // namespace
} // namespace zelto::test
