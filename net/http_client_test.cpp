// The HTTP client against a gateway over TLS: what the gateway receives, and what becomes of its answers.

#include "net/http_client.h"

#include "tests/support/gateway_control.h"
#include "tests/support/import_patch.h"
#include "tests/support/process_counts.h"
#include "tests/support/scripted_browser.h"
#include "tests/support/trace_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>
#include <vector>
#include <windows.h>
#include <winhttp.h>

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

struct Answer {
    std::uint32_t result = 0;
    std::string text = "old text";
};

Answer Ask(const std::wstring& path, HttpVerb verb = HttpVerb::Get, const std::wstring& headers = {},
           const std::string& body = {}, std::uint32_t port = GatewayPort()) {
    Answer answer;
    SetLastError(ERROR_ALREADY_EXISTS); // as a flow's mutex may leave it
    answer.result = GetHttpResponse(answer.text, L"127.0.0.1", path, port, verb, headers, body);
    return answer;
}

class HttpClientTest : public testing::Test {
protected:
    void SetUp() override { ResetGateway(); }

    // The messages so far; ends the recording.
    std::vector<std::string> Logged() { return trace.Take(); }

    TraceRecording trace;
};

TEST_F(HttpClientTest, AGetReturnsTheAnswerAndZero) {
    const Answer answer = Ask(L"/remote/info");
    EXPECT_EQ(answer.result, 0u);
    EXPECT_THAT(answer.text, HasSubstr("sso_port='"));
    EXPECT_THAT(Logged(), ElementsAre("info: GetHttpResponse() response=" + answer.text));
}

TEST_F(HttpClientTest, AGetSendsNoHeadersOfItsOwnAndNoBody) {
    Ask(L"/remote/info");
    const std::string log = GatewayLog();
    EXPECT_THAT(log, HasSubstr("\"method\": \"GET\", \"path\": \"/remote/info\""));
    EXPECT_THAT(log, HasSubstr("\"body\": \"\""));
    EXPECT_THAT(log, HasSubstr("\"User-Agent\": \"ZeltoClient Windows\""));
    EXPECT_THAT(log, HasSubstr("\"Host\": \"127.0.0.1:" + std::to_string(GatewayPort()) + "\""));
    EXPECT_THAT(log, Not(HasSubstr("\"Content-Type\"")));
    EXPECT_THAT(log, Not(HasSubstr("\"Accept\"")));
}

TEST_F(HttpClientTest, APostCarriesItsHeaderAndItsBody) {
    const Answer answer =
        Ask(L"/saml_login?", HttpVerb::Post, L"Content-Type: application/x-www-form-urlencoded\r\n",
            "UID=4711&REDIRECT_PORT=51000");
    EXPECT_EQ(answer.result, 0u);
    const std::string log = GatewayLog();
    EXPECT_THAT(log, HasSubstr("\"method\": \"POST\", \"path\": \"/saml_login?\""));
    EXPECT_THAT(log, HasSubstr("\"Content-Type\": \"application/x-www-form-urlencoded\""));
    EXPECT_THAT(log, HasSubstr("\"Content-Length\": \"28\""));
    EXPECT_THAT(log, HasSubstr("\"body\": \"UID=4711&REDIRECT_PORT=51000\""));
}

TEST_F(HttpClientTest, APutIsSentAsPut) {
    Ask(L"/anything", HttpVerb::Put, L"", "text");
    EXPECT_THAT(GatewayLog(), HasSubstr("\"method\": \"PUT\", \"path\": \"/anything\""));
}

TEST_F(HttpClientTest, SeveralHeadersAreSent) {
    Ask(L"/remote/info", HttpVerb::Get, L"X-First: 1\r\nX-Second: two words\r\n");
    const std::string log = GatewayLog();
    EXPECT_THAT(log, HasSubstr("\"X-First\": \"1\""));
    EXPECT_THAT(log, HasSubstr("\"X-Second\": \"two words\""));
}

int requestOptions;
BOOL(WINAPI* originalSetOption)(HINTERNET, DWORD, LPVOID, DWORD);

BOOL WINAPI SetOptionWithoutSecurityFlags(HINTERNET handle, DWORD option, LPVOID value, DWORD length) {
    ++requestOptions;
    return option == WINHTTP_OPTION_SECURITY_FLAGS || originalSetOption(handle, option, value, length);
}

// The gateway's certificate is signed by itself, names another host and has expired. It is the flags that let
// it pass.
TEST_F(HttpClientTest, ASelfSignedExpiredAndMismatchedCertificateIsAccepted) {
    EXPECT_EQ(Ask(L"/remote/info").result, 0u);
    const ImportPatch patch(GetModuleHandleW(nullptr), "WinHttpSetOption", SetOptionWithoutSecurityFlags);
    originalSetOption = patch.Original<BOOL WINAPI(HINTERNET, DWORD, LPVOID, DWORD)>();
    requestOptions = 0;
    EXPECT_THAT(Ask(L"/remote/info").result,
                testing::AnyOf(ERROR_WINHTTP_SECURE_FAILURE, ERROR_WINHTTP_SECURE_CHANNEL_ERROR));
    EXPECT_EQ(requestOptions, 1);
}

