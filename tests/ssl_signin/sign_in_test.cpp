#include "tests/ssl_signin/sign_in_test.h"

#include <chrono>
#include <regex>

namespace zelto::test {
namespace {

// A detached thread of the library may still be on its last steps; it keeps the module loaded until it has
// ended.
void UnloadAndWait(LibraryUnderTest& library) {
    library.Unload();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (LibraryIsLoaded() && std::chrono::steady_clock::now() < deadline) {
        Sleep(1); // nothing is signalled when a module goes
    }
    ASSERT_FALSE(LibraryIsLoaded());
}

} // namespace

SignInTest* SignInTest::current_ = nullptr;

EmptyLog::EmptyLog() {
    std::filesystem::remove(LibraryUnderTest::TraceLogPath());
    std::filesystem::remove(LibraryUnderTest::ErrorCopyPath());
}

SignInTest::SignInTest()
    : exitEvent_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      shellResult_(reinterpret_cast<HINSTANCE>(std::intptr_t{42})) {
    current_ = this;
    Patch("ShellExecuteW", &SignInTest::OpenInstead);
    ResetGateway();
    UsePort();
}

SignInTest::~SignInTest() {
    JoinBrowser();
    patches_.clear();
    UnloadAndWait(library_); // the next test begins with a log of its own
    current_ = nullptr;
    CloseHandle(exitEvent_);
    EXPECT_TRUE(GuardIsFree());
}

std::uint32_t SignInTest::SignIn() {
    return SignIn(GatewayAddress());
}

std::uint32_t SignInTest::SignIn(const std::wstring& gateway) {
    const std::uint32_t result = library_.GetSslSamlDataExternalBrowser(
        gateway.c_str(), maximumTimeout_, buffer_.data(), bufferSize_, exitEvent_);
    JoinBrowser();
    return result;
}

void SignInTest::UsePort(const std::string& furtherSettings) {
    ssoPort_ = FreePort();
    SetGateway(R"({"sso_port":)" + std::to_string(ssoPort_) + (furtherSettings.empty() ? "" : ",") +
               furtherSettings + "}");
}

void SignInTest::BrowserRequests(const std::string& requestLine) {
    browser_ = [this, requestLine] {
        page_ = RequestOnce(ssoPort_, requestLine + "\r\nHost: 127.0.0.1\r\n\r\n");
    };
}

std::vector<TraceLine> SignInTest::Records() {
    TakePatchesAway();
    UnloadAndWait(library_);
    return ReadTraceLines(LibraryUnderTest::TraceLogPath());
}

std::vector<std::string> SignInTest::Log() {
    return Messages(Records());
}

std::vector<std::string> SignInTest::Errors() {
    std::vector<std::string> errors;
    for (const std::string& line : Log()) {
        if (line.starts_with("error: ")) {
            errors.push_back(line);
        }
    }
    return errors;
}

HINSTANCE WINAPI SignInTest::OpenInstead(HWND window, LPCWSTR verb, LPCWSTR url, LPCWSTR parameters,
                                         LPCWSTR directory, INT show) {
    current_->browserCalls_.push_back({window, verb, url, parameters != nullptr, directory != nullptr, show});
    if (current_->browser_) {
        current_->browserThread_ = std::thread([browser = current_->browser_] {
            try {
                browser();
            } catch (const std::exception& failure) {
                ADD_FAILURE() << "the browser: " << failure.what();
            }
        });
    }
    return current_->shellResult_;
}

void SignInTest::JoinBrowser() {
    if (browserThread_.joinable()) {
        browserThread_.join();
    }
}

bool GuardIsFree() {
    const HANDLE mutex = OpenMutexW(SYNCHRONIZE, FALSE, kGuardName);
    if (mutex == nullptr) {
        return GetLastError() == ERROR_FILE_NOT_FOUND;
    }
    CloseHandle(mutex);
    return false;
}

std::vector<std::string> WithoutSocketValues(std::vector<std::string> lines) {
    static const std::regex value("^(.*Client socket\\()0x[0-9A-F]{16}(\\) established\\.)$");
    for (std::string& line : lines) {
        line = std::regex_replace(line, value, "$1#$2");
    }
    return lines;
}

} // namespace zelto::test
