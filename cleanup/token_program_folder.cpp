#include "cleanup/token_program_folder.h"

#include "cleanup/installer_codes.h"
#include "cleanup/token_command_line.h"

#include <io.h>
#include <windows.h>

#include <msi.h>

namespace zelto {
namespace {

constexpr DWORD kPathSize = 260; // characters, terminator included
constexpr int kExists = 0;       // what _waccess is to look for

static_assert(std::size(kUpgradeCodes) >= kProductsWithTokenProgram);

// Asks for the key file of the component. Of several products with one upgrade code only the first counts.
bool FindKeyFile(const wchar_t* upgradeCode, wchar_t (&path)[kPathSize]) noexcept {
    wchar_t productCode[39] = {}; // a GUID in braces
    if (MsiEnumRelatedProductsW(upgradeCode, 0, 0, productCode) != ERROR_SUCCESS) {
        return false;
    }
    DWORD size = kPathSize;
    const INSTALLSTATE state = MsiGetComponentPathW(productCode, kTokenProgramComponent, path, &size);
    return state == INSTALLSTATE_LOCAL && _waccess(path, kExists) == 0;
}

} // namespace

std::optional<std::wstring> FindTokenProgramFolder() {
    for (std::size_t product = 0; product < kProductsWithTokenProgram; ++product) {
        wchar_t path[kPathSize] = {};
        if (FindKeyFile(kUpgradeCodes[product], path)) {
            const std::optional<std::wstring_view> folder = InstallationFolder(path);
            return folder ? std::optional<std::wstring>(*folder) : std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace zelto