TEST_F(HttpClientTest, AnAnswerOf2000BytesIsCutAt1024) {
    SetGateway(R"({"fault":"oversized","size":2000})");
    const Answer answer = Ask(L"/remote/info");
    EXPECT_EQ(answer.result, 0u);
    EXPECT_EQ(answer.text.size(), 1024u);
    EXPECT_THAT(answer.text, HasSubstr("sso_port='"));
}

TEST_F(HttpClientTest, AnAnswerOf1024BytesIsWhole) {
    SetGateway(R"({"fault":"oversized","size":1024})");
    EXPECT_EQ(Ask(L"/remote/info").text.size(), 1024u);
    SetGateway(R"({"fault":"oversized","size":1023})");
    EXPECT_EQ(Ask(L"/remote/info").text.size(), 1023u);
}

TEST_F(HttpClientTest, AnAnswerEndsBeforeItsFirstZeroByte) {
    SetGateway(R"({"fault":"zero_byte","position":10})");
    const Answer answer = Ask(L"/remote/info");
    EXPECT_EQ(answer.result, 0u);
    EXPECT_EQ(answer.text.size(), 10u);
}

TEST_F(HttpClientTest, AnEmptyAnswerIsASuccess) {
    SetGateway(R"({"fault":"raw_body","status":200,"body":""})");
    const Answer answer = Ask(L"/remote/info");
    EXPECT_EQ(answer.result, 0u);
    EXPECT_EQ(answer.text, "");
}

TEST_F(HttpClientTest, AnErrorPageIsAnAnswer) {
    for (const char* status : {"401", "403", "404", "500", "503"}) {
        SetGateway(std::string(R"({"fault":"status","status":)") + status + R"(,"body":"page of )" + status +
                   "\"}");
        const Answer answer = Ask(L"/remote/info");
        EXPECT_EQ(answer.result, 0u) << status;
        EXPECT_EQ(answer.text, std::string("page of ") + status);
    }
}

TEST_F(HttpClientTest, AClientCertificateThatIsOnlyAskedForIsNotNeeded) {
    SetGateway(R"({"fault":"client_certificate","certificate":"optional"})");
    const Answer answer = Ask(L"/remote/info");
    EXPECT_EQ(answer.result, 0u);
    EXPECT_THAT(answer.text, HasSubstr("sso_port='"));
    EXPECT_THAT(GatewayLog(), HasSubstr("\"client_certificate\": false"));
}

TEST_F(HttpClientTest, AClientCertificateThatIsDemandedByTlsItselfIsAFailure) {
    SetGateway(R"({"fault":"client_certificate","certificate":"required"})");
    const Answer answer = Ask(L"/remote/info");
    EXPECT_NE(answer.result, 0u);
    EXPECT_EQ(answer.text, "");
    EXPECT_THAT(Logged(), ElementsAre("error: GetHttpResponse() WinHttpSendRequest failed."));
}

int sends;
BOOL(WINAPI* originalSend)(HINTERNET, LPCWSTR, DWORD, LPVOID, DWORD, DWORD, DWORD_PTR);

// Windows asks for the certificate before it sends; Wine never does.
BOOL WINAPI SendThatWantsACertificateFirst(HINTERNET request, LPCWSTR headers, DWORD headersLength,
                                           LPVOID body, DWORD length, DWORD total, DWORD_PTR context) {
    if (sends++ == 0) {
        SetLastError(ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED);
        return FALSE;
    }
    return originalSend(request, headers, headersLength, body, length, total, context);
}

TEST_F(HttpClientTest, AGatewayThatWantsACertificateIsAskedAgainAndItsErrorPageReturned) {
    SetGateway(R"({"fault":"status","status":403,"body":"no certificate"})");
    const ImportPatch patch(GetModuleHandleW(nullptr), "WinHttpSendRequest", SendThatWantsACertificateFirst);
    originalSend = patch.Original<BOOL WINAPI(HINTERNET, LPCWSTR, DWORD, LPVOID, DWORD, DWORD, DWORD_PTR)>();
    sends = 0;
    const Answer answer = Ask(L"/remote/info");
    EXPECT_EQ(answer.result, 0u);
    EXPECT_EQ(answer.text, "no certificate");
    EXPECT_EQ(sends, 2);
    EXPECT_THAT(Logged(), ElementsAre("info: GetHttpResponse() response=no certificate"));
}

