#include "auth/saml_options.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

constexpr SamlRequest kRequest = {
    L"https://vpn.example.com/login", L"Head office", L"vpn", L"Work", 1, 60'000, false, false};

std::wstring With(void (*change)(SamlRequest&)) {
    SamlRequest request = kRequest;
    change(request);
    return SamlOptions(request);
}

bool Ends(const std::wstring& text, std::wstring_view end) {
    return text.size() >= end.size() && std::wstring_view(text).substr(text.size() - end.size()) == end;
}

TEST(SamlOptionsTest, TheOrderIsFixed) {
    EXPECT_EQ(SamlOptions(kRequest),
              L" --object=\"saml:vpn\" --object-name=\"Work\" --url=\"https://vpn.example.com/login\""
              L" --description=\"Head office\" --ignore-certificate=1 --timeout=60");
}

TEST(SamlOptionsTest, TheFlagsStandAtTheEnd) {
    EXPECT_TRUE(Ends(With([](SamlRequest& r) { r.autoSelectCertificate = true; }),
                     L" --timeout=60 --auto-select-cert"));
    EXPECT_TRUE(
        Ends(With([](SamlRequest& r) { r.deleteCookies = true; }), L" --timeout=60 --delete-cookies"));
    EXPECT_TRUE(Ends(With([](SamlRequest& r) { r.autoSelectCertificate = r.deleteCookies = true; }),
                     L" --timeout=60 --auto-select-cert --delete-cookies"));
}

TEST(SamlOptionsTest, TheTimeoutIsInWholeSeconds) {
    EXPECT_TRUE(Ends(With([](SamlRequest& r) { r.timeoutMs = 59'999; }), L" --timeout=59"));
    EXPECT_TRUE(Ends(With([](SamlRequest& r) { r.timeoutMs = 999; }), L" --timeout=0"));
    EXPECT_TRUE(Ends(With([](SamlRequest& r) { r.timeoutMs = 0xFFFFFFFF; }), L" --timeout=4294967"));
}

TEST(SamlOptionsTest, IgnoreCertificateIsAnUnsignedNumber) {
    EXPECT_TRUE(Ends(With([](SamlRequest& r) { r.ignoreCertificate = 0xFFFFFFFF; }),
                     L" --ignore-certificate=4294967295 --timeout=60"));
}

TEST(SamlOptionsTest, ValuesAreNotEscaped) {
    EXPECT_NE(With([](SamlRequest& r) { r.url = L"a\"b\\\" c"; }).find(L" --url=\"a\"b\\\" c\" "),
              std::wstring::npos);
}

TEST(SamlOptionsTest, MissingTextsAreEmpty) {
    EXPECT_EQ(With([](SamlRequest& r) { r.description = r.samlObject = r.objectName = nullptr; }),
              L" --object=\"saml:\" --object-name=\"\" --url=\"https://vpn.example.com/login\""
              L" --description=\"\" --ignore-certificate=1 --timeout=60");
}

} // namespace
} // namespace zelto
