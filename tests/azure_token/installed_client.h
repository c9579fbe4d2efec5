#pragma once

#include <filesystem>
#include <string>

namespace zelto::test {

// A client that Windows Installer has put on this machine, with the sample token program; removed again on
// destruction. Throws std::runtime_error when the installer refuses.
class InstalledClient {
public:
    // `installer` is the name of an installer that the build made for the tests: "client1" to "client5",
    // after the place of the upgrade code, or "client1b". `features` are those of
    // samples/token_program/client.wxs.
    InstalledClient(const std::wstring& installer, const std::filesystem::path& folder,
                    const std::wstring& features = L"ALL");
    InstalledClient(const InstalledClient&) = delete;
    InstalledClient& operator=(const InstalledClient&) = delete;
    ~InstalledClient();

    const std::filesystem::path& Folder() const { return folder_; }

    // Puts the double in the token program's place.
    void UseDouble() const;

private:
    std::filesystem::path installer_;
    std::filesystem::path folder_;
};

// Removes whatever clients an interrupted test has left on the machine.
void RemoveAllClients();

// The product code of the first product that Windows Installer names for an upgrade code.
std::wstring FirstProduct(const wchar_t* upgradeCode);

} // namespace zelto::test
