#include "tests/support/browser_sign_in_test.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <regex>
#include <utility>

namespace zelto::test {

BrowserSignInTest* BrowserSignInTest::current_ = nullptr;

BrowserSignInTest::BrowserSignInTest(std::wstring guardName)
    : exitEvent_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      shellResult_(reinterpret_cast<HINSTANCE>(std::intptr_t{42})), guardName_(std::move(guardName)) {
    current_ = this;
    Patch("ShellExecuteW", &BrowserSignInTest::OpenInstead);
    ResetGateway();
}

BrowserSignInTest::~BrowserSignInTest() {
    JoinBrowser();
    patches_.clear();
    UnloadAndWait(); // the next test begins with a log of its own
    current_ = nullptr;
    CloseHandle(exitEvent_);
    EXPECT_TRUE(GuardIsFree(guardName_));
}

// A detached thread of the library may still be on its last steps; it keeps the module loaded until it has
// ended.
void BrowserSignInTest::UnloadAndWait() {
    library_.Unload();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (LibraryIsLoaded() && std::chrono::steady_clock::now() < deadline) {
        Sleep(1); // nothing is signalled when a module goes
    }
    ASSERT_FALSE(LibraryIsLoaded());
}

std::vector<TraceLine> BrowserSignInTest::Records() {
    TakePatchesAway();
    UnloadAndWait();
    return ReadTraceLines(LibraryUnderTest::TraceLogPath());
}

std::vector<std::string> BrowserSignInTest::Log() {
    return Messages(Records());
}

std::vector<std::string> BrowserSignInTest::Errors() {
    std::vector<std::string> errors;
    for (const std::string& line : Log()) {
        if (line.starts_with("error: ")) {
            errors.push_back(line);
        }
    }
    return errors;
}

void BrowserSignInTest::ExpectLogOfThreads(const std::vector<std::string>& caller,
                                           std::vector<std::vector<std::string>> others) {
    std::map<std::uint32_t, std::vector<TraceLine>> threads;
    for (const TraceLine& record : Records()) {
        threads[record.tid].push_back(record);
    }
    EXPECT_EQ(Messages(threads[GetCurrentThreadId()]), caller);
    threads.erase(GetCurrentThreadId());
    std::vector<std::vector<std::string>> found;
    for (const auto& [thread, lines] : threads) {
        const std::vector<std::string> messages = WithoutSocketValues(Messages(lines));
        if (!messages.empty()) {
            found.push_back(messages);
        }
    }
    std::sort(found.begin(), found.end());
    std::sort(others.begin(), others.end());
    EXPECT_EQ(found, others);
}

void BrowserSignInTest::StartBrowser() {
    if (!browser_) {
        return;
    }
    browserThread_ = std::thread([browser = browser_] {
        try {
            browser();
        } catch (const std::exception& failure) {
            ADD_FAILURE() << "the browser: " << failure.what();
        }
    });
}

void BrowserSignInTest::JoinBrowser() {
    if (browserThread_.joinable()) {
        browserThread_.join();
    }
}

HINSTANCE WINAPI BrowserSignInTest::OpenInstead(HWND window, LPCWSTR verb, LPCWSTR url, LPCWSTR parameters,
                                                LPCWSTR directory, INT show) {
    current_->browserCalls_.push_back({window, verb, url, parameters != nullptr, directory != nullptr, show});
    current_->StartBrowser();
    return current_->shellResult_;
}

bool GuardIsFree(const std::wstring& name) {
    const HANDLE mutex = OpenMutexW(SYNCHRONIZE, FALSE, name.c_str());
    if (mutex == nullptr) {
        return GetLastError() == ERROR_FILE_NOT_FOUND;
    }
    CloseHandle(mutex);
    return false;
}

std::vector<std::string> WithoutSocketValues(std::vector<std::string> lines) {
    static const std::regex value("socket\\(0x[0-9A-F]{16}\\)");
    for (std::string& line : lines) {
        line = std::regex_replace(line, value, "socket(#)");
    }
    return lines;
}

std::string Hexadecimal(HANDLE handle) {
    char text[24] = {};
    std::snprintf(text, sizeof(text), "0x%x",
                  static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(handle)));
    return text;
}

} // namespace zelto::test
