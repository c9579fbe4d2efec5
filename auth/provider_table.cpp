#include "auth/provider_table.h"

#include <cstddef>
#include <exception>
#include <unordered_map>

namespace zelto {
namespace {

// FNV-1a over the kind's four bytes, lowest first.
struct KindHash {
    std::size_t operator()(ProviderKind kind) const noexcept {
        std::uint64_t hash = 0xcbf29ce484222325u;
        for (int shift = 0; shift < 32; shift += 8) {
            hash = (hash ^ ((kind >> shift) & 0xFFu)) * 0x100000001b3u;
        }
        return static_cast<std::size_t>(hash);
    }
};

using ProviderTable = std::unordered_map<ProviderKind, ProviderEntry, KindHash>;

// Electron has an executable of its own; the three other kinds share one and differ only in the name they
// pass. The library is being loaded, and nobody could catch anything: without memory there are no rows.
ProviderTable BuildProviderTable() noexcept {
    try {
        return {
            {kProviderZeltoAuth, {L"ZeltoAuth", L"ZeltoAuth.exe"}},
            {kProviderWebView2, {L"WebView2", L"ZeltoAuth.exe"}},
            {kProviderElectron, {L"Electron", L"Zeltoclient.exe"}},
            {kProviderWebBrowser, {L"WebBrowser", L"ZeltoAuth.exe"}},
        };
    } catch (const std::exception&) {
        return {};
    }
}

const ProviderTable providerTable = BuildProviderTable();

} // namespace

const ProviderEntry* FindProvider(ProviderKind kind) noexcept {
    const auto row = providerTable.find(kind);
    return row == providerTable.end() ? nullptr : &row->second;
}

} // namespace zelto
