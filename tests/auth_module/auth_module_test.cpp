#include "tests/auth_module/auth_module_test.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace zelto::test {
namespace {

std::wstring WideOfHex(const std::string& hex) {
    std::wstring text;
    for (std::size_t i = 0; i + 3 < hex.size(); i += 4) {
        const std::string unit = hex.substr(i + 2, 2) + hex.substr(i, 2); // lowest byte first
        text += static_cast<wchar_t>(std::strtoul(unit.c_str(), nullptr, 16));
    }
    return text;
}

void WriteBytes(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

} // namespace

AuthModuleTest::AuthModuleTest()
    : library_(ModuleFolder() / L"ZeltoAuth.dll"), formerFolder_(CurrentFolder()) {
    SetEnvironmentVariableW(L"ZELTO_AUTH_MODULE_DOUBLE", folder_.Path().c_str());
    Script({});
}

AuthModuleTest::~AuthModuleTest() {
    TakePatchesAway();
    SetCurrentDirectoryW(formerFolder_.c_str());
}

void AuthModuleTest::Script(const std::vector<std::string>& actions) {
    std::string text;
    for (const std::string& action : actions) {
        text += action + "\n";
    }
    WriteBytes(folder_.Path() / "script.txt", text);
}

std::string AuthModuleTest::Answer(const std::string& text) {
    std::string action = "answer ";
    for (const char character : text) {
        char digits[3];
        std::snprintf(digits, sizeof(digits), "%02x", static_cast<unsigned char>(character));
        action += digits;
    }
    return action;
}

void AuthModuleTest::BlockFile(const std::string& name, const std::string& bytes) {
    WriteBytes(folder_.Path() / name, bytes);
}

bool AuthModuleTest::ModuleWasStarted() const {
    return std::filesystem::exists(folder_.Path() / "record.txt");
}

ModuleRecord AuthModuleTest::Record() const {
    std::istringstream text(ReadBytes(folder_.Path() / "record.txt"));
    std::map<std::string, std::string> values;
    std::string name;
    std::string line;
    while (text >> name && std::getline(text, line)) {
        values[name] = line.substr(1);
    }
    ModuleRecord record;
    record.program = WideOfHex(values["program"]);
    record.commandLine = WideOfHex(values["command"]);
    record.directory = WideOfHex(values["directory"]);
    record.receiver = values["receiver"];
    record.blockSize = std::strtoul(values["block_size"].c_str(), nullptr, 10);
    record.blockIsZero = values["block_zero"] == "1";
    record.process = static_cast<DWORD>(std::strtoul(values["process"].c_str(), nullptr, 10));
    return record;
}

HANDLE AuthModuleTest::NamedEvent(const std::string& name) {
    events_.emplace_back(CreateEventA(nullptr, TRUE, FALSE, name.c_str()));
    ResetEvent(events_.back().get());
    return events_.back().get();
}

bool AuthModuleTest::IsSignalledSoon(HANDLE event) {
    return WaitForSingleObject(event, 60'000) == WAIT_OBJECT_0;
}

std::uint32_t AuthModuleTest::Saml(std::uint32_t kind) {
    return library_.SamlGetResponseUsingExternalAuthProvider(
        kind, url_, description_, samlObject_, objectName_, ignoreCertificate_, timeoutMs_, deleteCookies_,
        response_.data(), responseSize_, serverIp_.data(), serverIpSize_, autoSelectCertificate_);
}

std::uint32_t AuthModuleTest::Saml(SamlExport function) {
    return function(url_, description_, samlObject_, objectName_, ignoreCertificate_, timeoutMs_,
                    deleteCookies_, response_.data(), responseSize_, serverIp_.data(), serverIpSize_,
                    autoSelectCertificate_);
}

std::uint32_t AuthModuleTest::Basic() {
    return library_.BasicAuthGetResponse(userName_.data(), 256, password_.data(), 256, certificate_.data(),
                                         256, description_, timeoutMs_);
}

std::uint32_t AuthModuleTest::TwoFactor() {
    return library_.TwoFactorAuthGetResponse(tokenDescription_, token_.data(), token_.size(), timeoutMs_,
                                             nullptr, nullptr);
}

std::uint32_t AuthModuleTest::WhileTheModuleWaits(const Call& call, const std::function<void()>& act,
                                                  const std::string& answer) {
    const HANDLE started = NamedEvent("zelto test module started");
    NamedEvent("zelto test never");
    Script({answer, "signal zelto test module started", "wait zelto test never"});
    std::uint32_t result = 0;
    std::thread caller([&] { result = call(); });
    EXPECT_TRUE(IsSignalledSoon(started));
    act();
    caller.join(); // it has ended: who then looks at the process's memory finds no stack that goes
    return result;
}

std::uint32_t AuthModuleTest::Cancelled(const Call& call, const std::string& answer) {
    return WhileTheModuleWaits(call, [&] { EXPECT_NE(library_.StopRunningZeltoAuth(), 0); }, answer);
}

DWORD AuthModuleTest::ExitCode(const KernelHandle& process) {
    DWORD code = STILL_ACTIVE;
    EXPECT_EQ(WaitForSingleObject(process.get(), 60'000), WAIT_OBJECT_0);
    GetExitCodeProcess(process.get(), &code);
    return code;
}

KernelHandle AuthModuleTest::OpenModule() const {
    return KernelHandle(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, Record().process));
}

std::vector<std::string> AuthModuleTest::Log() {
    TakePatchesAway();
    library_.Unload();
    return Messages(ReadTraceLines(LibraryUnderTest::TraceLogPath()));
}

std::vector<std::string> AuthModuleTest::LogAt(const std::string& level) {
    std::vector<std::string> messages;
    for (const std::string& message : Log()) {
        if (message.rfind(level + ": ", 0) == 0) {
            messages.push_back(message);
        }
    }
    return messages;
}

std::filesystem::path AuthModuleTest::ModuleFolder() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return (std::filesystem::path(path).parent_path() / L"auth_module").make_preferred();
}

std::wstring AuthModuleTest::CurrentFolder() {
    wchar_t folder[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, folder);
    return folder;
}

} // namespace zelto::test