// Each of these ends the request with an error of its own; which one, the system decides.
class BrokenConnectionTest : public HttpClientTest, public testing::WithParamInterface<const char*> {};

TEST_P(BrokenConnectionTest, IsAFailureThatIsLogged) {
    SetGateway(GetParam());
    const Answer answer = Ask(L"/remote/info");
    EXPECT_NE(answer.result, 0u);
    EXPECT_EQ(answer.text, "");
    EXPECT_THAT(Logged(),
                ElementsAre(testing::AnyOf("error: GetHttpResponse() WinHttpSendRequest failed.",
                                           "error: GetHttpResponse() WinHttpReceiveResponse failed.")));
}

INSTANTIATE_TEST_SUITE_P(Faults, BrokenConnectionTest,
                         testing::Values(R"({"fault":"reset","stage":"handshake"})",
                                         R"({"fault":"reset","stage":"request"})",
                                         R"({"fault":"bad_handshake","handshake":"garbage"})",
                                         R"({"fault":"bad_handshake","handshake":"alert"})",
                                         R"({"fault":"bad_handshake","handshake":"close"})"));

TEST_F(HttpClientTest, ARefusedConnectionIsAFailure) {
    const Answer answer = Ask(L"/remote/info", HttpVerb::Get, L"", "", FreePort());
    EXPECT_EQ(answer.result, static_cast<std::uint32_t>(ERROR_WINHTTP_CANNOT_CONNECT));
    EXPECT_EQ(answer.text, "");
    EXPECT_THAT(Logged(), ElementsAre("error: GetHttpResponse() WinHttpSendRequest failed."));
}

TEST_F(HttpClientTest, AHostThatNobodyKnowsIsAFailure) {
    std::string text;
    const std::uint32_t result =
        GetHttpResponse(text, L"gateway.invalid", L"/remote/info", GatewayPort(), HttpVerb::Get, L"", "");
    EXPECT_EQ(result, static_cast<std::uint32_t>(ERROR_WINHTTP_NAME_NOT_RESOLVED));
    EXPECT_THAT(Logged(), ElementsAre("error: GetHttpResponse() WinHttpSendRequest failed."));
}

TEST_F(HttpClientTest, OnlyTheLow16BitsOfThePortCount) {
    EXPECT_EQ(Ask(L"/remote/info", HttpVerb::Get, L"", "", 0x70000u + GatewayPort()).result, 0u);
}

BOOL(WINAPI* originalSetTimeouts)(HINTERNET, int, int, int, int);

// Wine takes no notice of the receive time-out while it waits for the head of the answer; Windows does.
BOOL WINAPI ShorterTimeouts(HINTERNET session, int, int, int, int) {
    DWORD wholeAnswer = 5000; // the handshake has as long
    WinHttpSetOption(session, WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, &wholeAnswer, sizeof(wholeAnswer));
    return originalSetTimeouts(session, 5000, 5000, 5000, 5000);
}

TEST_F(HttpClientTest, AGatewayThatStaysSilentTimesOut) {
    SetGateway(R"({"fault":"silent","stage":"request"})");
    const ImportPatch patch(GetModuleHandleW(nullptr), "WinHttpSetTimeouts", ShorterTimeouts);
    originalSetTimeouts = patch.Original<BOOL WINAPI(HINTERNET, int, int, int, int)>();
    const Answer answer = Ask(L"/remote/info");
    EXPECT_THAT(answer.result, testing::AnyOf(ERROR_WINHTTP_TIMEOUT, WSAETIMEDOUT)); // the latter on Wine
    EXPECT_EQ(answer.text, "");
    EXPECT_THAT(Logged(), ElementsAre("error: GetHttpResponse() WinHttpReceiveResponse failed."));
}

TEST_F(HttpClientTest, CallsOnSeveralThreadsShareNothing) {
    std::vector<std::thread> threads;
    std::vector<Answer> answers(4);
    for (std::size_t index = 0; index < answers.size(); ++index) {
        threads.emplace_back([&answers, index] {
            for (int round = 0; round < 5; ++round) {
                answers[index] = Ask(L"/remote/info?caller=" + std::to_wstring(index));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const Answer& answer : answers) {
        EXPECT_EQ(answer.result, 0u);
        EXPECT_THAT(answer.text, HasSubstr("sso_port='"));
    }
}

TEST_F(HttpClientTest, HandlesStayFlatOverManyRequests) {
    const auto goodAndBad = [] {
        Ask(L"/remote/info");
        Ask(L"/remote/info", HttpVerb::Get, L"", "", 1);
    };
    for (int round = 0; round < 3; ++round) {
        goodAndBad();
    }
    const std::size_t handles = CountHandles();
    for (int round = 0; round < 20; ++round) {
        goodAndBad();
    }
    EXPECT_LE(CountHandles(), handles + 5); // one that each request leaves would be forty
}

} // namespace
} // namespace zelto::test
