#include "tests/session_browser/session_sign_in_test.h"

#include <stdexcept>

namespace zelto::test {

SessionSignInTest::SessionSignInTest() : BrowserSignInTest(kGuardName) {
    current_ = this;
    Patch("SelectCurrentActiveTSSession", &SessionSignInTest::SelectInstead);
    Patch("CreateProcessInSessionEx", &SessionSignInTest::CreateInstead);
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
}

std::uint32_t SessionSignInTest::SignIn() {
    const std::uint32_t result = library_.SamlAuthGetResponseUsingExternalBrowser(
        gatewayUrl_.c_str(), 0x123456789ABCDEF0u, buffer_.data(), bufferSize_);
    JoinBrowser();
    EXPECT_TRUE(browserCalls_.empty()); // the shell of this session opens nothing
    return result;
}

void SessionSignInTest::BrowserRequests(const std::string& requestLine) {
    browser_ = [this, requestLine] {
        page_ = RequestPage(RedirectPort(), requestLine + "\r\nHost: 127.0.0.1\r\n\r\n");
    };
}

std::uint16_t SessionSignInTest::RedirectPort() const {
    const std::wstring& command = sessionCalls_.at(0).commandLine;
    const std::wstring name = L"&redirport=";
    return static_cast<std::uint16_t>(std::stoul(command.substr(command.rfind(name) + name.size())));
}

int SessionSignInTest::CreateInstead(DWORD session, const wchar_t* application, wchar_t* commandLine,
                                     int inherit, DWORD flags, const wchar_t* folder, DWORD* processId,
                                     HANDLE* process) {
    const bool zero = application == nullptr && flags == 0 && folder == nullptr && processId == nullptr &&
                      process == nullptr;
    current_->sessionCalls_.push_back({session, commandLine, inherit, zero});
    current_->StartBrowser();
    return 0;
}

std::string RequestPage(std::uint16_t port, const std::string& request) {
    ScriptedConnection connection(port);
    connection.Send(request);
    std::string page;
    char buffer[4096];
    while (page.find("</html>") == std::string::npos) {
        const int got = recv(connection.Socket(), buffer, sizeof(buffer), 0);
        if (got <= 0) {
            throw std::runtime_error("the page breaks off: " + page);
        }
        page.append(buffer, static_cast<std::size_t>(got));
    }
    return page;
}

} // namespace zelto::test
