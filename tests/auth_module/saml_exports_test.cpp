#include "tests/auth_module/auth_module_test.h"

#include <future>

namespace zelto::test {
namespace {

using Lines = std::vector<std::string>;

// The three SAML exports, which add their guard and fix the provider.
class SamlExportsTest : public AuthModuleTest {
protected:
    struct Flavour {
        SamlExport function;
        const char* name;
        const wchar_t* provider;
    };

    std::vector<Flavour> Flavours() const {
        return {{library_.SamlAuthGetResponseUsingElectron, "SamlAuthGetResponseUsingElectron", L"Electron"},
                {library_.SamlAuthGetResponseUsingWebBrowser, "SamlAuthGetResponseUsingWebBrowser",
                 L"WebBrowser"},
                {library_.SamlAuthGetResponseUsingWebView2, "SamlAuthGetResponseUsingWebView2", L"WebView2"}};
    }

    static bool GuardIsFree(const char* name) {
        const KernelHandle guard(OpenMutexA(SYNCHRONIZE, FALSE, name));
        return !guard;
    }

    void ExpectFreeGuards(const char* after) {
        for (const Flavour& flavour : Flavours()) {
            EXPECT_TRUE(GuardIsFree(flavour.name)) << flavour.name << " after " << after;
        }
    }

