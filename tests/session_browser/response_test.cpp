#include "tests/session_browser/session_sign_in_test.h"

#include <algorithm>

namespace zelto::test {
namespace {

class SessionSignInResponseTest : public SessionSignInTest {
protected:
    // The id "abcdef" for a buffer of `size` with a guard behind it; `bytes` then begin that buffer.
    void ExpectBytes(std::uint32_t size, const std::string& bytes) {
        buffer_.fill('#');
        bufferSize_ = size;
        BrowserRequests("GET /?id=abcdef HTTP/1.1");
        EXPECT_EQ(SignIn(), 0u);
        EXPECT_EQ(std::string(buffer_.data(), bytes.size()), bytes);
    }

    void ExpectLastLine(const std::string& line) { EXPECT_EQ(Log().back(), line); }

    // The sign-in is a success all the same, and the buffer is as it was.
    void ExpectNoId() {
        EXPECT_EQ(SignIn(), 0u);
        EXPECT_EQ(Response(), "old");
        const std::vector<std::string> log = Log();
        ASSERT_GE(log.size(), 2u);
        EXPECT_EQ(log[log.size() - 2], kFixedResult);
        EXPECT_EQ(log.back(), "info: ResponseBuffer: old");
    }
};

TEST_F(SessionSignInResponseTest, TheIdIsCopied) {
    EXPECT_EQ(SignIn(), 0u);
    EXPECT_EQ(Response(), "XYZ");
}

TEST_F(SessionSignInResponseTest, TheBrowserIsShownTheZtnaPage) {
    EXPECT_EQ(SignIn(), 0u);
    EXPECT_TRUE(page_.starts_with("HTTP/1.1 200 OK\r\n ContentType: text/html \r\n\r\n")) << page_;
    EXPECT_NE(page_.find("ZTNA Connecting"), std::string::npos);
}

TEST_F(SessionSignInResponseTest, AnIdLongerThanTheBufferIsCut) {
    ExpectBytes(4, std::string("abc\0####", 8));
    ExpectLastLine("info: ResponseBuffer: abc");
}

TEST_F(SessionSignInResponseTest, AnIdAsLongAsTheBufferLosesItsLastCharacter) {
    ExpectBytes(6, std::string("abcde\0##", 8));
    ExpectLastLine("info: ResponseBuffer: abcde");
}

TEST_F(SessionSignInResponseTest, AnIdThatFitsExactly) {
    ExpectBytes(7, std::string("abcdef\0#", 8));
}

TEST_F(SessionSignInResponseTest, ABufferOfSizeOneHoldsTheTerminator) {
    ExpectBytes(1, std::string("\0#######", 8));
    ExpectLastLine("info: ResponseBuffer: ");
}

TEST_F(SessionSignInResponseTest, ABufferOfSizeZeroIsLeftAlone) {
    ExpectBytes(0, "########");
    ExpectLastLine("info: ResponseBuffer: ");
}

TEST_F(SessionSignInResponseTest, ARequestWithoutAnId) {
    BrowserRequests("GET /favicon.ico HTTP/1.1");
    ExpectNoId();
}

TEST_F(SessionSignInResponseTest, AnEmptyId) {
    BrowserRequests("GET /?id= HTTP/1.1");
    ExpectNoId();
}

TEST_F(SessionSignInResponseTest, AnIdThatDoesNotEnd) {
    browser_ = [this] { page_ = RequestPage(RedirectPort(), "GET /?id=XYZ"); };
    ExpectNoId();
}

TEST_F(SessionSignInResponseTest, ABrowserThatSendsNothing) {
    browser_ = [this] { ScriptedConnection(RedirectPort()).Close(); };
    ExpectNoId();
}

int WSAAPI ListenFails(SOCKET, int) {
    return SOCKET_ERROR;
}

TEST_F(SessionSignInResponseTest, AListenerThatFails) {
    Patch("listen", &ListenFails);
    browser_ = nullptr;
    ExpectNoId();
}

// Whatever stands in a buffer that nobody has initialised, no byte behind it is read for the log.
TEST_F(SessionSignInResponseTest, ABufferWithoutATerminatorIsReadUpToItsEnd) {
    buffer_.fill('u');
    bufferSize_ = 5;
    BrowserRequests("GET / HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    ExpectLastLine("info: ResponseBuffer: uuuuu");
}

TEST_F(SessionSignInResponseTest, ALongId) {
    const std::string id(900, 'i');
    BrowserRequests("GET /?id=" + id + " HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    EXPECT_EQ(Response(), id);
}

// In the address that is logged each byte of the id is a character of its own.
TEST_F(SessionSignInResponseTest, TheIdIsWidenedByteByByteForTheLog) {
    BrowserRequests("GET /?id=a\xC3\xBC\xFF HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    EXPECT_EQ(Response(), "a\xC3\xBC\xFF");
    const std::vector<std::string> log = Log();
    const std::string line = "info: Internal Browser should grab cookie from "
                             "https://gw:8443/remote/saml/start?realm=x&auth_id=a\xC3\x83\xC2\xBC\xC3\xBF";
    EXPECT_EQ(std::count(log.begin(), log.end(), line), 1) << testing::PrintToString(log);
}

} // namespace
} // namespace zelto::test
