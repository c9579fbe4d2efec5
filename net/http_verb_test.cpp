#include "net/http_verb.h"

#include <gtest/gtest.h>
#include <string>

namespace zelto {
namespace {

TEST(HttpVerbTest, EachCodeHasItsVerb) {
    EXPECT_EQ(VerbText(static_cast<HttpVerb>(0)), std::wstring(L"GET"));
    EXPECT_EQ(VerbText(static_cast<HttpVerb>(1)), std::wstring(L"POST"));
    EXPECT_EQ(VerbText(static_cast<HttpVerb>(2)), std::wstring(L"PUT"));
}

TEST(HttpVerbTest, AnUnknownCodeHasAnEmptyVerb) {
    EXPECT_EQ(VerbText(static_cast<HttpVerb>(3)), std::wstring());
    EXPECT_EQ(VerbText(static_cast<HttpVerb>(0xFFFF)), std::wstring());
}

TEST(HttpVerbTest, TheCodeIs16BitsWide) {
    EXPECT_EQ(sizeof(HttpVerb), 2u);
}

} // namespace
} // namespace zelto