    // The same result from each of the three, and a free guard after it.
    void ExpectFromEach(std::uint32_t result, const char* what) {
        for (const Flavour& flavour : Flavours()) {
            EXPECT_EQ(Saml(flavour.function), result) << what;
        }
        ExpectFreeGuards(what);
    }
};

TEST_F(SamlExportsTest, EachPassesItsKindAndAllArguments) {
    autoSelectCertificate_ = deleteCookies_ = 1;
    for (const Flavour& flavour : Flavours()) {
        response_[0] = serverIp_[0] = '\0';
        Script({Answer("RESP\nServerIp:10.0.0.1")});
        EXPECT_EQ(Saml(flavour.function), kOk);
        EXPECT_STREQ(response_.data(), "RESP");
        EXPECT_STREQ(serverIp_.data(), "10.0.0.1");
        const ModuleRecord record = Record();
        EXPECT_EQ(record.commandLine,
                  std::wstring(L" --provider-name=") + flavour.provider + L" --receiver=" +
                      std::wstring(record.receiver.begin(), record.receiver.end()) +
                      L"  --object=\"saml:vpn\" --object-name=\"Work\" --url=\"https://vpn.example.com/saml\""
                      L" --description=\"Head office\" --ignore-certificate=1 --timeout=60 --auto-select-cert"
                      L" --delete-cookies");
        EXPECT_TRUE(GuardIsFree(flavour.name));
    }
}

TEST_F(SamlExportsTest, EachSaysThatItWasCalled) {
    url_ = nullptr;
    for (const Flavour& flavour : Flavours()) {
        EXPECT_EQ(Saml(flavour.function), kInvalidParameter);
    }
    EXPECT_EQ(Log(),
              (Lines{"info: dll-SamlAuthGetResponseUsingElectron called", "error: Invalid parameter",
                     "info: dll-SamlAuthGetResponseUsingWebBrowser called", "error: Invalid parameter",
                     "info: dll-SamlAuthGetResponseUsingWebView2 called", "error: Invalid parameter"}));
}

TEST_F(SamlExportsTest, AMissingResponseIsInvalidBeforeTheGuard) {
    for (const Flavour& flavour : Flavours()) {
        const KernelHandle guard(CreateMutexA(nullptr, FALSE, flavour.name));
        EXPECT_EQ(flavour.function(url_, L"", L"", L"", 0, 60'000, 0, nullptr, 64, nullptr, 0, 0),
                  kInvalidParameter);
    }
    EXPECT_EQ(LogAt("error").size(), 3u);
}

TEST_F(SamlExportsTest, ResultsOfTheModuleAreReturnedUnchanged) {
    Script({"exit 4660"});
    for (const Flavour& flavour : Flavours()) {
        EXPECT_EQ(Saml(flavour.function), 4660u);
    }
}

TEST_F(SamlExportsTest, AfterAFailureTheGuardIsFree) {
    Script({"exit 4660"});
    ExpectFromEach(4660, "an exit code");
    {
        const ImportPatch failing(
            library_.Module(), "CreateFileMappingW",
            +[](HANDLE, LPSECURITY_ATTRIBUTES, DWORD, DWORD, DWORD, LPCWSTR) -> HANDLE { return nullptr; });
        ExpectFromEach(kSharedMemory, "a missing block");
    }
    {
        const ImportPatch failing(
            library_.Module(), "CreateProcessW",
            +[](LPCWSTR, LPWSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL, DWORD, LPVOID, LPCWSTR,
                LPSTARTUPINFOW, LPPROCESS_INFORMATION) -> BOOL { return FALSE; });
        ExpectFromEach(kLaunchFailed, "a failed start");
    }
    for (const Flavour& flavour : Flavours()) {
        EXPECT_EQ(Cancelled([&] { return Saml(flavour.function); }), kCancelled);
    }
    ExpectFreeGuards("a cancel");
    url_ = nullptr;
    ExpectFromEach(kInvalidParameter, "a missing address");
    EXPECT_STREQ(response_.data(), "old");
    EXPECT_STREQ(serverIp_.data(), "old");
}

TEST_F(SamlExportsTest, AfterRepeatAuthTheGuardIsThatOfItsHolder) {
    for (const Flavour& flavour : Flavours()) {
        {
            const KernelHandle holder(CreateMutexA(nullptr, FALSE, flavour.name));
            EXPECT_EQ(Saml(flavour.function), kBusy);
            EXPECT_FALSE(GuardIsFree(flavour.name));
        }
        EXPECT_TRUE(GuardIsFree(flavour.name));
        EXPECT_EQ(Saml(flavour.function), kOk);
    }
}

TEST_F(SamlExportsTest, AfterBusyFromTheModuleLockTheGuardIsFree) {
    EXPECT_EQ(WhileTheModuleWaits([&] { return TwoFactor(); },
                                  [&] {
                                      ExpectFromEach(kBusy, "a taken lock");
                                      library_.StopRunningZeltoAuth();
                                  }),
              kCancelled);
    Script({Answer("RESP")});
    ExpectFromEach(kOk, "that");
}

TEST_F(SamlExportsTest, ANameThatAnotherKindOfObjectHasIsNoGuard) {
    Script({Answer("RESP")});
    for (const Flavour& flavour : Flavours()) {
        const KernelHandle event(CreateEventA(nullptr, TRUE, FALSE, flavour.name));
        EXPECT_TRUE(event);
        EXPECT_EQ(Saml(flavour.function), kOk);
    }
    EXPECT_EQ(LogAt("error"), Lines{});
}

TEST_F(SamlExportsTest, TheGuardIsTaken) {
    for (const Flavour& flavour : Flavours()) {
        const KernelHandle guard(CreateMutexA(nullptr, FALSE, flavour.name));
        EXPECT_EQ(Saml(flavour.function), kBusy);
    }
    EXPECT_FALSE(ModuleWasStarted());
    EXPECT_STREQ(response_.data(), "old");
    EXPECT_EQ(Log(), (Lines{"info: dll-SamlAuthGetResponseUsingElectron called", "error: Repeat auth",
                            "info: dll-SamlAuthGetResponseUsingWebBrowser called", "error: Repeat auth",
                            "info: dll-SamlAuthGetResponseUsingWebView2 called", "error: Repeat auth"}));
}

HANDLE WINAPI CreateNoMutex(LPSECURITY_ATTRIBUTES, BOOL, LPCSTR) {
    SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
}

TEST_F(SamlExportsTest, WithoutAGuardTheCallGoesOn) {
    Patch("CreateMutexA", &CreateNoMutex);
    Script({Answer("RESP")});
    for (const Flavour& flavour : Flavours()) {
        EXPECT_EQ(Saml(flavour.function), kOk);
    }
    EXPECT_EQ(LogAt("error"), Lines{});
}

std::vector<std::string> mutexNames;

HANDLE WINAPI CreateAsExpected(LPSECURITY_ATTRIBUTES security, BOOL owner, LPCSTR name) {
    EXPECT_EQ(security, nullptr);
    EXPECT_FALSE(owner);
    mutexNames.push_back(name);
    return CreateMutexA(security, owner, name);
}

TEST_F(SamlExportsTest, TheGuardIsNamedAfterTheExportAndNotOwned) {
    mutexNames.clear();
    Patch("CreateMutexA", &CreateAsExpected);
    for (const Flavour& flavour : Flavours()) {
        EXPECT_EQ(Saml(flavour.function), kOk);
    }
    EXPECT_EQ(mutexNames, (Lines{"SamlAuthGetResponseUsingElectron", "SamlAuthGetResponseUsingWebBrowser",
                                 "SamlAuthGetResponseUsingWebView2"}));
}

TEST_F(SamlExportsTest, WhileOneRunsItsRepeatIsTurnedAwayByTheGuardAndOthersByTheModuleLock) {
    const HANDLE started = NamedEvent("zelto test module started");
    const HANDLE goOn = NamedEvent("zelto test module goes on");
    Script({"signal zelto test module started", "wait zelto test module goes on", Answer("RESP")});
    auto first =
        std::async(std::launch::async, [&] { return Saml(library_.SamlAuthGetResponseUsingWebView2); });
    ASSERT_TRUE(IsSignalledSoon(started));

    char response[16] = "second";
    const auto second = [&](SamlExport function) {
        return function(url_, L"", L"", L"", 0, 60'000, 0, response, sizeof(response), nullptr, 0, 0);
    };
    EXPECT_EQ(second(library_.SamlAuthGetResponseUsingWebView2), kBusy);
    EXPECT_EQ(second(library_.SamlAuthGetResponseUsingElectron), kBusy);
    EXPECT_EQ(second(library_.SamlAuthGetResponseUsingWebBrowser), kBusy);
    EXPECT_EQ(TwoFactor(), kBusy);
    EXPECT_EQ(Basic(), kBusy);
    EXPECT_STREQ(response, "second");
    EXPECT_EQ(first.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    SetEvent(goOn);
    EXPECT_EQ(first.get(), kOk);
    EXPECT_STREQ(response_.data(), "RESP");
    EXPECT_EQ(LogAt("error"), (Lines{"error: Repeat auth", "error: RunZeltoAuthInSession=0xa7000005",
                                     "error: RunZeltoAuthInSession=0xa7000005"}));
}

} // namespace
} // namespace zelto::test
