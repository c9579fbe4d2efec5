#include "auth/prompt_options.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

TEST(BasicOptionsTest, AsksForUserNameAndPassword) {
    EXPECT_EQ(BasicOptions(L"alice", L"Head office", 60'000, false),
              L"--object=basic --require-username=alice --description=\"Head office\" --timeout=60");
    EXPECT_EQ(BasicOptions(L"", L"", 1000, false),
              L"--object=basic --require-username= --description=\"\" --timeout=1");
}

TEST(BasicOptionsTest, AsksForACertificateToo) {
    EXPECT_EQ(BasicOptions(L"alice", L"Head office", 1999, true),
              L"--object=basic --require-username=alice --description=\"Head office\" --timeout=1"
              L" --require-certificate=1");
}

TEST(BasicOptionsTest, AsksForACertificateOnly) {
    EXPECT_EQ(BasicOptions(nullptr, L"Head office", 60'000, true),
              L"--object=basic --description=\"Head office\" --timeout=60 --require-certificate=1");
}

TEST(BasicOptionsTest, IsCutTo259Characters) {
    const std::wstring head = L"--object=basic --require-username=";
    for (const std::size_t length : {0u, 1u, 259u, 260u, 261u, 100'000u}) {
        const std::wstring whole =
            head + std::wstring(length, L'u') + L" --description=\"d\" --timeout=60 --require-certificate=1";
        EXPECT_EQ(BasicOptions(std::wstring(length, L'u').c_str(), L"d", 60'000, true), whole.substr(0, 259));
    }
}

TEST(TwoFactorOptionsTest, AsksForAToken) {
    EXPECT_EQ(TwoFactorOptions(L"Enter \"the\" code", 59'999),
              L"--object=2fa --description=\"Enter \"the\" code\" --timeout=59");
    EXPECT_EQ(TwoFactorOptions(L"", 0), L"--object=2fa --description=\"\" --timeout=0");
    EXPECT_EQ(TwoFactorOptions(L"", 0xFFFFFFFF), L"--object=2fa --description=\"\" --timeout=4294967");
}

TEST(TwoFactorOptionsTest, IsCutTo259Characters) {
    for (const std::size_t length : {0u, 1u, 217u, 218u, 219u, 259u, 260u, 261u, 100'000u}) {
        const std::wstring whole =
            L"--object=2fa --description=\"" + std::wstring(length, L'd') + L"\" --timeout=60";
        EXPECT_EQ(TwoFactorOptions(std::wstring(length, L'd'), 60'000), whole.substr(0, 259));
    }
}

} // namespace
} // namespace zelto
