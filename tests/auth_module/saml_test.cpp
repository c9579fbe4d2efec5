#include "tests/auth_module/auth_module_test.h"

namespace zelto::test {
namespace {

using Lines = std::vector<std::string>;

class SamlTest : public AuthModuleTest {
protected:
    std::string Response() const { return response_.data(); }
    std::string ServerIp() const { return serverIp_.data(); }

    std::wstring CommandLine() {
        Saml();
        return Record().commandLine;
    }

    // The command line behind "--receiver=…".
    std::wstring Options() {
        const std::wstring line = CommandLine();
        return line.substr(line.find(L' ', line.find(L"--receiver=")));
    }

    // What the last start's command line would be if it had no limit.
    std::wstring UncutLine(const wchar_t* provider = L"WebView2") const {
        const std::string receiver = Record().receiver;
        return std::wstring(L" --provider-name=") + provider + L" --receiver=" +
               std::wstring(receiver.begin(), receiver.end()) + L"  --object=\"saml:" + samlObject_ +
               L"\" --object-name=\"" + objectName_ + L"\" --url=\"" + url_ + L"\" --description=\"" +
               description_ + L"\" --ignore-certificate=1 --timeout=60";
    }
};

TEST_F(SamlTest, TheThreeLinesOfAnAnswer) {
    Script({Answer("RESP\nServerIp:10.0.0.1\nOther:x")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_EQ(Response(), "RESP");
    EXPECT_EQ(ServerIp(), "10.0.0.1");
    const Lines log = Log();
    const Lines end(log.end() - 6, log.end());
    EXPECT_EQ(end, (Lines{"info: RunZeltoAuthInSession=0x00000000",
                          "debug: [SamlGetResponseUsingExternalAuthProvider] Response buffer set",
                          "debug: Processing line 1: ServerIp:10.0.0.1",
                          "debug: [SamlGetResponseUsingExternalAuthProvider] Server IP set to 10.0.0.1",
                          "debug: Processing line 2: Other:x",
                          "info: SamlGetResponseUsingExternalAuthProvider exit with HRESULT=0x0x00000000"}));
}

TEST_F(SamlTest, TheKeyIsCaseSensitive) {
    Script({Answer("RESP\nserverip:10.0.0.1")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_EQ(ServerIp(), "old");
}

TEST_F(SamlTest, TheKeyIsTheWholeFirstField) {
    Script({Answer("RESP\nServerIp2:a\n ServerIp:b\nServerI:c\nServerIp")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_EQ(ServerIp(), "old");
}

TEST_F(SamlTest, AnAddressWithColonsIsCutAtTheFirst) {
    Script({Answer("RESP\nServerIp:fe80::1")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_EQ(ServerIp(), "fe80");
}

TEST_F(SamlTest, ALaterServerIpWins) {
    Script({Answer("RESP\nServerIp:10.0.0.1\nServerIp:10.0.0.2")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_EQ(ServerIp(), "10.0.0.2");
}

TEST_F(SamlTest, AServerIpWithoutValueIsEmpty) {
    Script({Answer("RESP\nServerIp:")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_EQ(ServerIp(), "");
}

TEST_F(SamlTest, TheFirstLineIsNeverAServerIp) {
    Script({Answer("ServerIp:10.0.0.1")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_EQ(Response(), "ServerIp:10.0.0.1");
    EXPECT_EQ(ServerIp(), "old");
}

TEST_F(SamlTest, ACarriageReturnStaysPartOfItsLine) {
    Script({Answer("RESP\r\nServerIp:10.0.0.1\r\n")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_EQ(Response(), "RESP\r");
    EXPECT_EQ(ServerIp(), "10.0.0.1\r");
}

TEST_F(SamlTest, AnEmptyAnswerIsAnEmptyResponse) {
    Script({Answer("")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_EQ(Response(), "");
    EXPECT_EQ(ServerIp(), "old");
}

TEST_F(SamlTest, AnUnreadableAnswerIsAnEmptyResponse) {
    BlockFile("block", "!!! no base64 !!!");
    Script({"block block"});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_EQ(Response(), "");
    const Lines log = Log();
    const Lines end(log.end() - 4, log.end());
    EXPECT_EQ(end,
              (Lines{"error: Could not decrypt saml data. nRet=-10", "info: RunZeltoAuthInSession=0x00000000",
                     "debug: [SamlGetResponseUsingExternalAuthProvider] Response buffer set",
                     "info: SamlGetResponseUsingExternalAuthProvider exit with HRESULT=0x0x00000000"}));
}

TEST_F(SamlTest, BuffersAreCutToTheirSizes) {
    const std::string answer = "RESPONSE\nServerIp:10.0.0.1";
    for (const std::uint32_t size : {1u, 2u, 8u, 9u, 10u}) {
        response_.fill('#');
        serverIp_.fill('#');
        responseSize_ = serverIpSize_ = size;
        Script({Answer(answer)});
        ASSERT_EQ(Saml(), kOk);
        const std::string response = std::string("RESPONSE").substr(0, size - 1);
        const std::string address = std::string("10.0.0.1").substr(0, size - 1);
        EXPECT_EQ(Response(), response);
        EXPECT_EQ(ServerIp(), address);
        EXPECT_EQ(response_[response.size() + 1], '#') << size;
        EXPECT_EQ(serverIp_[address.size() + 1], '#') << size;
    }
}

TEST_F(SamlTest, BuffersOfSizeZeroAreLeftAlone) {
    responseSize_ = serverIpSize_ = 0;
    Script({Answer("RESP\nServerIp:10.0.0.1")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_EQ(Response(), "old");
    EXPECT_EQ(ServerIp(), "old");
    for (const std::string& line : Log()) {
        EXPECT_EQ(line.find("buffer set"), std::string::npos) << line;
        EXPECT_EQ(line.find("Server IP set"), std::string::npos) << line;
    }
}

TEST_F(SamlTest, ANullServerIpWithASizeIsAccepted) {
    Script({Answer("RESP\nServerIp:10.0.0.1")});
    EXPECT_EQ(library_.SamlGetResponseUsingExternalAuthProvider(2, url_, description_, samlObject_,
                                                                objectName_, 0, 60'000, 0, response_.data(),
                                                                responseSize_, nullptr, 64, 0),
              kOk);
    EXPECT_EQ(Response(), "RESP");
    for (const std::string& line : Log()) {
        EXPECT_EQ(line.find("Server IP set"), std::string::npos) << line;
    }
}

TEST_F(SamlTest, AnAddressThatIsCutIsLoggedWhole) {
    serverIpSize_ = 4;
    Script({Answer("RESP\nServerIp:10.0.0.1")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_EQ(ServerIp(), "10.");
    const Lines log = Log();
    EXPECT_EQ(log[log.size() - 2],
              "debug: [SamlGetResponseUsingExternalAuthProvider] Server IP set to 10.0.0.1");
}

TEST_F(SamlTest, AMissingUrlIsInvalid) {
    url_ = nullptr;
    EXPECT_EQ(Saml(), kInvalidParameter);
    EXPECT_FALSE(ModuleWasStarted());
    EXPECT_EQ(Log(), (Lines{"error: Invalid parameter"}));
}

TEST_F(SamlTest, AMissingResponseIsInvalid) {
    EXPECT_EQ(library_.SamlGetResponseUsingExternalAuthProvider(2, url_, description_, samlObject_,
                                                                objectName_, 0, 60'000, 0, nullptr, 64,
                                                                serverIp_.data(), 64, 0),
              kInvalidParameter);
    EXPECT_FALSE(ModuleWasStarted());
    EXPECT_EQ(Log(), (Lines{"error: Invalid parameter"}));
}

TEST_F(SamlTest, AFailureOfTheModuleIsPassedThrough) {
    Script({Answer("RESP\nServerIp:10.0.0.1"), "exit 0x1234"});
    EXPECT_EQ(Saml(), 0x1234u);
    EXPECT_EQ(Response(), "old");
    EXPECT_EQ(ServerIp(), "old");
    const Lines log = Log();
    const Lines end(log.end() - 2, log.end());
    EXPECT_EQ(end, (Lines{"error: RunZeltoAuthInSession=0x00001234",
                          "info: SamlGetResponseUsingExternalAuthProvider exit with HRESULT=0x0x00001234"}));
}

TEST_F(SamlTest, AKindOutsideTheTableIsInvalid) {
    const std::wstring folder = CurrentFolder();
    for (const std::uint32_t kind : {4u, 7u, 0xFFFFFFFFu}) {
        EXPECT_EQ(Saml(kind), kInvalidParameter);
    }
    EXPECT_FALSE(ModuleWasStarted());
    EXPECT_EQ(CurrentFolder(), folder);
    EXPECT_EQ(Response(), "old");
    const Lines once = {"error: RunZeltoAuthInSession=0xa7000002",
                        "info: SamlGetResponseUsingExternalAuthProvider exit with HRESULT=0x0xa7000002"};
    Lines expected = once;
    expected.insert(expected.end(), once.begin(), once.end());
    expected.insert(expected.end(), once.begin(), once.end());
    EXPECT_EQ(Log(), expected);
}

TEST_F(SamlTest, EachKindHasItsNameAndProgram) {
    const wchar_t* const names[] = {L"ZeltoAuth", L"Electron", L"WebView2", L"WebBrowser"};
    for (std::uint32_t kind = 0; kind < 4; ++kind) {
        EXPECT_EQ(Saml(kind), kOk);
        const ModuleRecord record = Record();
        const std::wstring begin = std::wstring(L" --provider-name=") + names[kind] + L" --receiver=";
        EXPECT_EQ(record.commandLine.substr(0, begin.size()), begin);
        EXPECT_EQ(std::filesystem::path(record.program).filename(),
                  kind == 1 ? L"Zeltoclient.exe" : L"ZeltoAuth.exe");
    }
}

TEST_F(SamlTest, TheOptionsByteByByte) {
    EXPECT_EQ(Options(),
              L"  --object=\"saml:vpn\" --object-name=\"Work\" --url=\"https://vpn.example.com/saml\""
              L" --description=\"Head office\" --ignore-certificate=1 --timeout=60");
}

TEST_F(SamlTest, TheFlagsAreOptionsOfTheirOwn) {
    autoSelectCertificate_ = -1;
    deleteCookies_ = 0x80000000;
    ignoreCertificate_ = 0xFFFFFFFF;
    timeoutMs_ = 59'999;
    const std::wstring options = Options();
    const std::wstring end =
        L" --ignore-certificate=4294967295 --timeout=59 --auto-select-cert --delete-cookies";
    EXPECT_EQ(options.substr(options.size() - end.size()), end);
}

TEST_F(SamlTest, ATimeoutBelowASecondIsPassedAsZero) {
    timeoutMs_ = 999;
    const std::wstring options = Options();
    EXPECT_EQ(options.substr(options.size() - 12), L" --timeout=0");
}

TEST_F(SamlTest, QuotesAndForeignTextArriveUnchanged) {
    url_ = L"https://vpn/?a=\"b\"&c=\\\"d\\\\";
    description_ = L"Zürich 東京 \xD83D\xDE00 \xD800";
    samlObject_ = L"";
    objectName_ = L"\"";
    EXPECT_EQ(Options(),
              L"  --object=\"saml:\" --object-name=\"\"\" --url=\"https://vpn/?a=\"b\"&c=\\\"d\\\\\""
              L" --description=\"Zürich 東京 \xD83D\xDE00 \xD800\" --ignore-certificate=1 --timeout=60");
}

TEST_F(SamlTest, MissingTextsArriveEmpty) {
    description_ = samlObject_ = objectName_ = nullptr;
    EXPECT_EQ(Options(), L"  --object=\"saml:\" --object-name=\"\" --url=\"https://vpn.example.com/saml\""
                         L" --description=\"\" --ignore-certificate=1 --timeout=60");
}

TEST_F(SamlTest, ACommandLineThatIsTooLongIsCut) {
    for (const std::size_t length : {4000u, 100'000u}) {
        const std::wstring text(length, L'x');
        description_ = text.c_str();
        const std::wstring line = CommandLine();
        EXPECT_EQ(line.size(), 4095u);
        EXPECT_EQ(line.substr(line.size() - 3'500), text.substr(0, 3'500));
    }
}

TEST_F(SamlTest, TextsOfAnyLengthArriveWhole) {
    for (const std::size_t length : {0u, 1u, 259u, 260u, 261u}) {
        const std::wstring texts[] = {std::wstring(length, L'u'), std::wstring(length, L'd'),
                                      std::wstring(length, L's'), std::wstring(length, L'n')};
        url_ = texts[0].c_str();
        description_ = texts[1].c_str();
        samlObject_ = texts[2].c_str();
        objectName_ = texts[3].c_str();
        EXPECT_EQ(Options(), L"  --object=\"saml:" + texts[2] + L"\" --object-name=\"" + texts[3] +
                                 L"\" --url=\"" + texts[0] + L"\" --description=\"" + texts[1] +
                                 L"\" --ignore-certificate=1 --timeout=60");
    }
}

TEST_F(SamlTest, EachTextMayBeFarLongerThanTheCommandLine) {
    const std::wstring text(100'000, L'x');
    for (const wchar_t** const argument : {&url_, &description_, &samlObject_, &objectName_}) {
        const wchar_t* const former = *argument;
        *argument = text.c_str();
        EXPECT_EQ(CommandLine(), UncutLine().substr(0, 4095));
        *argument = former;
    }
}

TEST_F(SamlTest, AllTextsMayBeFarLongerThanTheCommandLine) {
    const std::wstring text(100'000, L'x');
    url_ = description_ = samlObject_ = objectName_ = text.c_str();
    EXPECT_EQ(Saml(library_.SamlAuthGetResponseUsingElectron), kOk);
    EXPECT_EQ(Record().commandLine, UncutLine(L"Electron").substr(0, 4095));
    EXPECT_EQ(Saml(library_.SamlAuthGetResponseUsingWebBrowser), kOk);
    EXPECT_EQ(Record().commandLine, UncutLine(L"WebBrowser").substr(0, 4095));
    EXPECT_EQ(Saml(library_.SamlAuthGetResponseUsingWebView2), kOk);
    EXPECT_EQ(Record().commandLine, UncutLine().substr(0, 4095));
}

TEST_F(SamlTest, TheCommandLineIsCutBehind4095Characters) {
    description_ = L"";
    const std::size_t rest = 4095 - CommandLine().size(); // what the description may take
    for (std::size_t length = rest - 2; length <= rest + 2; ++length) {
        const std::wstring text(length, L'd');
        description_ = text.c_str();
        const std::wstring line = CommandLine();
        const std::wstring whole = UncutLine();
        EXPECT_NEAR(static_cast<double>(whole.size()), 4095.0, 3.0);
        EXPECT_EQ(line, whole.substr(0, 4095)) << length;
    }
}

TEST_F(SamlTest, TheLargestAnswerThatFits) {
    // 65,532 characters of base64: 49,149 bytes, of which whole blocks behind the vector leave 49,120.
    const std::string response(49'119, 'R');
    Script({Answer(response)});
    std::vector<char> buffer(65'536);
    EXPECT_EQ(library_.SamlGetResponseUsingExternalAuthProvider(2, url_, L"", L"", L"", 0, 60'000, 0,
                                                                buffer.data(), 65'536, nullptr, 0, 0),
              kOk);
    EXPECT_EQ(std::string(buffer.data()), response);
}

} // namespace
} // namespace zelto::test
