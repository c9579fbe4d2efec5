#include "cleanup/token_command_line.h"

namespace zelto {
namespace {

constexpr std::size_t kLongestFolder = 260; // characters
constexpr std::wstring_view kProgram = L"AzureToken2.exe";
constexpr std::wstring_view kCaller = L"--from-ploxe";

} // namespace

std::optional<std::wstring_view> InstallationFolder(std::wstring_view path) noexcept {
    const std::size_t backslash = path.rfind(L'\\');
    // Without a folder, Windows would look for the program in the host's current folder.
    if (backslash == std::wstring_view::npos || backslash + 1 > kLongestFolder) {
        return std::nullopt;
    }
    return path.substr(0, backslash + 1);
}

std::wstring BuildTokenCommandLine(std::wstring_view folder, std::wstring_view clientId,
                                   std::wstring_view tenantName) {
    std::wstring commandLine(folder);
    commandLine += kProgram;
    for (const std::wstring_view argument : {clientId, tenantName, kCaller}) {
        commandLine += L' ';
        commandLine += argument;
    }
    return commandLine;
}

} // namespace zelto
