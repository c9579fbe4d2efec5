#include "tests/ssl_signin/sign_in_test.h"

namespace zelto::test {
namespace {

class SslSignInIdTest : public SignInTest {
protected:
    void ExpectId(const std::string& requestLine, const std::string& id) {
        BrowserRequests(requestLine);
        EXPECT_EQ(SignIn(), 0u);
        EXPECT_EQ(Id(), id);
    }

    // The failure of a request without an id has no message.
    void ExpectNoId(const std::string& requestLine) {
        BrowserRequests(requestLine);
        EXPECT_EQ(SignIn(), 0xA7000000u);
        EXPECT_EQ(Id(), "old");
        EXPECT_EQ(Errors(), std::vector<std::string>{});
    }

    // A buffer of `size` with a guard behind it, for the id "abcdef".
    std::uint32_t SignInWithBuffer(std::uint32_t size) {
        buffer_.fill('#');
        bufferSize_ = size;
        BrowserRequests("GET /?id=abcdef HTTP/1.1");
        return SignIn();
    }

    std::string BufferBytes(std::size_t count) const { return std::string(buffer_.data(), count); }

    void ExpectTooSmall(std::uint32_t size, const std::string& bytes) {
        EXPECT_EQ(SignInWithBuffer(size), 0xA7000000u);
        EXPECT_EQ(BufferBytes(bytes.size()), bytes);
        EXPECT_EQ(Errors(),
                  (std::vector<std::string>{"error: GetSslSamlDataExternalBrowser() buffer too small."}));
    }
};

TEST_F(SslSignInIdTest, TheIdIsFoundAndCopied) {
    ExpectId("GET /?id=XYZ HTTP/1.1", "XYZ");
}

TEST_F(SslSignInIdTest, TheIdIsNotDecoded) {
    ExpectId("GET /?id=a%2Fb+c&d=e HTTP/1.1", "a%2Fb+c&d=e");
}

TEST_F(SslSignInIdTest, TheFirstIdCounts) {
    ExpectId("GET /?id=first HTTP/1.1\r\nReferer: http://127.0.0.1/?id=second ", "first");
}

TEST_F(SslSignInIdTest, ALongId) {
    const std::string id(900, 'i');
    ExpectId("GET /?id=" + id + " HTTP/1.1", id);
}

TEST_F(SslSignInIdTest, NoId) {
    ExpectNoId("GET / HTTP/1.1");
}

TEST_F(SslSignInIdTest, AnIdInAnotherPlaceOfTheQueryIsNone) {
    ExpectNoId("GET /?x=1&id=XYZ HTTP/1.1");
}

TEST_F(SslSignInIdTest, AnEmptyId) {
    ExpectNoId("GET /?id= HTTP/1.1");
}

TEST_F(SslSignInIdTest, AnIdThatDoesNotEnd) {
    browser_ = [this] { page_ = RequestOnce(ssoPort_, "GET /?id=XYZ"); };
    EXPECT_EQ(SignIn(), 0xA7000000u);
    EXPECT_EQ(Id(), "old");
}

TEST_F(SslSignInIdTest, TheBrowserIsShownThePage) {
    ExpectId("GET /?id=XYZ HTTP/1.1", "XYZ");
    EXPECT_TRUE(page_.starts_with("HTTP/1.1 200 OK\r\n ContentType: text/html \r\n\r\n")) << page_;
    EXPECT_NE(page_.find("VPN Connecting"), std::string::npos);
    EXPECT_NE(page_.find("You may close the browser window now."), std::string::npos);
}

TEST_F(SslSignInIdTest, ABufferThatFitsExactly) {
    EXPECT_EQ(SignInWithBuffer(7), 0u);
    EXPECT_EQ(BufferBytes(9), std::string("abcdef\0##", 9));
}

TEST_F(SslSignInIdTest, ABufferOneTooSmall) {
    ExpectTooSmall(6, std::string("\0#######", 8));
}

TEST_F(SslSignInIdTest, ABufferOfOne) {
    ExpectTooSmall(1, std::string("\0##", 3));
}

TEST_F(SslSignInIdTest, ABufferOfZeroIsLeftAlone) {
    ExpectTooSmall(0, "###");
}

} // namespace
} // namespace zelto::test
