#include "command_line.h"

#include <gtest/gtest.h>

namespace authmodule {
namespace {

const std::wstring kHead = L" --provider-name=WebView2 --receiver=292 ";

Request Read(const std::wstring& options) {
    const std::optional<Request> request = ReadCommandLine(kHead + options);
    EXPECT_TRUE(request.has_value());
    return request.value_or(Request{});
}

// The SAML options exactly as the library writes them, blank in front included.
std::wstring Saml(const std::wstring& object, const std::wstring& name, const std::wstring& url,
                  const std::wstring& description, const std::wstring& tail) {
    return L" --object=\"saml:" + object + L"\" --object-name=\"" + name + L"\" --url=\"" + url +
           L"\" --description=\"" + description + L"\"" + tail;
}

TEST(CommandLine, SamlWithEverything) {
    const Request request = Read(Saml(L"sales", L"Sales", L"https://gw/login", L"Sign in, please",
                                      L" --ignore-certificate=1 --timeout=59 --auto-select-cert"
                                      L" --delete-cookies"));
    EXPECT_EQ(request.providerName, L"WebView2");
    EXPECT_EQ(request.receiver, 292u);
    EXPECT_EQ(request.object, Object::Saml);
    EXPECT_EQ(request.samlObject, L"sales");
    EXPECT_EQ(request.objectName, L"Sales");
    EXPECT_EQ(request.url, L"https://gw/login");
    EXPECT_EQ(request.description, L"Sign in, please");
    EXPECT_TRUE(request.ignoreCertificate);
    EXPECT_EQ(request.timeoutSeconds, 59u);
    EXPECT_TRUE(request.autoSelectCertificate);
    EXPECT_TRUE(request.deleteCookies);
}

TEST(CommandLine, SamlWithoutFlags) {
    const Request request = Read(Saml(L"a", L"b", L"c", L"d", L" --ignore-certificate=0 --timeout=0"));
    EXPECT_FALSE(request.ignoreCertificate);
    EXPECT_EQ(request.timeoutSeconds, 0u);
    EXPECT_FALSE(request.autoSelectCertificate);
    EXPECT_FALSE(request.deleteCookies);
}

TEST(CommandLine, AnyOtherNumberThanZeroIgnoresTheCertificate) {
    EXPECT_TRUE(
        Read(Saml(L"", L"", L"", L"", L" --ignore-certificate=4294967295 --timeout=1")).ignoreCertificate);
}

TEST(CommandLine, EmptyValues) {
    const Request request = Read(Saml(L"", L"", L"", L"", L" --ignore-certificate=0 --timeout=60"));
    EXPECT_EQ(request.samlObject + request.objectName + request.url + request.description, L"");
    EXPECT_EQ(request.timeoutSeconds, 60u);
}

TEST(CommandLine, QuotesAndBackslashesInsideValuesAreTheirs) {
    const Request request = Read(Saml(LR"(o"o)", LR"("Sales" \)", LR"(https://gw/a"b\)", LR"(Say "hello\")",
                                      L" --ignore-certificate=1 --timeout=5"));
    EXPECT_EQ(request.samlObject, LR"(o"o)");
    EXPECT_EQ(request.objectName, LR"("Sales" \)");
    EXPECT_EQ(request.url, LR"(https://gw/a"b\)");
    EXPECT_EQ(request.description, LR"(Say "hello\")");
    EXPECT_TRUE(request.ignoreCertificate);
}

TEST(CommandLine, ADescriptionCannotSetOptions) {
    const std::wstring text = L"x\" --ignore-certificate=1 --timeout=9 --url=\"https://elsewhere";
    const Request request =
        Read(Saml(L"", L"", L"https://gw/", text, L" --ignore-certificate=0 --timeout=60"));
    EXPECT_EQ(request.description, text);
    EXPECT_EQ(request.url, L"https://gw/");
    EXPECT_FALSE(request.ignoreCertificate);
    EXPECT_EQ(request.timeoutSeconds, 60u);
}

TEST(CommandLine, NonAsciiText) {
    EXPECT_EQ(Read(L"--object=2fa --description=\"Schl\x00FCssel \x65E5\x672C\" --timeout=60").description,
              L"Schl\x00FCssel \x65E5\x672C");
}

TEST(CommandLine, BasicWithUserName) {
    const Request request =
        Read(L"--object=basic --require-username=alice --description=\"Sign in\" --timeout=60");
    EXPECT_EQ(request.object, Object::Basic);
    EXPECT_TRUE(request.requireUserName);
    EXPECT_EQ(request.userName, L"alice");
    EXPECT_EQ(request.description, L"Sign in");
    EXPECT_EQ(request.timeoutSeconds, 60u);
    EXPECT_FALSE(request.requireCertificate);
}

TEST(CommandLine, BasicWithUserNameAndCertificate) {
    const Request request = Read(L"--object=basic --require-username=alice --description=\"Sign in\""
                                 L" --timeout=60 --require-certificate=1");
    EXPECT_TRUE(request.requireUserName);
    EXPECT_TRUE(request.requireCertificate);
}

TEST(CommandLine, BasicWithCertificateOnly) {
    const Request request =
        Read(L"--object=basic --description=\"Choose\" --timeout=60 --require-certificate=1");
    EXPECT_FALSE(request.requireUserName);
    EXPECT_TRUE(request.requireCertificate);
    EXPECT_EQ(request.description, L"Choose");
}

TEST(CommandLine, UserNameIsNotQuoted) {
    for (const wchar_t* name : {L"", L"Alice Liddell", L"a\"b", L"CORP\\alice", L"-- --x", L"ali\x00E9"}) {
        const std::wstring options =
            std::wstring(L"--object=basic --require-username=") + name + L" --description=\"d\" --timeout=60";
        const Request request = Read(options);
        EXPECT_TRUE(request.requireUserName);
        EXPECT_EQ(request.userName, name);
        EXPECT_EQ(request.description, L"d");
    }
}

TEST(CommandLine, TwoFactor) {
    const Request request = Read(L"--object=2fa --description=\"Enter the \"code\"\" --timeout=30");
    EXPECT_EQ(request.object, Object::TwoFactor);
    EXPECT_EQ(request.description, L"Enter the \"code\"");
    EXPECT_EQ(request.timeoutSeconds, 30u);
}

TEST(CommandLine, CutOffInsideTheDescription) {
    const Request request = Read(L"--object=2fa --description=\"The text is so long that it");
    EXPECT_EQ(request.description, L"The text is so long that it");
    EXPECT_EQ(request.timeoutSeconds, 0u);
}

TEST(CommandLine, CutOffAnywhereKeepsWhatWasWhole) {
    const std::wstring whole = kHead +
                               L"--object=basic --require-username=al --description=\"d\" --timeout=60"
                               L" --require-certificate=1";
    const std::size_t closingQuote = whole.rfind(L'"');
    for (std::size_t length = closingQuote + 1; length <= whole.size(); ++length) {
        const std::optional<Request> request = ReadCommandLine(whole.substr(0, length));
        ASSERT_TRUE(request.has_value());
        EXPECT_EQ(request->userName, L"al");
        EXPECT_EQ(request->description, L"d") << length;
        EXPECT_EQ(request->requireCertificate, length == whole.size());
    }
}

// Options of a second factor that are `length` characters long and end with the number.
std::wstring PromptOptions(std::size_t length, const std::wstring& number) {
    const std::wstring begin = L"--object=2fa --description=\"";
    const std::wstring end = L"\" --timeout=" + number;
    return begin + std::wstring(length - begin.size() - end.size(), L'd') + end;
}

TEST(CommandLine, ANumberAtTheEndOfThePromptsOptionsMayBeCut) {
    const Request shorter = Read(PromptOptions(258, L"12"));
    EXPECT_EQ(shorter.timeoutSeconds, 12u);
    const Request longest = Read(PromptOptions(259, L"12"));
    EXPECT_EQ(longest.timeoutSeconds, 0u);
    EXPECT_EQ(longest.description, shorter.description + L"d");
}

TEST(CommandLine, ANumberAtTheEndOfALongLineMayBeCut) {
    for (const std::size_t length : {4094u, 4095u}) {
        const std::wstring tail = L" --ignore-certificate=1 --timeout=12";
        const std::size_t others = kHead.size() + Saml(L"o", L"n", L"u", L"", tail).size();
        const std::wstring description(length - others, L'd');
        const Request request = Read(Saml(L"o", L"n", L"u", description, tail));
        EXPECT_EQ(request.timeoutSeconds, length == 4094 ? 12u : 0u);
        EXPECT_TRUE(request.ignoreCertificate);
        EXPECT_EQ(request.description, description);
    }
}

TEST(CommandLine, LongSamlOptionsAreNoPrompts) {
    const std::wstring description(1000, L'd');
    EXPECT_EQ(
        Read(Saml(L"o", L"n", L"u", description, L" --ignore-certificate=0 --timeout=12")).timeoutSeconds,
        12u);
}

TEST(CommandLine, AnOptionThatIsWholeAtTheLimitCounts) {
    const std::wstring begin = L"--object=basic --description=\"";
    const std::wstring end = L"\" --timeout=12 --require-certificate=1";
    const std::wstring description(259 - begin.size() - end.size(), L'd');
    const Request request = Read(begin + description + end);
    EXPECT_TRUE(request.requireCertificate);
    EXPECT_EQ(request.timeoutSeconds, 12u);
}

TEST(CommandLine, CutOffInsideTheUserName) {
    const Request request = Read(L"--object=basic --require-username=alice and many more");
    EXPECT_TRUE(request.requireUserName);
    EXPECT_EQ(request.userName, L"alice and many more");
}

TEST(CommandLine, CutOffInsideTheUrl) {
    EXPECT_EQ(Read(L" --object=\"saml:o\" --object-name=\"n\" --url=\"https://gw/lo").url, L"https://gw/lo");
}

TEST(CommandLine, TheProgramsNameMayStandInFront) {
    const std::optional<Request> request =
        ReadCommandLine(L"\"C:\\Zelto\\ZeltoAuth.exe\" --provider-name=ZeltoAuth --receiver=4 --object=2fa"
                        L" --description=\"\" --timeout=60");
    ASSERT_TRUE(request.has_value());
    EXPECT_EQ(request->receiver, 4u);
}

TEST(CommandLine, LargestReceiver) {
    const std::optional<Request> request =
        ReadCommandLine(L" --provider-name=ZeltoAuth --receiver=18446744073709551615 --object=2fa");
    ASSERT_TRUE(request.has_value());
    EXPECT_EQ(request->receiver, 0xFFFFFFFFFFFFFFFFu);
}

TEST(CommandLine, WhatTheLibraryDoesNotWriteIsRefused) {
    for (const wchar_t* line : {
             L"",
             L"ZeltoAuth.exe",
             L" --provider-name=ZeltoAuth",
             L" --provider-name=ZeltoAuth --receiver=",
             L" --provider-name=ZeltoAuth --receiver=12",
             L" --provider-name=ZeltoAuth --receiver=12x --object=2fa",
             L" --provider-name=ZeltoAuth --receiver=-1 --object=2fa",
             L" --provider-name=ZeltoAuth --receiver=18446744073709551616 --object=2fa",
             L" --provider-name=ZeltoAuth --receiver=12 --object=other",
             L" --provider-name=ZeltoAuth --receiver=12    --object=2fa",
             L" --receiver=12 --provider-name=ZeltoAuth --object=2fa",
         }) {
        EXPECT_FALSE(ReadCommandLine(line).has_value());
    }
}

} // namespace
} // namespace authmodule
