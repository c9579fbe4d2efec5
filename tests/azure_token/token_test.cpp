#include "tests/azure_token/token_test.h"

#include "tests/azure_token/installed_client.h"
#include "tests/support/trace_lines.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <windows.h>

namespace zelto::test {
namespace {

namespace fs = std::filesystem;

// One installation for all tests of the program.
class ClientWithDouble : public ::testing::Environment {
public:
    void SetUp() override {
        RemoveAllClients();
        root_.emplace();
        client_.emplace(L"client1", root_->Path() / L"ZeltoClient");
        client_->UseDouble();
    }
    void TearDown() override {
        client_.reset();
        root_.reset();
    }
    const InstalledClient& Client() const { return *client_; }

private:
    std::optional<TempFolder> root_;
    std::optional<InstalledClient> client_;
};

const auto* const environment =
    static_cast<ClientWithDouble*>(::testing::AddGlobalTestEnvironment(new ClientWithDouble));

} // namespace

const fs::path& ClientFolder() {
    return environment->Client().Folder();
}

EmptyTokenLog::EmptyTokenLog() {
    fs::remove(LibraryUnderTest::TraceLogPath());
    fs::remove(LibraryUnderTest::ErrorCopyPath());
}

TokenTest::TokenTest() : buffer_(4096), bufferSize_(static_cast<std::uint32_t>(buffer_.size())) {
    std::copy(std::begin(kOldText), std::end(kOldText), buffer_.begin());
    SetEnvironmentVariableW(L"ZELTO_TOKEN_RECORD", record_.Path().c_str());
    Behave(L"write", L"text|token");
}

TokenTest::~TokenTest() {
    SetEnvironmentVariableW(L"ZELTO_TOKEN_PIPES", nullptr);
    SetEnvironmentVariableW(L"ZELTO_TOKEN_EVENTS", nullptr);
}

void TokenTest::Behave(const wchar_t* behaviour, const std::wstring& text) {
    SetEnvironmentVariableW(L"ZELTO_TOKEN_DOUBLE", behaviour);
    SetEnvironmentVariableW(L"ZELTO_TOKEN_TEXT", text.c_str());
}

std::uint32_t TokenTest::Fetch(const wchar_t* clientId, const wchar_t* tenantName) {
    return library_.SamlAuthGetAzureToken(clientId, tenantName, 0, buffer_.data(), bufferSize_);
}

void TokenTest::ExpectToken(const std::wstring& output, const std::string& token) {
    Behave(L"write", output);
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), token);
}

void TokenTest::ExpectFailure() {
    EXPECT_EQ(Fetch(), kTokenFailed);
    EXPECT_EQ(Token(), kOldText);
}

std::string TokenTest::Record(const wchar_t* name) const {
    return ReadBytes(record_.Path() / name);
}

std::wstring TokenTest::WideRecord(const wchar_t* name) const {
    const std::string bytes = Record(name);
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    return text;
}

std::vector<std::string> TokenTest::Log() {
    TakePatchesAway();
    library_.Unload();
    return Messages(ReadTraceLines(LibraryUnderTest::TraceLogPath()));
}

std::string TokenTest::CommandRecord() {
    return "info: raw command: " + ClientFolder().string() + "\\AzureToken2.exe client tenant --from-ploxe";
}

} // namespace zelto::test
