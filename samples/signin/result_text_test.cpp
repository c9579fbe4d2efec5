extern "C" {
#include "samples/signin/result_text.h"
}

#include "zelto_auth.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::wstring NameOf(std::uint32_t code) {
    return DescribeResult(code)->name;
}

TEST(DescribeResult, NamesEachCode) {
    EXPECT_EQ(NameOf(ZELTO_AUTH_S_OK), L"ZELTO_AUTH_S_OK");
    EXPECT_EQ(NameOf(ZELTO_AUTH_GATEWAY_FAILED), L"ZELTO_AUTH_GATEWAY_FAILED");
    EXPECT_EQ(NameOf(ZELTO_AUTH_E_FAILED), L"ZELTO_AUTH_E_FAILED");
    EXPECT_EQ(NameOf(ZELTO_AUTH_E_LAUNCH_FAILED), L"ZELTO_AUTH_E_LAUNCH_FAILED");
    EXPECT_EQ(NameOf(ZELTO_AUTH_E_SHARED_MEMORY), L"ZELTO_AUTH_E_SHARED_MEMORY");
    EXPECT_EQ(NameOf(ZELTO_AUTH_E_INVALID_PARAMETER), L"ZELTO_AUTH_E_INVALID_PARAMETER");
    EXPECT_EQ(NameOf(ZELTO_AUTH_E_TIMEOUT), L"ZELTO_AUTH_E_TIMEOUT");
    EXPECT_EQ(NameOf(ZELTO_AUTH_E_BUSY), L"ZELTO_AUTH_E_BUSY");
    EXPECT_EQ(NameOf(ZELTO_AUTH_E_CANCELLED), L"ZELTO_AUTH_E_CANCELLED");
    EXPECT_EQ(NameOf(ZELTO_AUTH_E_PORT_UNUSABLE), L"ZELTO_AUTH_E_PORT_UNUSABLE");
}

TEST(DescribeResult, CodeThatNobodyKnowsHasATextToo) {
    for (const std::uint32_t code : {2u, 0xA7000006u, 0xFFFFFFFFu}) {
        EXPECT_EQ(NameOf(code), L"unknown");
        EXPECT_NE(DescribeResult(code)->advice, nullptr);
    }
}

} // namespace
