#include "trace/hex_dump.h"

#include <algorithm>
#include <cstdint>

namespace zelto {
namespace {

void AppendByte(BoundedText& out, std::uint8_t byte) noexcept {
    out.Append(kUppercaseDigits[byte >> 4]);
    out.Append(kUppercaseDigits[byte & 0xF]);
}

void AppendOffset(BoundedText& out, std::size_t offset) noexcept {
    for (int shift = 24; shift >= 0; shift -= 8) {
        AppendByte(out, static_cast<std::uint8_t>(offset >> shift));
    }
}

} // namespace

void AppendHexDumpLine(BoundedText& out, const void* data, std::size_t length, std::size_t offset) noexcept {
    const auto* bytes = static_cast<const std::uint8_t*>(data) + offset;
    const std::size_t count = std::min(kHexDumpStep, length - offset);
    AppendOffset(out, offset);
    out.Append("  ");
    for (std::size_t i = 0; i < count; ++i) {
        AppendByte(out, bytes[i]);
        out.Append(' ');
    }
    out.Fill(' ', (kHexDumpStep - count) * 3);
    out.Append("  ");
    for (std::size_t i = 0; i < count; ++i) {
        const bool printable = bytes[i] >= 0x20 && bytes[i] <= 0x7E;
        out.Append(printable ? static_cast<char>(bytes[i]) : '.');
    }
    out.Append("\r\n");
}

} // namespace zelto
