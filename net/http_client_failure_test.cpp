// The HTTP client call by call, with all of WinHTTP replaced: what it is given, in which order, and what each
// failure becomes.

#include "net/http_client.h"

#include "tests/support/import_patch.h"
#include "tests/support/trace_recording.h"

#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>
#include <winhttp.h>

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

std::string Narrow(const wchar_t* text) {
    std::string narrow;
    while (text != nullptr && *text != L'\0') {
        narrow += static_cast<char>(*text++);
    }
    return text == nullptr ? "null" : narrow;
}

std::string Narrow(DWORD number) {
    return std::to_string(number);
}

const HINTERNET kSession = reinterpret_cast<HINTERNET>(std::uintptr_t{0x1000});
const HINTERNET kConnection = reinterpret_cast<HINTERNET>(std::uintptr_t{0x2000});
const HINTERNET kRequest = reinterpret_cast<HINTERNET>(std::uintptr_t{0x3000});

std::string Name(HINTERNET handle) {
    return handle == kSession      ? "session"
           : handle == kConnection ? "connection"
           : handle == kRequest    ? "request"
                                   : "unknown";
}

// What the fakes do, and what they were asked.
struct FakeWinHttp {
    std::vector<std::string> calls;
    std::string failing;           // the call that fails …
    DWORD error = 4321;            // … with this last error
    std::vector<DWORD> sendErrors; // one for each send, 0 for success; all succeed behind the last
    std::string answer = "answer";
    DWORD errorOfReceive = ERROR_SUCCESS; // last error that a receive leaves, though it succeeds
    DWORD errorOfRead = ERROR_SUCCESS;    // the same of a read
    bool readLeavesNoError = true;        // false: a read that succeeds leaves the last error as it was
};
FakeWinHttp* fake;

bool Done(const std::string& name, const std::string& arguments) {
    fake->calls.push_back(name + " " + arguments);
    SetLastError(fake->failing == name ? fake->error : ERROR_SUCCESS);
    return fake->failing != name;
}

HINTERNET WINAPI Open(LPCWSTR agent, DWORD access, LPCWSTR proxy, LPCWSTR bypass, DWORD flags) {
    const bool done = Done("open", Narrow(agent) + "," + Narrow(access) + "," + Narrow(proxy) + "," +
                                       Narrow(bypass) + "," + Narrow(flags));
    return done ? kSession : nullptr;
}

BOOL WINAPI SetTimeouts(HINTERNET handle, int resolve, int connect, int send, int receive) {
    return Done("timeouts", Name(handle) + "," + std::to_string(resolve) + "," + std::to_string(connect) +
                                "," + std::to_string(send) + "," + std::to_string(receive));
}

HINTERNET WINAPI Connect(HINTERNET handle, LPCWSTR host, INTERNET_PORT port, DWORD reserved) {
    const bool done = Done("connect", Name(handle) + "," + Narrow(host) + "," + std::to_string(port) + "," +
                                          Narrow(reserved));
    return done ? kConnection : nullptr;
}

HINTERNET WINAPI OpenRequest(HINTERNET handle, LPCWSTR verb, LPCWSTR path, LPCWSTR version, LPCWSTR referrer,
                             LPCWSTR* accept, DWORD flags) {
    const bool done =
        Done("request", Name(handle) + "," + Narrow(verb) + "," + Narrow(path) + "," + Narrow(version) + "," +
                            Narrow(referrer) + "," + (accept == nullptr ? "null" : "types") + "," +
                            (flags == WINHTTP_FLAG_SECURE ? "secure" : "other"));
    return done ? kRequest : nullptr;
}

BOOL WINAPI SetOption(HINTERNET handle, DWORD option, LPVOID value, DWORD length) {
    const std::string text = value == nullptr ? "null" : Narrow(*static_cast<const DWORD*>(value));
    return Done("option", Name(handle) + "," + Narrow(option) + "," + text + "," + Narrow(length));
}

BOOL WINAPI AddHeaders(HINTERNET handle, LPCWSTR headers, DWORD length, DWORD modifiers) {
    return Done("headers", Name(handle) + "," + Narrow(headers) + "," +
                               std::to_string(static_cast<std::int32_t>(length)) + "," + Narrow(modifiers));
}

