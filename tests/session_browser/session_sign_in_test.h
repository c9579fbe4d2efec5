#pragma once

#include "tests/support/browser_sign_in_test.h"

#include <array>

namespace zelto::test {

inline constexpr wchar_t kGuardName[] = L"SamlAuthGetResponseUsingExternalBrowser";
inline constexpr char kCalled[] = "info: dll-SamlAuthGetResponseUsingExternalBrowser called";
inline constexpr char kFixedResult[] = "info: SamlGetResponseUsingExternalAuthProvider result: 0";

// What CreateProcessInSessionEx was given.
struct SessionCall {
    DWORD session;
    std::wstring commandLine;
    int inherit;
    bool othersAreZero;
};

// One sign-in in another session through the export of the real DLL. The two functions of the session utility
// library are replaced: session 7 is the active one, and a command started in it is a scripted browser.
class SessionSignInTest : public BrowserSignInTest {
protected:
    SessionSignInTest();
    ~SessionSignInTest() override { JoinBrowser(); }

    // Runs the export on the calling thread.
    std::uint32_t SignIn();

    // Makes the browser send this request line to the port of its address, and read the page.
    void BrowserRequests(const std::string& requestLine);

    // The port that the browser's address names.
    std::uint16_t RedirectPort() const;

    std::string Response() const { return buffer_.data(); }

    std::wstring gatewayUrl_ = L"https://gw:8443/remote/saml/start?realm=x";
    std::array<char, 1200> buffer_ = {'o', 'l', 'd'};
    std::uint32_t bufferSize_ = static_cast<std::uint32_t>(buffer_.size());
    std::vector<SessionCall> sessionCalls_;

private:
    static DWORD SelectInstead() { return 7; }
    static int CreateInstead(DWORD session, const wchar_t* application, wchar_t* commandLine, int inherit,
                             DWORD flags, const wchar_t* folder, DWORD* processId, HANDLE* process);

    static inline SessionSignInTest* current_ = nullptr;
};

// Sends the request and reads the page up to its end: the library leaves these connections open.
std::string RequestPage(std::uint16_t port, const std::string& request);

} // namespace zelto::test
