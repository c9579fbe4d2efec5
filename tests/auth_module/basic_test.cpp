#include "tests/auth_module/auth_module_test.h"

#include <cstring>

namespace zelto::test {
namespace {

using Lines = std::vector<std::string>;

class BasicTest : public AuthModuleTest {
protected:
    // The three variants, with this time-out.
    std::uint32_t NameAndPassword() {
        return library_.BasicAuthGetResponse(userName_.data(), 256, password_.data(), 256, nullptr, 0,
                                             description_, timeoutMs_);
    }
    std::uint32_t CertificateOnly() {
        return library_.BasicAuthGetResponse(nullptr, 0, nullptr, 0, certificate_.data(), 256, description_,
                                             timeoutMs_);
    }

    // The command line behind "--receiver=… ".
    std::wstring Options() {
        const std::wstring line = Record().commandLine;
        return line.substr(line.find(L' ', line.find(L"--receiver=")) + 1);
    }

    void ExpectUntouched() {
        EXPECT_STREQ(userName_.data(), "alice");
        EXPECT_STREQ(password_.data(), "old");
        EXPECT_STREQ(certificate_.data(), "old");
    }
};

TEST_F(BasicTest, ThreeLinesFillAllThreeBuffers) {
    Script({Answer("bob\nsecret\ncert 7")});
    EXPECT_EQ(Basic(), kOk);
    EXPECT_STREQ(userName_.data(), "bob");
    EXPECT_STREQ(password_.data(), "secret");
    EXPECT_STREQ(certificate_.data(), "cert 7");
    EXPECT_EQ(Options(), L"--object=basic --require-username=alice --description=\"Head office\" --timeout=60"
                         L" --require-certificate=1");
}

TEST_F(BasicTest, NameAndPasswordWithoutCertificate) {
    Script({Answer("bob\nsecret\n")});
    EXPECT_EQ(NameAndPassword(), kOk);
    EXPECT_STREQ(userName_.data(), "bob");
    EXPECT_STREQ(password_.data(), "secret");
    EXPECT_EQ(Options(),
              L"--object=basic --require-username=alice --description=\"Head office\" --timeout=60");
}

TEST_F(BasicTest, CertificateWithoutNameAndPassword) {
    Script({Answer("\n\ncert 7")});
    EXPECT_EQ(CertificateOnly(), kOk);
    EXPECT_STREQ(certificate_.data(), "cert 7");
    EXPECT_EQ(Options(),
              L"--object=basic --description=\"Head office\" --timeout=60 --require-certificate=1");
}

TEST_F(BasicTest, ItIsTheModuleOfKindZero) {
    Basic();
    const ModuleRecord record = Record();
    EXPECT_EQ(record.commandLine.substr(0, 38), L" --provider-name=ZeltoAuth --receiver=");
    EXPECT_EQ(std::filesystem::path(record.program).filename(), L"ZeltoAuth.exe");
}

TEST_F(BasicTest, ATimeoutBelowASecondIsInvalid) {
    timeoutMs_ = 999;
    EXPECT_EQ(Basic(), kInvalidParameter);
    EXPECT_EQ(NameAndPassword(), kInvalidParameter);
    EXPECT_EQ(CertificateOnly(), kInvalidParameter);
    EXPECT_FALSE(ModuleWasStarted());
}

TEST_F(BasicTest, ATimeoutOf1999IsOneSecond) {
    timeoutMs_ = 1999;
    EXPECT_EQ(NameAndPassword(), kOk);
    EXPECT_EQ(Options(),
              L"--object=basic --require-username=alice --description=\"Head office\" --timeout=1");
}

TEST_F(BasicTest, AMissingDescriptionIsInvalid) {
    description_ = nullptr;
    EXPECT_EQ(Basic(), kInvalidParameter);
    EXPECT_FALSE(ModuleWasStarted());
}

TEST_F(BasicTest, EveryOtherCombinationOfBuffersIsInvalid) {
    int valid = 0;
    for (unsigned present = 0; present < 64; ++present) {
        char* const userName = (present & 1) != 0 ? userName_.data() : nullptr;
        char* const password = (present & 4) != 0 ? password_.data() : nullptr;
        char* const certificate = (present & 16) != 0 ? certificate_.data() : nullptr;
        const std::uint32_t result = library_.BasicAuthGetResponse(
            userName, (present & 2) != 0 ? 256 : 0, password, (present & 8) != 0 ? 256 : 0, certificate,
            (present & 32) != 0 ? 64 : 0, description_, 1000);
        const bool isValid = present == 0b001111 || present == 0b111111 || present == 0b110000;
        EXPECT_EQ(result, isValid ? kOk : kInvalidParameter) << present;
        valid += result == kOk ? 1 : 0;
    }
    EXPECT_EQ(valid, 3);
}

TEST_F(BasicTest, APasswordWithoutUserNameIsInvalid) {
    EXPECT_EQ(library_.BasicAuthGetResponse(nullptr, 0, password_.data(), 256, certificate_.data(), 256,
                                            description_, 60'000),
              kInvalidParameter);
}

TEST_F(BasicTest, ASizeWithoutCertificateIsInvalid) {
    EXPECT_EQ(library_.BasicAuthGetResponse(userName_.data(), 256, password_.data(), 256, nullptr, 64,
                                            description_, 60'000),
              kInvalidParameter);
}

TEST_F(BasicTest, TwoLinesEachEndedAreThreeFields) {
    Script({Answer("bob\nsecret\n")});
    EXPECT_EQ(Basic(), kOk);
    EXPECT_STREQ(userName_.data(), "bob");
    EXPECT_STREQ(password_.data(), "secret");
    EXPECT_STREQ(certificate_.data(), "");
}

TEST_F(BasicTest, ThreeLinesEachEndedAreFourFieldsAndIgnored) {
    Script({Answer("bob\nsecret\ncert\n")});
    EXPECT_EQ(Basic(), kOk);
    ExpectUntouched();
}

TEST_F(BasicTest, FewerThanThreeFieldsAreIgnored) {
    for (const char* answer : {"", "bob", "bob\nsecret"}) {
        Script({Answer(answer)});
        EXPECT_EQ(Basic(), kOk);
        ExpectUntouched();
    }
}

TEST_F(BasicTest, AnUnreadableAnswerIsIgnored) {
    EXPECT_EQ(Basic(), kOk); // the module leaves its block as it is
    ExpectUntouched();
}

TEST_F(BasicTest, AFailureOfTheModuleChangesNothing) {
    Script({Answer("bob\nsecret\ncert"), "exit 3"});
    EXPECT_EQ(Basic(), 3u);
    ExpectUntouched();
}

TEST_F(BasicTest, BuffersAreCutToTheirSizes) {
    for (const std::uint32_t size : {1u, 2u, 6u, 7u, 8u}) {
        std::array<char, 16> buffers[3];
        for (auto& buffer : buffers) {
            buffer.fill('#');
        }
        buffers[0][0] = '\0';
        Script({Answer("abcdef\nghijkl\nmnopqr")});
        EXPECT_EQ(library_.BasicAuthGetResponse(buffers[0].data(), size, buffers[1].data(), size,
                                                buffers[2].data(), size, description_, 60'000),
                  kOk);
        const std::string whole[3] = {"abcdef", "ghijkl", "mnopqr"};
        for (int i = 0; i < 3; ++i) {
            const std::string expected = whole[i].substr(0, size - 1);
            EXPECT_EQ(buffers[i].data(), expected);
            EXPECT_EQ(buffers[i][expected.size() + 1], '#');
        }
    }
}

TEST_F(BasicTest, TheOfferedNameIsTextInTheProcessCodePage) {
    const char name[] = "M\xFCller \xC3\xA9 \x80\x81\xFF";
    wchar_t wide[64] = {};
    MultiByteToWideChar(CP_ACP, 0, name, -1, wide, 64);
    std::memcpy(userName_.data(), name, sizeof(name));
    EXPECT_EQ(NameAndPassword(), kOk);
    EXPECT_EQ(Options(), std::wstring(L"--object=basic --require-username=") + wide +
                             L" --description=\"Head office\" --timeout=60");
}

// A process whose code page is that of UTF-8.
int bytesConverted;

int WINAPI ConvertFromUtf8(UINT codePage, DWORD flags, LPCCH text, int size, LPWSTR wide, int wideSize) {
    if (size < 0) { // the name of a log file
        return MultiByteToWideChar(codePage, flags, text, size, wide, wideSize);
    }
    EXPECT_EQ(codePage, static_cast<UINT>(CP_ACP));
    bytesConverted = size;
    return MultiByteToWideChar(CP_UTF8, flags, text, size, wide, wideSize);
}

TEST_F(BasicTest, AnOfferedNameMayTakeSeveralBytesACharacter) {
    Patch("MultiByteToWideChar", &ConvertFromUtf8);
    std::string name;
    for (int i = 0; i < 1000; ++i) {
        name += "\xE6\x9D\xB1";
    }
    EXPECT_EQ(library_.BasicAuthGetResponse(name.data(), static_cast<std::uint32_t>(name.size()),
                                            password_.data(), 256, nullptr, 0, L"", 60'000),
              kOk);
    const std::wstring head = L"--object=basic --require-username=";
    EXPECT_EQ(Options(), head + std::wstring(259 - head.size(), L'\x6771'));
    EXPECT_LT(bytesConverted, 3000); // no more than has room
}

TEST_F(BasicTest, BytesThatMeanNothingInTheCodePageAreReplaced) {
    Patch("MultiByteToWideChar", &ConvertFromUtf8);
    char name[] = "a\xFFz";
    EXPECT_EQ(library_.BasicAuthGetResponse(name, 3, password_.data(), 256, nullptr, 0, L"", 60'000), kOk);
    EXPECT_EQ(Options(), L"--object=basic --require-username=a\xFFFDz --description=\"\" --timeout=60");
}

TEST_F(BasicTest, AnOfferedNameThatIsNotTerminatedIsReadUpToTheEndOfItsBuffer) {
    char name[] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(library_.BasicAuthGetResponse(name, 3, password_.data(), 256, nullptr, 0, L"", 60'000), kOk);
    EXPECT_EQ(Options(), L"--object=basic --require-username=abc --description=\"\" --timeout=60");
}

TEST_F(BasicTest, OptionsAreCutTo259Characters) {
    for (const std::size_t length : {0u, 1u, 259u, 260u, 261u, 100'000u}) {
        std::string name(length, 'n');
        EXPECT_EQ(library_.BasicAuthGetResponse(name.data(), static_cast<std::uint32_t>(length + 1),
                                                password_.data(), 256, nullptr, 0, L"office", 60'000),
                  kOk);
        const std::wstring whole = L"--object=basic --require-username=" + std::wstring(length, L'n') +
                                   L" --description=\"office\" --timeout=60";
        EXPECT_EQ(Options(), whole.substr(0, 259));

        const std::wstring description(length, L'd');
        description_ = description.c_str();
        EXPECT_EQ(CertificateOnly(), kOk);
        EXPECT_EQ(Options(), (L"--object=basic --description=\"" + description +
                              L"\" --timeout=60 --require-certificate=1")
                                 .substr(0, 259));
    }
}

TEST_F(BasicTest, QuotesAndForeignTextArriveUnchanged) {
    description_ = L"Zürich \"東京\" \xD83D\xDE00";
    EXPECT_EQ(CertificateOnly(), kOk);
    EXPECT_EQ(Options(), L"--object=basic --description=\"Zürich \"東京\" \xD83D\xDE00\" --timeout=60"
                         L" --require-certificate=1");
}

TEST_F(BasicTest, WritesNoLogLineOfItsOwn) {
    timeoutMs_ = 0;
    EXPECT_EQ(Basic(), kInvalidParameter);
    EXPECT_EQ(Log(), Lines{});
}

TEST_F(BasicTest, TheLogOfASuccessIsTheLaunchers) {
    Script({Answer("bob\nsecret\ncert 7")});
    EXPECT_EQ(Basic(), kOk);
    const std::string begins[] = {"debug: CurrentDir=",
                                  "debug: RunZeltoAuthInSession() auth provider selected: ",
                                  "debug: RunZeltoAuthInSession() Arguments for provider: --object=basic ",
                                  "debug: hMap=",
                                  "debug: RunZeltoAuthInSession() CMD to start auth module: ",
                                  "info: CreateProcessW() returned 1",
                                  "debug: Process Id: ",
                                  "debug: Daemon exit code: 0x0",
                                  "debug: decode base64 to cipher binary, cipher len=48"};
    const Lines log = Log();
    ASSERT_EQ(log.size(), std::size(begins));
    for (std::size_t i = 0; i < log.size(); ++i) {
        EXPECT_EQ(log[i].substr(0, begins[i].size()), begins[i]);
    }
}

} // namespace
} // namespace zelto::test