BOOL WINAPI Send(HINTERNET handle, LPCWSTR headers, DWORD headersLength, LPVOID body, DWORD length,
                 DWORD total, DWORD_PTR context) {
    const std::string text = body == nullptr ? "null" : std::string(static_cast<const char*>(body), length);
    Done("send", Name(handle) + "," + Narrow(headers) + "," + Narrow(headersLength) + "," + text + "," +
                     Narrow(length) + "," + Narrow(total) + "," + std::to_string(context));
    if (fake->sendErrors.empty()) {
        return TRUE;
    }
    SetLastError(fake->sendErrors.front());
    fake->sendErrors.erase(fake->sendErrors.begin());
    return GetLastError() == ERROR_SUCCESS;
}

BOOL WINAPI Receive(HINTERNET handle, LPVOID reserved) {
    const bool done = Done("receive", Name(handle) + "," + (reserved == nullptr ? "null" : "other"));
    if (done) {
        SetLastError(fake->errorOfReceive);
    }
    return done;
}

BOOL WINAPI Read(HINTERNET handle, LPVOID buffer, DWORD size, LPDWORD read) {
    const char* bytes = static_cast<const char*>(buffer);
    EXPECT_EQ(std::string(bytes, bytes + size), std::string(size, '\0'));
    const DWORD before = GetLastError();
    const bool done = Done("read", Name(handle) + "," + Narrow(size));
    if (done) {
        *read = static_cast<DWORD>(fake->answer.copy(static_cast<char*>(buffer), size));
        SetLastError(fake->readLeavesNoError ? fake->errorOfRead : before);
    }
    return done;
}

BOOL WINAPI Close(HINTERNET handle) {
    fake->calls.push_back("close " + Name(handle));
    SetLastError(ERROR_INVALID_HANDLE); // closing has no say in the result
    return TRUE;
}

// The calls of a GET without headers and body, up to sending.
const std::vector<std::string> kUntilSend = {
    "open ZeltoClient Windows,0,null,null,0",
    "timeouts session,10000,10000,10000,10000",
    "connect session,gw,4433,0",
    "request connection,GET,/remote/info,null,null,null,secure",
    "option request,31,13056,4",
};
const std::string kSend = "send request,null,0,null,0,0,0";
const std::string kReceive = "receive request,null";
const std::string kRead = "read request,1024";
const std::vector<std::string> kCloses = {"close request", "close connection", "close session"};

