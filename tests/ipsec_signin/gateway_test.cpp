#include "tests/ipsec_signin/ipsec_sign_in_test.h"

#include <algorithm>
#include <winhttp.h>

namespace zelto::test {
namespace {

constexpr std::uint32_t kTimeout = 0xA7000003;

// What the gateway is asked, and the page that it names.
class IpsecSignInStartUrlTest : public IpsecSignInTest {
protected:
    // The gateway names `address` (of JSON text); this is what the browser is opened at.
    void ExpectOpened(const std::string& address, const std::wstring& url) {
        SetGateway(R"({"start_address":")" + address + R"("})");
        ExpectOpened(url);
    }

    void ExpectOpened(const std::wstring& url) {
        BrowserRequests("GET /?tokenid=abc&username=bob HTTP/1.1");
        EXPECT_EQ(SignIn(), 0u);
        ASSERT_EQ(browserCalls_.size(), 1u);
        EXPECT_EQ(browserCalls_[0].url, url);
        EXPECT_EQ(Token(), L"abc");
    }

    void ExpectAsked(const std::string& part) {
        const std::string log = GatewayLog();
        EXPECT_NE(log.find(part), std::string::npos) << part << " is not in " << log;
    }
};

TEST_F(IpsecSignInStartUrlTest, TheGatewayIsToldUserIdAndPort) {
    ExpectOpened("https://gw/start", L"https://gw/start");
    const std::string log = GatewayLog();
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
    ExpectAsked(R"("method": "POST", "path": "/saml_login?")");
    ExpectAsked(R"("Content-Type": "application/x-www-form-urlencoded")");
    ExpectAsked(R"("User-Agent": "ZeltoClient Windows")");
    ExpectAsked(R"("body": "UID=0123-abcd&REDIRECT_PORT=)" + std::to_string(ListenerPort()) + "\"");
}

TEST_F(IpsecSignInStartUrlTest, TheUserIdIsSentAsItIsInUtf8) {
    userId_ = L"j\u00F6rg & \u65E5=%41";
    ExpectOpened("https://gw/start", L"https://gw/start");
    ExpectAsked("\"body\": \"UID=j\xC3\xB6rg & \xE6\x97\xA5=%41&REDIRECT_PORT=");
}

TEST_F(IpsecSignInStartUrlTest, ALoneSurrogateInTheUserIdIsReplaced) {
    userId_ = std::wstring(L"a") + static_cast<wchar_t>(0xD83D) + L"b" + static_cast<wchar_t>(0xDE00);
    ExpectOpened("https://gw/start", L"https://gw/start");
    ExpectAsked("\"body\": \"UID=a\xEF\xBF\xBD"
                "b\xEF\xBF\xBD&REDIRECT_PORT=");
}

TEST_F(IpsecSignInStartUrlTest, WhatTheShellAnswersIsNotLookedAt) {
    shellResult_ = nullptr; // out of memory
    ExpectOpened("https://gw/start", L"https://gw/start");
    EXPECT_EQ(Errors(), std::vector<std::string>{});
}

TEST_F(IpsecSignInStartUrlTest, AnEmptyUserIdStaysEmpty) {
    userId_.clear();
    ExpectOpened("https://gw/start", L"https://gw/start");
    ExpectAsked("\"body\": \"UID=&REDIRECT_PORT=");
}

TEST_F(IpsecSignInStartUrlTest, TheAddressIsUsedAsItStands) {
    ExpectOpened("gw:1/a b?c=%41&amp;d='e'+f#g", L"gw:1/a b?c=%41&amp;d='e'+f#g");
}

TEST_F(IpsecSignInStartUrlTest, TheAddressIsUtf8) {
    ExpectOpened("https://gw/\xC3\xBC\xE6\x97\xA5", L"https://gw/\u00FC\u65E5");
}

TEST_F(IpsecSignInStartUrlTest, TheGatewaysOwnPage) {
    BrowserRequests("GET /?tokenid=abc&username=bob HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    ASSERT_EQ(browserCalls_.size(), 1u);
    EXPECT_TRUE(browserCalls_[0].url.starts_with(GatewayAddress() + L"/idp/login?flow="));
    EXPECT_EQ(browserCalls_[0].window, nullptr);
    EXPECT_EQ(browserCalls_[0].verb, L"open");
    EXPECT_FALSE(browserCalls_[0].hasParameters);
    EXPECT_FALSE(browserCalls_[0].hasDirectory);
    EXPECT_EQ(browserCalls_[0].show, 1);
}

TEST_F(IpsecSignInStartUrlTest, TheStatusOfTheAnswerDoesNotCount) {
    SetLoginFault("status", R"("status":500,"body":"window.location=\"https://gw/\"")");
    ExpectOpened(L"https://gw/");
}

TEST_F(IpsecSignInStartUrlTest, AnAnswerOver1024BytesWithTheMarkerBeforeThatBorder) {
    SetGateway(R"({"start_address":"https://gw/"})");
    SetLoginFault("oversized", R"("size":4000,"padding":"after")");
    ExpectOpened(L"https://gw/");
}

TEST_F(IpsecSignInStartUrlTest, ASlowGateway) {
    SetGateway(R"({"start_address":"https://gw/"})");
    SetLoginFault("slow", R"("delay_ms":700)");
    ExpectOpened(L"https://gw/");
}

// The gateway answers, but names no page.
class IpsecSignInNoStartUrlTest : public IpsecSignInTest {
protected:
    // `own`: what the step that failed says itself. The exit event is signalled and no browser is opened.
    void ExpectNoStartUrl(const std::vector<std::string>& own) {
        EXPECT_EQ(SignIn(), kTimeout);
        ExpectGivenUp(own);
    }

    void ExpectGivenUp(std::vector<std::string> errors) {
        EXPECT_TRUE(ExitEventIsSignalled());
        EXPECT_TRUE(browserCalls_.empty());
        ExpectNothingWritten();
        for (const char* line : {kNoStartUrl, kUndetermined1, kCouldNotGet}) {
            errors.emplace_back(line);
        }
        EXPECT_EQ(Errors(), errors);
    }

    static std::string NotExtracted(const std::string& answer) {
        return "error: QueryIpsecExtBrowserSamlStartUrl() could not extract the start url in response.(" +
               answer + ")";
    }
};

TEST_F(IpsecSignInNoStartUrlTest, AnAnswerWithoutTheMarkerIsLogged) {
    SetLoginFault("status", R"("status":200,"body":"window.location='https://gw/'")");
    ExpectNoStartUrl({NotExtracted("window.location='https://gw/'")});
}

TEST_F(IpsecSignInNoStartUrlTest, AnAnswerWithoutTheClosingQuoteIsLogged) {
    SetLoginFault("status", R"("status":200,"body":"window.location=\"https://gw/")");
    ExpectNoStartUrl({NotExtracted("window.location=\"https://gw/")});
}

TEST_F(IpsecSignInNoStartUrlTest, APageOfTheGatewayWithoutTheMarker) {
    SetGateway(R"({"start_address":"https://gw/"})");
    SetLoginFault("no_marker");
    ExpectNoStartUrl({NotExtracted("<!DOCTYPE html>\n<html lang='en'>\n"
                                   "<script>window.open('https://gw/');</script>\n</html>\n")});
}

TEST_F(IpsecSignInNoStartUrlTest, APageOfTheGatewayWithoutTheClosingQuote) {
    SetGateway(R"({"start_address":"https://gw/"})");
    SetLoginFault("no_closing_quote");
    ExpectNoStartUrl({NotExtracted("<!DOCTYPE html>\n<html lang='en'>\n"
                                   "<script>window.location=\"https://gw/;</script>\n</html>\n")});
}

TEST_F(IpsecSignInNoStartUrlTest, AnEmptyAddressHasNoMessageOfItsOwn) {
    SetLoginFault("empty_address");
    ExpectNoStartUrl({});
}

TEST_F(IpsecSignInNoStartUrlTest, AnAnswerOver1024BytesWithTheMarkerBehindThatBorder) {
    SetLoginFault("oversized", R"("size":4000,"padding":"before")");
    ExpectNoStartUrl({NotExtracted(std::string(1024, '.'))});
}

TEST_F(IpsecSignInNoStartUrlTest, AnEmptyAnswer) {
    SetLoginFault("status", R"("status":200,"body":"")");
    ExpectNoStartUrl({NotExtracted("")});
}

TEST_F(IpsecSignInNoStartUrlTest, AZeroByteEndsTheAnswer) {
    SetLoginFault("zero_byte", R"("position":9)");
    ExpectNoStartUrl({NotExtracted("<!DOCTYPE")});
}

TEST_F(IpsecSignInNoStartUrlTest, NobodyListensAtTheGateway) {
    EXPECT_EQ(SignInAt(L"127.0.0.1", FreePort()), kTimeout);
    ExpectGivenUp({"error: GetHttpResponse() WinHttpSendRequest failed."});
}

// The gateway is done with the request before the next test begins.
BOOL WINAPI ReceiveTimesOut(HINTERNET request, LPVOID) {
    WinHttpReceiveResponse(request, nullptr);
    SetLastError(ERROR_WINHTTP_TIMEOUT);
    return FALSE;
}

TEST_F(IpsecSignInNoStartUrlTest, TheRequestFails) {
    Patch("WinHttpReceiveResponse", &ReceiveTimesOut);
    ExpectNoStartUrl({"error: GetHttpResponse() WinHttpReceiveResponse failed."});
}

BOOL WINAPI RejectHeaders(HINTERNET, LPCWSTR headers, DWORD length, DWORD modifiers) {
    EXPECT_STREQ(headers, L"Content-Type: application/x-www-form-urlencoded\r\n");
    EXPECT_EQ(length, 0xFFFFFFFFu); // up to the terminator
    EXPECT_EQ(modifiers, 0u);
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}

TEST_F(IpsecSignInNoStartUrlTest, TheHeadersAreRejected) {
    Patch("WinHttpAddRequestHeaders", &RejectHeaders);
    ExpectNoStartUrl({"error: GetHttpResponse() Could not add headers to req."});
    EXPECT_EQ(GatewayLog(), "");
}

TEST_F(IpsecSignInNoStartUrlTest, TheConnectionIsReset) {
    SetLoginFault("reset");
    EXPECT_EQ(SignIn(), kTimeout);
    EXPECT_TRUE(ExitEventIsSignalled());
    EXPECT_EQ(Errors().back(), kCouldNotGet);
}

// What the library asked WinHTTP to connect to.
std::wstring connectedHost;
HINTERNET WINAPI RecordConnect(HINTERNET session, LPCWSTR host, INTERNET_PORT port, DWORD reserved) {
    connectedHost = host;
    return WinHttpConnect(session, host, port, reserved);
}

TEST_F(IpsecSignInNoStartUrlTest, TheHostIsNotSplit) {
    Patch("WinHttpConnect", &RecordConnect);
    EXPECT_EQ(SignInAt(L"https://127.0.0.1/realm", GatewayPort()), kTimeout);
    EXPECT_EQ(connectedHost, L"https://127.0.0.1/realm");
}

} // namespace
} // namespace zelto::test
