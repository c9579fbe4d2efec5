#include "tests/azure_token/token_test.h"

namespace zelto::test {
namespace {

class TokenOutputTest : public TokenTest {};

TEST_F(TokenOutputTest, TheTokenStandsBehindTheSeparator) {
    ExpectToken(L"abc|xyz", "xyz");
}

TEST_F(TokenOutputTest, OnlyTheFirstSeparatorSeparates) {
    ExpectToken(L"a|b|c", "b|c");
}

TEST_F(TokenOutputTest, AnOutputThatEndsInTheSeparatorGivesAnEmptyToken) {
    ExpectToken(L"abc|", "");
}

TEST_F(TokenOutputTest, NothingButTheSeparator) {
    ExpectToken(L"|", "");
}

TEST_F(TokenOutputTest, LineEndsBelongToTheToken) {
    ExpectToken(L"abc|xyz\r\n", "xyz\r\n");
}

TEST_F(TokenOutputTest, BytesBeyondAsciiComeThroughAsTheyAre) {
    ExpectToken(L"ü|t\u00f6k\u65e5", "t\xC3\xB6k\xE6\x97\xA5");
}

TEST_F(TokenOutputTest, WithoutASeparatorItIsAFailure) {
    Behave(L"write", L"error: no account is signed in");
    ExpectFailure();
    EXPECT_EQ(Log(), std::vector<std::string>{CommandRecord()});
}

TEST_F(TokenOutputTest, NoOutputIsAFailure) {
    Behave(L"write", L"");
    ExpectFailure();
}

TEST_F(TokenOutputTest, StandardErrorCountsAsOutput) {
    Behave(L"error", L"abc|xyz");
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), "xyz");
}

TEST_F(TokenOutputTest, AnErrorTextOnStandardErrorAloneIsAFailure) {
    Behave(L"error", L"no account is signed in");
    ExpectFailure();
}

TEST_F(TokenOutputTest, StandardOutputAndErrorComeInTheOrderOfWriting) {
    Behave(L"both");
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), "errout");
}

TEST_F(TokenOutputTest, TheTokenEndsAtABinaryZeroAndTheTextBeforeItDoesNot) {
    Behave(L"zeros");
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), "x");
}

TEST_F(TokenOutputTest, ASlowDribbleIsPutTogether) {
    Behave(L"dribble", L"slow|and steady");
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), "and steady");
}

TEST_F(TokenOutputTest, TenMegabytesAreNoDeadlock) {
    constexpr std::size_t kSize = 10u << 20;
    buffer_.resize(kSize + 1);
    bufferSize_ = static_cast<std::uint32_t>(buffer_.size());
    Behave(L"large");
    EXPECT_EQ(Fetch(), 0u);
    const std::string token = Token();
    ASSERT_EQ(token.size(), kSize);
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < kSize; ++i) {
        wrong += token[i] == "abcdefghijklmnopqrstuvwxyz"[i % 26] ? 0u : 1u;
    }
    EXPECT_EQ(wrong, 0u);
}

TEST_F(TokenOutputTest, TenMegabytesIntoASmallBufferLeaveTheEmptyString) {
    Behave(L"large");
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), "");
}

TEST_F(TokenOutputTest, NeitherTheOutputNorTheTokenIsLogged) {
    ExpectToken(L"text|secret-token", "secret-token");
    EXPECT_EQ(Log(), std::vector<std::string>{CommandRecord()});
}

} // namespace
} // namespace zelto::test
