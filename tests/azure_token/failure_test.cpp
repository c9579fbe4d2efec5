// What fails on the way to the token, one case each.

#include "tests/azure_token/token_test.h"

#include <filesystem>

namespace zelto::test {
namespace {

namespace fs = std::filesystem;

int pipesLeft = 0; // how many pipes can still be created

BOOL WINAPI CreatePipeUntilNoneIsLeft(HANDLE* read, HANDLE* write, SECURITY_ATTRIBUTES* attributes,
                                      DWORD size) {
    if (pipesLeft-- <= 0) {
        SetLastError(ERROR_TOO_MANY_OPEN_FILES);
        return FALSE;
    }
    return CreatePipe(read, write, attributes, size);
}

class TokenFailureTest : public TokenTest {
protected:
    void AllowPipes(int count) {
        pipesLeft = count;
        Patch("CreatePipe", &CreatePipeUntilNoneIsLeft);
    }
};

TEST_F(TokenFailureTest, TheInputPipeCannotBeCreated) {
    AllowPipes(0);
    ExpectFailure();
    EXPECT_EQ(Log(), std::vector<std::string>{"debug: Failed to create pipe. Error: 4\n"});
    EXPECT_EQ(Record(L"command_line"), "");
}

TEST_F(TokenFailureTest, TheOutputPipeCannotBeCreated) {
    AllowPipes(1);
    ExpectFailure();
    EXPECT_EQ(Log(), std::vector<std::string>{"debug: Failed to create pipe. Error: 4\n"});
    EXPECT_EQ(Record(L"command_line"), "");
}

// The installer knows the key file; the token program beside it is damaged.
TEST_F(TokenFailureTest, TheTokenProgramIsNoProgram) {
    const fs::path program = ClientFolder() / L"AzureToken2.exe";
    const fs::path aside = ClientFolder() / L"aside.exe";
    fs::rename(program, aside);
    fs::copy_file(ClientFolder() / L"about.txt", program);
    ExpectFailure();
    fs::remove(program);
    fs::rename(aside, program);
    EXPECT_EQ(Log(), (std::vector<std::string>{CommandRecord(),
                                               "debug: Failed to create child process. Error: 193\n"}));
}

TEST_F(TokenFailureTest, TheProcessCannotBeCreated) {
    Patch("CreateProcessW", &RefuseProcess);
    ExpectFailure();
    EXPECT_EQ(Log(), (std::vector<std::string>{CommandRecord(),
                                               "debug: Failed to create child process. Error: 5\n"}));
}

BOOL WINAPI RefuseExitCode(HANDLE, DWORD*) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}

TEST_F(TokenFailureTest, TheExitCodeCannotBeReadWhichChangesNothing) {
    Patch("GetExitCodeProcess", &RefuseExitCode);
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), "token");
    EXPECT_EQ(Log(),
              (std::vector<std::string>{CommandRecord(), "debug: Failed to get exit code. Error: 6\n"}));
}

int readsLeft = 0; // how many reads still give something

BOOL WINAPI ReadUntilNoneIsLeft(HANDLE file, LPVOID bytes, DWORD size, DWORD* read, OVERLAPPED* overlapped) {
    if (readsLeft-- <= 0) {
        *read = 0;
        return TRUE;
    }
    EXPECT_EQ(size, 2048u);
    return ReadFile(file, bytes, 1, read, overlapped);
}

TEST_F(TokenFailureTest, AReadOfNothingEndsTheOutput) {
    readsLeft = 7;
    Patch("ReadFile", &ReadUntilNoneIsLeft);
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), "to"); // of "text|token"
}

// Its writes fail, because nothing is held open that it could fill.
TEST_F(TokenFailureTest, AProgramThatWritesOnWhenNobodyReadsIsNoDeadlock) {
    readsLeft = 3;
    Patch("ReadFile", &ReadUntilNoneIsLeft);
    Behave(L"large");
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), "a"); // of "x|abc…"
}

BOOL WINAPI FailToRead(HANDLE, LPVOID bytes, DWORD, DWORD* read, OVERLAPPED*) {
    static_cast<char*>(bytes)[0] = '|';
    *read = 1; // counts for nothing, since the call fails
    SetLastError(ERROR_READ_FAULT);
    return FALSE;
}

TEST_F(TokenFailureTest, AFailedReadEndsTheOutput) {
    Patch("ReadFile", &FailToRead);
    ExpectFailure();
}

} // namespace
} // namespace zelto::test
