#include "tests/cleanup/clearing_test.h"

#include <cstdlib>
#include <fstream>

namespace zelto::test {
namespace {

BOOL WINAPI AnswerSessionZero(DWORD processId, DWORD* session) {
    EXPECT_EQ(processId, GetCurrentProcessId());
    *session = 0;
    return TRUE;
}

std::wstring LocalAppData() {
    wchar_t value[MAX_PATH] = {};
    GetEnvironmentVariableW(L"LOCALAPPDATA", value, MAX_PATH);
    return value;
}

} // namespace

ClearingTest* ClearingTest::current_ = nullptr;

ClearingTest::ClearingTest() : formerLocalAppData_(LocalAppData()) {
    current_ = this;
    SetLocalAppData(localAppData_.Path());
    Patch("Sleep", &RecordPause);
}

ClearingTest::~ClearingTest() {
    std::error_code ignored;
    std::filesystem::remove_all(ServicesFolder(), ignored);
    SetLocalAppData(formerLocalAppData_);
    current_ = nullptr;
}

void ClearingTest::SetLocalAppData(const std::filesystem::path& folder) {
    SetEnvironmentVariableW(L"LOCALAPPDATA", folder.c_str());
}

void ClearingTest::Clear() {
    EXPECT_EQ(library_.SamlAuthClearCookies(), 0u);
}

void ClearingTest::Unload() {
    patches_.clear();
    library_.Unload();
}

std::filesystem::path ClearingTest::Folder() const {
    return localAppData_.Path() / L"ZeltoClient" / L"SamlAuth";
}

std::filesystem::path ClearingTest::ServicesFolder() {
    wchar_t self[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    return std::filesystem::path(self).parent_path() / L"SamlAuth";
}

void ClearingTest::RunInSessionZero() {
    Patch("ProcessIdToSessionId", &AnswerSessionZero);
}

void WINAPI ClearingTest::RecordPause(DWORD milliseconds) {
    EXPECT_EQ(GetCurrentThreadId(), current_->caller_);
    current_->pauses_.push_back(milliseconds);
    if (current_->duringPause_) {
        current_->duringPause_(static_cast<int>(current_->pauses_.size()));
    }
}

void MakeFile(const std::filesystem::path& file) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream stream(file);
    stream << "content";
    if (!stream.flush()) {
        ADD_FAILURE() << "cannot make " << file;
    }
}

std::vector<DWORD> AllPauses() {
    return std::vector<DWORD>(15, 1000);
}

} // namespace zelto::test
