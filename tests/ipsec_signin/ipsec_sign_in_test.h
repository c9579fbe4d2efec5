#pragma once

#include "tests/support/browser_sign_in_test.h"

#include <array>

namespace zelto::test {

inline constexpr wchar_t kGuardName[] = L"GetIpsecSamlDataExternalBrowser";

// One IPsec sign-in through the export of the real DLL. The gateway is at its defaults; a browser that is
// opened finds the listener's port in what the gateway was told.
class IpsecSignInTest : public BrowserSignInTest {
protected:
    IpsecSignInTest() : BrowserSignInTest(kGuardName) {}
    ~IpsecSignInTest() override { JoinBrowser(); }

    // Runs the export on the calling thread.
    std::uint32_t SignIn();

    // The same with the first row of arguments, whatever is in the members.
    std::uint32_t SignInAt(const std::wstring& host, std::uint16_t port);

    // Makes the browser, once it is opened, send this request line to the listener.
    void BrowserRequests(const std::string& requestLine);

    // The port that the gateway was last told, of the listener.
    static std::uint16_t ListenerPort();

    // Sets a fault, and more as JSON members, for the request of this sign-in.
    static void SetLoginFault(const std::string& fault, const std::string& furtherSettings = {});

    // What the caller reads in its buffers. "old" stands there before.
    std::wstring Token() const { return tokenBuffer_.data(); }
    std::wstring UserName() const { return userNameBuffer_.data(); }
    void ExpectNothingWritten() const;

    bool ExitEventIsSignalled() const { return WaitForSingleObject(exitEvent_, 0) == WAIT_OBJECT_0; }

    std::wstring userId_ = L"0123-abcd";
    std::uint32_t timeoutMs_ = 60'000;
    std::array<wchar_t, 1200> tokenBuffer_ = {L'o', L'l', L'd'};
    std::uint32_t tokenBufferSize_ = static_cast<std::uint32_t>(tokenBuffer_.size());
    std::array<wchar_t, 1200> userNameBuffer_ = {L'o', L'l', L'd'};
    std::uint32_t userNameBufferSize_ = static_cast<std::uint32_t>(userNameBuffer_.size());
};

// The last line of every failed sign-in.
inline constexpr char kCouldNotGet[] =
    "error: GetIpsecSamlDataExternalBrowser() Could not get ipsec saml data by external browser.";
inline constexpr char kUndetermined1[] = "error: Could not determine error code 1.";
inline constexpr char kNoStartUrl[] =
    "error: GetIpsecSamlDataExternalBrowser() Failed to get ipsec saml external browser start url.";

} // namespace zelto::test
