#include "tests/azure_token/token_test.h"

#include <algorithm>
#include <cstdio>

namespace zelto::test {
namespace {

class TokenArgumentsTest : public TokenTest {
protected:
    void ExpectInvalid(const wchar_t* clientId, const wchar_t* tenantName, char* buffer) {
        EXPECT_EQ(library_.SamlAuthGetAzureToken(clientId, tenantName, 0, buffer, bufferSize_), 0xA7000002u);
        EXPECT_EQ(Token(), kOldText);
        EXPECT_EQ(Record(L"command_line"), ""); // nothing was run
        const std::string message = "error: responseBuffer=" + Pointer(buffer) +
                                    ", clientId=" + Pointer(clientId) + ", tenantName=" + Pointer(tenantName);
        EXPECT_EQ(Log(), std::vector<std::string>{message});
    }

    static std::string Pointer(const void* pointer) {
        char text[32] = {};
        std::snprintf(text, sizeof(text), "0x%016llX",
                      static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(pointer)));
        return text;
    }
};

TEST_F(TokenArgumentsTest, NullResponseBuffer) {
    ExpectInvalid(L"client", L"tenant", nullptr);
}

TEST_F(TokenArgumentsTest, NullClientId) {
    ExpectInvalid(nullptr, L"tenant", buffer_.data());
}

TEST_F(TokenArgumentsTest, NullTenantName) {
    ExpectInvalid(L"client", nullptr, buffer_.data());
}

TEST_F(TokenArgumentsTest, AllNull) {
    ExpectInvalid(nullptr, nullptr, nullptr);
}

TEST_F(TokenArgumentsTest, TheReservedOneIsNotUsed) {
    EXPECT_EQ(library_.SamlAuthGetAzureToken(L"client", L"tenant", UINT64_MAX, buffer_.data(), bufferSize_),
              0u);
    EXPECT_EQ(Token(), "token");
}

TEST_F(TokenArgumentsTest, ABufferThatTheTokenJustFits) {
    std::fill(buffer_.begin(), buffer_.end(), '#');
    bufferSize_ = 6;
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), "token");
    EXPECT_EQ(buffer_[6], '#');
}

TEST_F(TokenArgumentsTest, ABufferThatIsTooSmallGetsTheEmptyStringAndTheResultIsZero) {
    for (const std::uint32_t size : {5u, 1u}) {
        std::fill(buffer_.begin(), buffer_.end(), '#');
        bufferSize_ = size;
        EXPECT_EQ(Fetch(), 0u);
        EXPECT_EQ(Token(), "");
        EXPECT_EQ(std::count(buffer_.begin() + size, buffer_.end(), '#'),
                  static_cast<std::ptrdiff_t>(buffer_.size() - size));
    }
}

TEST_F(TokenArgumentsTest, ABufferOfSizeZeroIsLeftAlone) {
    bufferSize_ = 0;
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), kOldText);
}

} // namespace
} // namespace zelto::test
