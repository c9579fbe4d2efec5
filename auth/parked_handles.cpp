#include "auth/parked_handles.h"

#include <cstddef>
#include <cstdint>

namespace zelto {
namespace {

// Each parked pair is one atom "<prefix>: <16 hex digits> <16 hex digits>" and one reference on the atom
// <prefix>, which tells in one look-up whether a search is worth while.
constexpr wchar_t kPrefix[] = L"ZeltoAuth parked handles";
constexpr std::size_t kPrefixLength = sizeof(kPrefix) / sizeof(wchar_t) - 1;
constexpr std::size_t kDigits = 16;
constexpr std::size_t kNameLength = kPrefixLength + 1 + 2 * (1 + kDigits);

// String atoms have the numbers 0xC000 to 0xFFFF.
constexpr unsigned kFirstStringAtom = 0xC000;
constexpr unsigned kLastStringAtom = 0xFFFF;

wchar_t* WriteHandle(wchar_t* out, HANDLE handle) noexcept {
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    *out++ = L' ';
    for (std::size_t digit = kDigits; digit-- > 0;) {
        *out++ = L"0123456789ABCDEF"[(static_cast<std::uint64_t>(value) >> (4 * digit)) & 0xF];
    }
    return out;
}

HANDLE ReadHandle(const wchar_t* digits) noexcept {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < kDigits; ++i) {
        const wchar_t c = digits[i];
        value = value * 16 + static_cast<std::uint64_t>(c <= L'9' ? c - L'0' : c - L'A' + 10);
    }
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(value));
}

bool IsParkedPair(const wchar_t* name, unsigned length) noexcept {
    if (length != kNameLength || name[kPrefixLength] != L':') {
        return false;
    }
    for (std::size_t i = 0; i < kPrefixLength; ++i) {
        if (name[i] != kPrefix[i]) {
            return false;
        }
    }
    return true;
}

} // namespace

void ParkHandles(const HandlePair& handles) noexcept {
    if (handles[0] == nullptr || handles[1] == nullptr) {
        return;
    }
    wchar_t name[kNameLength + 1];
    wchar_t* out = name;
    for (std::size_t i = 0; i < kPrefixLength; ++i) {
        *out++ = kPrefix[i];
    }
    *out++ = L':';
    out = WriteHandle(out, handles[0]);
    out = WriteHandle(out, handles[1]);
    *out = L'\0';
    if (AddAtomW(name) != 0) {
        AddAtomW(kPrefix);
    }
}

bool TakeParkedHandles(HandlePair& handles) noexcept {
    const ATOM marker = FindAtomW(kPrefix);
    if (marker == 0) {
        return false;
    }
    for (unsigned number = kFirstStringAtom; number <= kLastStringAtom; ++number) {
        wchar_t name[kNameLength + 2];
        const auto atom = static_cast<ATOM>(number);
        const unsigned length = GetAtomNameW(atom, name, static_cast<int>(kNameLength + 2));
        if (IsParkedPair(name, length)) {
            handles[0] = ReadHandle(name + kPrefixLength + 2);
            handles[1] = ReadHandle(name + kPrefixLength + 2 + kDigits + 1);
            DeleteAtom(atom);
            DeleteAtom(marker);
            return true;
        }
    }
    return false;
}

} // namespace zelto
