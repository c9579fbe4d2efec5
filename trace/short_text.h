#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace zelto {

// The fields of a record are short, and the C runtime's routines, called through the import table, would take longer
// to reach than to run: these are inlined.

// Copies `text` and returns where the copy ends. Two moves that may overlap in the middle serve every length between one
// and two of their size.
inline char* CopyText(char* to, std::string_view text) noexcept {
    const char* from = text.data();
    const std::size_t size = text.size();
    if (size > 512) {
        std::memcpy(to, from, size);
    } else if (size > 64) {
        for (std::size_t done = 0; done < size - 64; done += 64) {
            std::memcpy(to + done, from + done, 64);
        }
        std::memcpy(to + size - 64, from + size - 64, 64);
    } else if (size > 32) {
        std::memcpy(to, from, 32);
        std::memcpy(to + size - 32, from + size - 32, 32);
    } else if (size > 16) {
        std::memcpy(to, from, 16);
        std::memcpy(to + size - 16, from + size - 16, 16);
    } else if (size >= 8) {
        std::memcpy(to, from, 8);
        std::memcpy(to + size - 8, from + size - 8, 8);
    } else if (size >= 4) {
        std::memcpy(to, from, 4);
        std::memcpy(to + size - 4, from + size - 4, 4);
    } else if (size != 0) {
        to[0] = from[0];
        to[size / 2] = from[size / 2];
        to[size - 1] = from[size - 1];
    }
    return to + size;
}

// The length of a text that ends with a zero.
inline std::size_t TextLength(const char* text) noexcept {
    const char* end = text;
    for (;; end += 4) {
        if (end[0] == '\0') {
            return static_cast<std::size_t>(end - text);
        }
        if (end[1] == '\0') {
            return static_cast<std::size_t>(end - text) + 1;
        }
        if (end[2] == '\0') {
            return static_cast<std::size_t>(end - text) + 2;
        }
        if (end[3] == '\0') {
            return static_cast<std::size_t>(end - text) + 3;
        }
    }
}

// Whether two texts that end with a zero are the same.
inline bool SameText(const char* a, const char* b) noexcept {
    for (; *a == *b; ++a, ++b) {
        if (*a == '\0') {
            return true;
        }
    }
    return false;
}

} // namespace zelto
