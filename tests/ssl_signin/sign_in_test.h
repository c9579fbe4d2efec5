#pragma once

#include "tests/support/browser_sign_in_test.h"

#include <array>

namespace zelto::test {

inline constexpr wchar_t kGuardName[] = L"GetSslSamlDataExternalBrowser";

// One SSL-VPN sign-in through the export of the real DLL.
class SignInTest : public BrowserSignInTest {
protected:
    SignInTest();
    ~SignInTest() override;

    // Runs the export on the calling thread, with the gateway's own address unless told otherwise.
    std::uint32_t SignIn();
    std::uint32_t SignIn(const std::wstring& gateway);

    // Chooses a fresh local port and tells the gateway, with further settings as JSON members:
    // R"("fault":"reset")".
    void UsePort(const std::string& furtherSettings = {});

    // Makes the browser send this request line to the local port, on a thread of its own.
    void BrowserRequests(const std::string& requestLine);

    // What the caller reads in its buffer.
    std::string Id() const { return buffer_.data(); }

    std::uint32_t maximumTimeout_ = 60;
    std::array<char, 2048> buffer_ = {'o', 'l', 'd'};
    std::uint32_t bufferSize_ = static_cast<std::uint32_t>(buffer_.size());
    std::uint16_t ssoPort_ = 0;
};

} // namespace zelto::test
