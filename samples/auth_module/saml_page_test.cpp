#include "saml_page.h"

#include <gtest/gtest.h>

namespace authmodule {
namespace {

TEST(LoginForm, EncodesAllThatMayMeanSomething) {
    EXPECT_EQ(LoginForm("alice", "Open+Sesame & 1"), "username=alice&password=Open%2BSesame%20%26%201");
    EXPECT_EQ(LoginForm("\xC3\xA9=%", "-._~"), "username=%C3%A9%3D%25&password=-._~");
    EXPECT_EQ(LoginForm("", ""), "username=&password=");
}

TEST(SamlResponseIn, FindsTheFieldWhateverTheOrderOfAttributes) {
    EXPECT_EQ(SamlResponseIn("<p>x</p><input type=\"hidden\" name=\"SAMLResponse\" value=\"PHM+/=\"><p>"),
              "PHM+/=");
    EXPECT_EQ(SamlResponseIn("<input value=\"PHM=\" name=\"SAMLResponse\" />"), "PHM=");
}

TEST(SamlResponseIn, AnEmptyValueIsAValue) {
    EXPECT_EQ(SamlResponseIn("<input name=\"SAMLResponse\" value=\"\">"), "");
}

TEST(SamlResponseIn, AnotherFieldsValueIsNotTaken) {
    EXPECT_EQ(SamlResponseIn("<input name=\"RelayState\" value=\"a\"><input name=\"SAMLResponse\">"
                             "<input name=\"x\" value=\"b\">"),
              std::nullopt);
}

TEST(SamlResponseIn, PagesWithoutTheField) {
    EXPECT_EQ(SamlResponseIn(""), std::nullopt);
    EXPECT_EQ(SamlResponseIn("<h1>Sign in</h1>"), std::nullopt);
    EXPECT_EQ(SamlResponseIn("<input name=\"SAMLResponse\" value=\"cut o"), std::nullopt);
    EXPECT_EQ(SamlResponseIn("name=\"SAMLResponse\" value=\"no tag\">"), std::nullopt);
}

} // namespace
} // namespace authmodule
