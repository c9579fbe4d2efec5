#include "auth/sha256.h"

#include <gtest/gtest.h>

#include <string>

namespace zelto {
namespace {

std::string HexDigest(std::string_view text) {
    unsigned char digest[kSha256Size] = {};
    EXPECT_EQ(SHA2(text.data(), text.size(), digest), 0);
    std::string hex;
    for (const unsigned char byte : digest) {
        hex += "0123456789abcdef"[byte >> 4];
        hex += "0123456789abcdef"[byte & 15];
    }
    return hex;
}

TEST(Sha256Test, DigestsOfTheStandard) {
    EXPECT_EQ(HexDigest("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(HexDigest("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(Sha256Test, NullDataNoDataAndNoOutputAreRefused) {
    unsigned char digest[kSha256Size] = {};
    EXPECT_EQ(SHA2(nullptr, 3, digest), -1);
    EXPECT_EQ(SHA2("abc", 0, digest), -1);
    EXPECT_EQ(SHA2("abc", 3, nullptr), -1);
}

} // namespace
} // namespace zelto
