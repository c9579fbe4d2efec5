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

// The same with an answer of the gateway in one line, so that the whole log can be told beforehand.
class LoggedSignInTest : public SignInTest {
protected:
    LoggedSignInTest();

    // What the calling thread logs until it waits for the browser, and `last` behind it.
    std::vector<std::string> CallersLines(const std::vector<std::string>& last = {}) const;

    // The listener's first line.
    std::string ListenerCalled() const;

    // What the listener and its reader log when the sign-in is good.
    std::vector<std::vector<std::string>> OthersLines() const;

private:
    std::string Answer() const;
};

// The calling thread's last line of a good sign-in.
inline constexpr char kGotId[] =
    "info: GetSslSamlDataExternalBrowser() Get auth id from external browser successfully.";

// The listener's last line of the same.
inline constexpr char kListenerGotId[] =
    "info: RecvReqDataFromExtBrow() Got auth id from external browser successfully.";

} // namespace zelto::test
