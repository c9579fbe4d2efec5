#pragma once

#include <cstdint>
#include <string>

namespace zelto {

// Selects a row of the provider table.
using ProviderKind = std::uint32_t;

inline constexpr ProviderKind kProviderZeltoAuth = 0;
inline constexpr ProviderKind kProviderElectron = 1;
inline constexpr ProviderKind kProviderWebView2 = 2;
inline constexpr ProviderKind kProviderWebBrowser = 3;

// One flavour of the auth module.
struct ProviderEntry {
    std::wstring name;       // passed to the module as "--provider-name"
    std::wstring executable; // file name, in the library's own folder
};

// The row of `kind`, or null when there is none. The table is built when the library is loaded and never
// changed: any thread may read it. The row lives until the library is unloaded.
const ProviderEntry* FindProvider(ProviderKind kind) noexcept;

} // namespace zelto
