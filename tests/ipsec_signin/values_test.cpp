#include "tests/ipsec_signin/ipsec_sign_in_test.h"

namespace zelto::test {
namespace {

class IpsecSignInValuesTest : public IpsecSignInTest {
protected:
    void ExpectValues(const std::string& requestLine, const std::wstring& token,
                      const std::wstring& userName) {
        BrowserRequests(requestLine);
        EXPECT_EQ(SignIn(), 0u);
        EXPECT_EQ(Token(), token);
        EXPECT_EQ(UserName(), userName);
        EXPECT_EQ(Errors(), std::vector<std::string>{});
    }

    // The token "abc" and the user name "bobby" for buffers of these sizes, with a guard behind them.
    std::uint32_t SignInWithBuffers(std::uint32_t tokenSize, std::uint32_t userNameSize) {
        tokenBuffer_.fill(L'#');
        userNameBuffer_.fill(L'#');
        tokenBufferSize_ = tokenSize;
        userNameBufferSize_ = userNameSize;
        BrowserRequests("GET /?tokenid=abc&username=bobby HTTP/1.1");
        return SignIn();
    }

    void ExpectTooSmall(std::uint32_t tokenSize, std::uint32_t userNameSize) {
        EXPECT_EQ(SignInWithBuffers(tokenSize, userNameSize), 0xA7000002u);
        EXPECT_EQ(std::wstring(tokenBuffer_.data(), 8), L"########");
        EXPECT_EQ(std::wstring(userNameBuffer_.data(), 8), L"########");
        EXPECT_EQ(Errors(),
                  (std::vector<std::string>{"error: GetIpsecSamlDataExternalBrowser() buffer too small."}));
    }
};

TEST_F(IpsecSignInValuesTest, TokenAndDecodedUserName) {
    ExpectValues("GET /?tokenid=abc&username=j%2Edoe%5Fx HTTP/1.1", L"abc", L"j.doe_x");
}

TEST_F(IpsecSignInValuesTest, APlusInTheUserNameStaysAPlus) {
    ExpectValues("GET /?tokenid=abc&username=j+doe HTTP/1.1", L"abc", L"j+doe");
}

TEST_F(IpsecSignInValuesTest, AUserNameEndingInPercent4KeepsThem) {
    ExpectValues("GET /?tokenid=abc&username=jdoe%4 HTTP/1.1", L"abc", L"jdoe%4");
}

TEST_F(IpsecSignInValuesTest, TheTokenIsNotDecoded) {
    ExpectValues("GET /?tokenid=a%2Fb+c&username=x HTTP/1.1", L"a%2Fb+c", L"x");
}

TEST_F(IpsecSignInValuesTest, WithoutATokenIdTheTokenIsEmpty) {
    ExpectValues("GET /?username=bob HTTP/1.1", L"", L"bob");
}

TEST_F(IpsecSignInValuesTest, WithoutAUserNameTheUserNameIsEmpty) {
    ExpectValues("GET /?tokenid=abc& HTTP/1.1", L"abc", L"");
}

TEST_F(IpsecSignInValuesTest, WithoutBothBothAreEmpty) {
    ExpectValues("GET /favicon.ico HTTP/1.1", L"", L"");
}

TEST_F(IpsecSignInValuesTest, BytesBecomeUtf16) {
    ExpectValues("GET /?tokenid=\xC3\xBC&username=%e6%97%a5\xF0\x9F\x98\x80 HTTP/1.1", L"\u00FC",
                 L"\u65E5\xD83D\xDE00");
}

TEST_F(IpsecSignInValuesTest, BytesThatAreNoUtf8BecomeReplacementCharacters) {
    ExpectValues("GET /?tokenid=a\xFF&username=b%FFc HTTP/1.1", L"a\uFFFD", L"b\uFFFDc");
}

TEST_F(IpsecSignInValuesTest, AZeroByteEndsTheUserName) {
    ExpectValues("GET /?tokenid=abc&username=bob%00by HTTP/1.1", L"abc", L"bob");
}

TEST_F(IpsecSignInValuesTest, AUserNameThatBeginsWithAZeroByteIsEmpty) {
    ExpectValues("GET /?tokenid=abc&username=%00bob HTTP/1.1", L"abc", L"");
}

TEST_F(IpsecSignInValuesTest, LongValues) {
    const std::string token(450, 't');
    const std::string name(450, 'n');
    ExpectValues("GET /?tokenid=" + token + "&username=" + name + " HTTP/1.1", std::wstring(450, L't'),
                 std::wstring(450, L'n'));
}

TEST_F(IpsecSignInValuesTest, BuffersOneLongerThanTheValuesAreEnough) {
    EXPECT_EQ(SignInWithBuffers(4, 6), 0u);
    EXPECT_EQ(std::wstring(tokenBuffer_.data(), 6), std::wstring(L"abc\0##", 6));
    EXPECT_EQ(std::wstring(userNameBuffer_.data(), 8), std::wstring(L"bobby\0##", 8));
}

TEST_F(IpsecSignInValuesTest, ATokenBufferAsLongAsTheTokenIsTooSmall) {
    ExpectTooSmall(3, 6);
}

TEST_F(IpsecSignInValuesTest, AUserNameBufferAsLongAsTheUserNameIsTooSmall) {
    ExpectTooSmall(4, 5);
}

TEST_F(IpsecSignInValuesTest, ATokenBufferOfSizeZeroIsTooSmall) {
    ExpectTooSmall(0, 6);
}

TEST_F(IpsecSignInValuesTest, AUserNameBufferOfSizeZeroIsTooSmall) {
    ExpectTooSmall(4, 0);
}

TEST_F(IpsecSignInValuesTest, EmptyValuesStillNeedATerminator) {
    tokenBufferSize_ = 0;
    BrowserRequests("GET / HTTP/1.1");
    EXPECT_EQ(SignIn(), 0xA7000002u);
    ExpectNothingWritten();
}

TEST_F(IpsecSignInValuesTest, TheBrowserIsShownThePage) {
    ExpectValues("GET /?tokenid=abc&username=bob HTTP/1.1", L"abc", L"bob");
    EXPECT_TRUE(page_.starts_with("HTTP/1.1 200 OK\r\n ContentType: text/html \r\n\r\n")) << page_;
    EXPECT_NE(page_.find("VPN Connecting"), std::string::npos);
}

} // namespace
} // namespace zelto::test
