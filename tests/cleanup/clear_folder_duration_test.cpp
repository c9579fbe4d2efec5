#include "tests/cleanup/clearing_test.h"
#include "tests/cleanup/file_holder_process.h"

#include <chrono>

namespace zelto::test {
namespace {

// The whole of it with its own pauses, and the user's own folder of local application data.
TEST(ClearFolderDurationTest, AFileThatIsHeldForThreeSecondsIsGoneAfterFifteen) {
    LibraryUnderTest library;
    wchar_t localAppData[MAX_PATH] = {};
    ASSERT_NE(GetEnvironmentVariableW(L"LOCALAPPDATA", localAppData, MAX_PATH), 0u);
    const std::filesystem::path folder = std::filesystem::path(localAppData) / L"ZeltoClient" / L"SamlAuth";
    MakeFile(folder / L"Default" / L"Cookies");
    const FileHolder holder(folder / L"Default" / L"Cookies", 3000);

    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(library.SamlAuthClearCookies(), 0u);
    const auto duration = std::chrono::steady_clock::now() - start;

    EXPECT_FALSE(std::filesystem::exists(folder));
    EXPECT_GE(duration, std::chrono::milliseconds(14'900));
    EXPECT_LE(duration, std::chrono::seconds(60)); // attempts take time, too
}

} // namespace
} // namespace zelto::test
