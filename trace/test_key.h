#pragma once

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <windows.h>
#include <winsock2.h>

namespace zelto::test {

// An empty key below HKEY_LOCAL_MACHINE for the time of a test.
class TestKey {
public:
    TestKey() : path_("Software\\ZeltoTraceTest_" + std::to_string(GetCurrentProcessId())) {
        if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, path_.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key_,
                            nullptr) != ERROR_SUCCESS) {
            throw std::runtime_error("cannot create a registry key");
        }
    }
    TestKey(const TestKey&) = delete;
    TestKey& operator=(const TestKey&) = delete;
    ~TestKey() {
        RegCloseKey(key_);
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, path_.c_str());
    }

    const char* Path() const { return path_.c_str(); }

    void SetDword(const char* name, std::uint32_t value) { Set(name, REG_DWORD, &value, sizeof(value)); }
    void SetShortDword(const char* name, std::uint16_t value) { Set(name, REG_DWORD, &value, sizeof(value)); }
    void SetQword(const char* name, std::uint64_t value) { Set(name, REG_QWORD, &value, sizeof(value)); }
    void SetText(const char* name, const char* value) { Set(name, REG_SZ, value, std::strlen(value) + 1); }

private:
    void Set(const char* name, DWORD type, const void* value, std::size_t size) {
        RegSetValueExA(key_, name, 0, type, static_cast<const BYTE*>(value), static_cast<DWORD>(size));
    }

    std::string path_;
    HKEY key_ = nullptr;
};

} // namespace zelto::test
