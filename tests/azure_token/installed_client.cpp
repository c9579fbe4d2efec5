#include "tests/azure_token/installed_client.h"

#include "cleanup/installer_codes.h"

#include <stdexcept>
#include <windows.h>

#include <msi.h>
#include <msiquery.h>

namespace zelto::test {
namespace {

namespace fs = std::filesystem;

fs::path TestFolder() {
    wchar_t self[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    return fs::path(self).parent_path();
}

void Install(const fs::path& installer, const std::wstring& properties) {
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    const UINT result = MsiInstallProductW(installer.c_str(), properties.c_str());
    if (result != ERROR_SUCCESS) {
        throw std::runtime_error("the installer answers " + std::to_string(result));
    }
}

} // namespace

InstalledClient::InstalledClient(const std::wstring& installer, const fs::path& folder,
                                 const std::wstring& features)
    : installer_(TestFolder() / L"clients" / (installer + L".msi")), folder_(folder) {
    Install(installer_, L"INSTALLFOLDER=\"" + folder.wstring() + L"\" ADDLOCAL=" + features);
    if (!fs::exists(folder / L"about.txt")) {
        throw std::runtime_error("the client is not where it was to be installed");
    }
}

InstalledClient::~InstalledClient() {
    try {
        Install(installer_, L"REMOVE=ALL");
    } catch (const std::runtime_error&) {
        RemoveAllClients();
    }
}

void InstalledClient::UseDouble() const {
    fs::copy_file(TestFolder() / L"token_double.exe", folder_ / L"AzureToken2.exe",
                  fs::copy_options::overwrite_existing);
}

void RemoveAllClients() {
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    for (const wchar_t* const upgradeCode : kUpgradeCodes) {
        for (std::wstring product = FirstProduct(upgradeCode); !product.empty();
             product = FirstProduct(upgradeCode)) {
            const UINT result =
                MsiConfigureProductW(product.c_str(), INSTALLLEVEL_DEFAULT, INSTALLSTATE_ABSENT);
            if (result != ERROR_SUCCESS) {
                throw std::runtime_error("a client cannot be removed: " + std::to_string(result));
            }
        }
    }
}

std::wstring FirstProduct(const wchar_t* upgradeCode) {
    wchar_t product[39] = {};
    return MsiEnumRelatedProductsW(upgradeCode, 0, 0, product) == ERROR_SUCCESS ? product : L"";
}

} // namespace zelto::test
