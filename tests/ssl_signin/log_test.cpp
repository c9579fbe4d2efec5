#include "tests/ssl_signin/sign_in_test.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace zelto::test {
namespace {

// The threads of a sign-in write at the same time: only the order within each of them is certain.
std::map<std::uint32_t, std::vector<std::string>> ByThread(const std::vector<TraceLine>& records) {
    std::map<std::uint32_t, std::vector<TraceLine>> lines;
    for (const TraceLine& record : records) {
        lines[record.tid].push_back(record);
    }
    std::map<std::uint32_t, std::vector<std::string>> messages;
    for (const auto& [thread, own] : lines) {
        const std::vector<std::string> texts = WithoutSocketValues(Messages(own));
        if (!texts.empty()) {
            messages[thread] = texts;
        }
    }
    return messages;
}

std::string Hexadecimal(HANDLE handle) {
    char text[24] = {};
    std::snprintf(text, sizeof(text), "0x%x",
                  static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(handle)));
    return text;
}

class SslSignInLogTest : public SignInTest {
protected:
    SslSignInLogTest() {
        SetGateway(R"({"fault":"status","status":200,"body":")" + Answer() +
                   R"("})"); // one line, for the log
    }

    std::string Answer() const {
        return "<signin sso_port='" + std::to_string(ssoPort_) + "' remoteauthtimeout='60'/>";
    }

    std::string HttpAnswered() const { return "info: GetHttpResponse() response=" + Answer(); }

    std::string ListenerCalled(const std::string& milliseconds) const {
        return "info: called. dwPort=" + std::to_string(ssoPort_) + ", dwTimeout=" + milliseconds +
               ", hEvtExit=" + Hexadecimal(exitEvent_);
    }

    std::string BrowserOpens() const {
        return "info: Browser opens url https://127.0.0.1:" + std::to_string(GatewayPort()) +
               "/remote/saml/start?redirect=1";
    }

    // The lines of the calling thread and those of all other threads, a thread's own in order.
    void ExpectThreads(const std::vector<std::string>& caller, std::vector<std::vector<std::string>> others) {
        auto threads = ByThread(Records());
        EXPECT_EQ(threads[GetCurrentThreadId()], caller);
        threads.erase(GetCurrentThreadId());
        std::vector<std::vector<std::string>> found;
        for (auto& [thread, lines] : threads) {
            found.push_back(std::move(lines));
        }
        std::sort(found.begin(), found.end());
        std::sort(others.begin(), others.end());
        EXPECT_EQ(found, others);
    }
};

TEST_F(SslSignInLogTest, AWholeSignIn) {
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    ExpectThreads(
        {
            HttpAnswered(),
            "info: Timeout for external browser auth: 60",
            BrowserOpens(),
            "info: GetSslSamlDataExternalBrowser() Get auth id from external browser successfully.",
        },
        {
            {
                ListenerCalled("60000"),
                "info: Client socket(#) established.",
                "info: RecvReqDataFromExtBrow() Got auth id from external browser successfully.",
            },
            {
                "debug: RecvFromSocket() Read event on the socket.",
                "info: Get authId successfully!",
            },
        });
}

TEST_F(SslSignInLogTest, ACancelledSignIn) {
    SetEvent(exitEvent_);
    EXPECT_EQ(SignIn(), 0xA7000007u);
    ExpectThreads(
        {
            HttpAnswered(),
            "info: Timeout for external browser auth: 60",
            BrowserOpens(),
        },
        {
            {
                ListenerCalled("60000"),
                "warning: RecvReqDataFromExtBrow() Connection request was cancelled either by user or internal.",
            },
        });
}

TEST_F(SslSignInLogTest, TheIdIsNotLogged) {
    BrowserRequests("GET /?id=TheSecretIdOfThisSignIn HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    Records();
    EXPECT_EQ(ReadBytes(LibraryUnderTest::TraceLogPath()).find("TheSecretIdOfThisSignIn"), std::string::npos);
}

TEST_F(SslSignInLogTest, ErrorsAlsoGoToTheErrorCopy) {
    bufferSize_ = 1;
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), 0xA7000000u);
    Records();
    EXPECT_EQ(Messages(ReadTraceLines(LibraryUnderTest::ErrorCopyPath())),
              (std::vector<std::string>{"error: GetSslSamlDataExternalBrowser() buffer too small."}));
}

} // namespace
} // namespace zelto::test