std::vector<std::string> Joined(std::initializer_list<std::vector<std::string>> parts) {
    std::vector<std::string> all;
    for (const std::vector<std::string>& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

std::vector<std::string> FirstOfUntilSend(int count) {
    return std::vector<std::string>(kUntilSend.begin(), kUntilSend.begin() + count);
}

class HttpClientFailureTest : public testing::Test {
protected:
    HttpClientFailureTest() { fake = &winHttp; }

    std::uint32_t Get() {
        return GetHttpResponse(response, L"gw", L"/remote/info", 4433, HttpVerb::Get, L"", "");
    }

    TraceRecording trace;
    FakeWinHttp winHttp;
    std::string response = "old text";

private:
    HMODULE program_ = GetModuleHandleW(nullptr);
    ImportPatch open_{program_, "WinHttpOpen", Open};
    ImportPatch timeouts_{program_, "WinHttpSetTimeouts", SetTimeouts};
    ImportPatch connect_{program_, "WinHttpConnect", Connect};
    ImportPatch openRequest_{program_, "WinHttpOpenRequest", OpenRequest};
    ImportPatch option_{program_, "WinHttpSetOption", SetOption};
    ImportPatch headers_{program_, "WinHttpAddRequestHeaders", AddHeaders};
    ImportPatch send_{program_, "WinHttpSendRequest", Send};
    ImportPatch receive_{program_, "WinHttpReceiveResponse", Receive};
    ImportPatch read_{program_, "WinHttpReadData", Read};
    ImportPatch close_{program_, "WinHttpCloseHandle", Close};
};

TEST_F(HttpClientFailureTest, AGetMakesTheseCallsInThisOrder) {
    EXPECT_EQ(Get(), 0u);
    EXPECT_EQ(response, "answer");
    EXPECT_THAT(winHttp.calls, ElementsAreArray(Joined({kUntilSend, {kSend, kReceive, kRead}, kCloses})));
    EXPECT_THAT(trace.Take(), ElementsAre("info: GetHttpResponse() response=answer"));
}

TEST_F(HttpClientFailureTest, APostPassesItsHeadersAndItsBody) {
    EXPECT_EQ(GetHttpResponse(response, L"gw", L"/saml_login?", 0x10000 + 443, HttpVerb::Post, L"A: b\r\n",
                              "UID=1"),
              0u);
    EXPECT_THAT(winHttp.calls, testing::Contains("connect session,gw,443,0"));
    EXPECT_THAT(winHttp.calls,
                testing::Contains("request connection,POST,/saml_login?,null,null,null,secure"));
    EXPECT_THAT(winHttp.calls, testing::Contains("headers request,A: b\r\n,-1,0"));
    EXPECT_THAT(winHttp.calls, testing::Contains("send request,null,0,UID=1,5,5,0"));
}

TEST_F(HttpClientFailureTest, AVerbThatIsNotInTheTableIsEmpty) {
    GetHttpResponse(response, L"gw", L"/", 1, static_cast<HttpVerb>(9), L"", "");
    EXPECT_THAT(winHttp.calls, testing::Contains("request connection,,/,null,null,null,secure"));
}

TEST_F(HttpClientFailureTest, NoSession) {
    winHttp.failing = "open";
    EXPECT_EQ(Get(), 4321u);
    EXPECT_EQ(response, "");
    EXPECT_THAT(winHttp.calls, ElementsAreArray(FirstOfUntilSend(1)));
    EXPECT_THAT(trace.Take(), ElementsAre("error: GetHttpResponse() WinHttpOpen() failed."));
}

TEST_F(HttpClientFailureTest, TimeOutsThatCannotBeSetAreOnlyLogged) {
    winHttp.failing = "timeouts";
    EXPECT_EQ(Get(), 0u);
    EXPECT_EQ(response, "answer");
    EXPECT_THAT(winHttp.calls, ElementsAreArray(Joined({kUntilSend, {kSend, kReceive, kRead}, kCloses})));
    EXPECT_THAT(trace.Take(), ElementsAre("error: GetHttpResponse() Could not set timeout value for http.",
                                          "info: GetHttpResponse() response=answer"));
}

TEST_F(HttpClientFailureTest, NoConnection) {
    winHttp.failing = "connect";
    EXPECT_EQ(Get(), 4321u);
    EXPECT_THAT(winHttp.calls, ElementsAreArray(Joined({FirstOfUntilSend(3), {"close session"}})));
    EXPECT_THAT(trace.Take(), ElementsAre("error: GetHttpResponse() WinHttpConnect failed."));
}

TEST_F(HttpClientFailureTest, NoRequest) {
    winHttp.failing = "request";
    EXPECT_EQ(Get(), 4321u);
    EXPECT_THAT(winHttp.calls,
                ElementsAreArray(Joined({FirstOfUntilSend(4), {"close connection", "close session"}})));
    EXPECT_THAT(trace.Take(), ElementsAre("error: GetHttpResponse() WinHttpOpenRequest failed."));
}

TEST_F(HttpClientFailureTest, SecurityFlagsThatCannotBeSetAreIgnored) {
    winHttp.failing = "option";
    EXPECT_EQ(Get(), 0u);
    EXPECT_THAT(trace.Take(), ElementsAre("info: GetHttpResponse() response=answer"));
}

TEST_F(HttpClientFailureTest, HeadersThatAreRejected) {
    winHttp.failing = "headers";
    EXPECT_EQ(GetHttpResponse(response, L"gw", L"/remote/info", 4433, HttpVerb::Get, L"no header", ""),
              4321u);
    EXPECT_THAT(winHttp.calls,
                ElementsAreArray(Joined({kUntilSend, {"headers request,no header,-1,0"}, kCloses})));
    EXPECT_THAT(trace.Take(), ElementsAre("error: GetHttpResponse() Could not add headers to req."));
}

TEST_F(HttpClientFailureTest, ASendThatFailsIsNotRepeated) {
    winHttp.sendErrors = {ERROR_WINHTTP_CANNOT_CONNECT};
    EXPECT_EQ(Get(), 12029u);
    EXPECT_EQ(response, "");
    EXPECT_THAT(winHttp.calls, ElementsAreArray(Joined({kUntilSend, {kSend}, kCloses})));
    EXPECT_THAT(trace.Take(), ElementsAre("error: GetHttpResponse() WinHttpSendRequest failed."));
}

TEST_F(HttpClientFailureTest, AGatewayThatWantsAClientCertificateIsAskedOnceMoreWithoutOne) {
    winHttp.sendErrors = {12044};
    EXPECT_EQ(GetHttpResponse(response, L"gw", L"/remote/info", 4433, HttpVerb::Get, L"", "body"), 0u);
    EXPECT_EQ(response, "answer");
    const std::string send = "send request,null,0,body,4,4,0";
    EXPECT_THAT(winHttp.calls,
                ElementsAreArray(Joined(
                    {kUntilSend, {send, "option request,47,null,0", send, kReceive, kRead}, kCloses})));
    EXPECT_THAT(trace.Take(), ElementsAre("info: GetHttpResponse() response=answer"));
}

TEST_F(HttpClientFailureTest, AfterASecondRefusalTheAnswerIsStillWaitedFor) {
    winHttp.sendErrors = {12044, 12044, 12044};
    EXPECT_EQ(Get(), 0u);
    EXPECT_EQ(response, "answer");
    EXPECT_THAT(winHttp.calls,
                ElementsAreArray(Joined(
                    {kUntilSend, {kSend, "option request,47,null,0", kSend, kReceive, kRead}, kCloses})));
    EXPECT_THAT(trace.Take(), ElementsAre("error: GetHttpResponse() WinHttpSendRequest failed.",
                                          "info: GetHttpResponse() response=answer"));
}

TEST_F(HttpClientFailureTest, AfterASecondRefusalAReceiveThatFailsGivesTheResult) {
    winHttp.sendErrors = {12044, ERROR_WINHTTP_CONNECTION_ERROR};
    winHttp.failing = "receive";
    EXPECT_EQ(Get(), 4321u);
    EXPECT_THAT(trace.Take(), ElementsAre("error: GetHttpResponse() WinHttpSendRequest failed.",
                                          "error: GetHttpResponse() WinHttpReceiveResponse failed."));
}

TEST_F(HttpClientFailureTest, AReceiveThatFails) {
    winHttp.failing = "receive";
    EXPECT_EQ(Get(), 4321u);
    EXPECT_EQ(response, "");
    EXPECT_THAT(winHttp.calls, ElementsAreArray(Joined({kUntilSend, {kSend, kReceive}, kCloses})));
    EXPECT_THAT(trace.Take(), ElementsAre("error: GetHttpResponse() WinHttpReceiveResponse failed."));
}

TEST_F(HttpClientFailureTest, AReadThatFailsGivesItsErrorAndTheEmptyText) {
    winHttp.failing = "read";
    EXPECT_EQ(Get(), 4321u);
    EXPECT_EQ(response, "");
    EXPECT_THAT(winHttp.calls, ElementsAreArray(Joined({kUntilSend, {kSend, kReceive, kRead}, kCloses})));
    EXPECT_THAT(trace.Take(), ElementsAre("info: GetHttpResponse() response="));
}

TEST_F(HttpClientFailureTest, TheLastErrorOfASuccessfulReadIsTheResult) {
    winHttp.errorOfRead = 555;
    EXPECT_EQ(Get(), 555u);
    EXPECT_EQ(response, "answer");
}

// A function that succeeds may leave the last error of something that it tried on the way.
TEST_F(HttpClientFailureTest, TheLastErrorOfASuccessfulReceiveIsNoResult) {
    winHttp.errorOfReceive = 777;
    winHttp.readLeavesNoError = false;
    EXPECT_EQ(Get(), 0u);
    EXPECT_EQ(response, "answer");
}

TEST_F(HttpClientFailureTest, AFull1024ByteReadIsTakenWhole) {
    winHttp.answer = std::string(3000, 'z');
    EXPECT_EQ(Get(), 0u);
    EXPECT_EQ(response, std::string(1024, 'z'));
}

TEST_F(HttpClientFailureTest, TheTextEndsBeforeTheFirstZeroByteWhateverTheCount) {
    winHttp.answer = std::string("0123456789\0abcdef", 17);
    EXPECT_EQ(Get(), 0u);
    EXPECT_EQ(response, "0123456789");
}

} // namespace
} // namespace zelto::test
