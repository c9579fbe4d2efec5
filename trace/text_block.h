#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#if defined(_M_X64) || defined(__x86_64__)
#include <emmintrin.h>
#elif defined(_M_ARM64) || defined(__aarch64__)
#include <arm_neon.h>
#else
#error "for this processor, TextBlock and its functions have to be written"
#endif

// For what reads, on purpose, behind the end of a text, in the page that holds this end.
#if defined(__clang__) || defined(__GNUC__)
#define ZELTO_READS_WHOLE_BLOCKS __attribute__((no_sanitize("address")))
#elif defined(_MSC_VER)
#define ZELTO_READS_WHOLE_BLOCKS __declspec(no_sanitize_address)
#else
#define ZELTO_READS_WHOLE_BLOCKS
#endif

// For what is called seldom, and would make its caller slower by being compiled into it.
#if defined(_MSC_VER) && !defined(__clang__)
#define ZELTO_NOT_INLINED __declspec(noinline)
#else
#define ZELTO_NOT_INLINED __attribute__((noinline))
#endif

namespace zelto {

// Text is searched and copied in blocks of as many bytes as a vector register holds.
inline constexpr std::size_t kTextBlock = 16;

// The smallest page of memory that any system at hand has; a larger one consists of such pages.
inline constexpr std::size_t kMemoryPage = 4096;

// A block can be read where a text goes on, wherever the text ends, unless the block reaches into the next page.
inline bool CanReadBlock(const char* text) noexcept {
    return (reinterpret_cast<std::uintptr_t>(text) & (kMemoryPage - 1)) <= kMemoryPage - kTextBlock;
}

// From kTextBlock - n on: n bytes to be kept and others to be cleared, a block in all.
inline constexpr std::array<unsigned char, kTextBlock * 2> kKeptBytes = [] {
    std::array<unsigned char, kTextBlock * 2> bytes{};
    for (std::size_t i = 0; i < kTextBlock; ++i) {
        bytes[i] = 0xFF;
    }
    return bytes;
}();

#if defined(_M_X64) || defined(__x86_64__)

using TextBlock = __m128i;

ZELTO_READS_WHOLE_BLOCKS inline TextBlock LoadBlock(const void* from) noexcept {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

inline void StoreBlock(char* to, TextBlock block) noexcept {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), block);
}

// Where the first zero or `stop` is; kTextBlock without one.
inline std::size_t FindEnd(TextBlock block, char stop) noexcept {
    const __m128i zeros = _mm_cmpeq_epi8(block, _mm_setzero_si128());
    const __m128i stops = _mm_cmpeq_epi8(block, _mm_set1_epi8(stop));
    const auto found = static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(zeros, stops)));
    return static_cast<std::size_t>(std::countr_zero(found | 1u << kTextBlock));
}

// The first `count` bytes, zeros behind them.
inline TextBlock FirstBytes(TextBlock block, std::size_t count) noexcept {
    return _mm_and_si128(block, LoadBlock(kKeptBytes.data() + kTextBlock - count));
}

#elif defined(_M_ARM64) || defined(__aarch64__)

using TextBlock = uint8x16_t;

ZELTO_READS_WHOLE_BLOCKS inline TextBlock LoadBlock(const void* from) noexcept {
    return vld1q_u8(static_cast<const std::uint8_t*>(from));
}

inline void StoreBlock(char* to, TextBlock block) noexcept {
    vst1q_u8(reinterpret_cast<std::uint8_t*>(to), block);
}

// Where the first zero or `stop` is; kTextBlock without one.
inline std::size_t FindEnd(TextBlock block, char stop) noexcept {
    const uint8x16_t stops = vceqq_u8(block, vdupq_n_u8(static_cast<std::uint8_t>(stop)));
    const uint8x16_t found = vorrq_u8(vceqzq_u8(block), stops);
    // Four bits for each byte: there is no instruction that gathers one.
    const uint8x8_t gathered = vshrn_n_u16(vreinterpretq_u16_u8(found), 4);
    const std::uint64_t bits = vget_lane_u64(vreinterpret_u64_u8(gathered), 0);
    return static_cast<std::size_t>(std::countr_zero(bits)) / 4;
}

// The first `count` bytes, zeros behind them.
inline TextBlock FirstBytes(TextBlock block, std::size_t count) noexcept {
    return vandq_u8(block, vld1q_u8(kKeptBytes.data() + kTextBlock - count));
}

#endif

// How far a copy has come in both texts.
struct TextCopy {
    const char* from;
    char* to;
};

// Copies `from` up to, and without, its first zero or `stop`, as long as there is room for a block before `full`: what
// stands at the result's `from` is one of these two, or else the rest did not fit. What is behind the copy's end, in
// the last block, becomes zero: no byte of anything else is copied.
ZELTO_READS_WHOLE_BLOCKS inline TextCopy CopyUntil(char* to, const char* full, const char* from,
                                                   char stop) noexcept {
    while (static_cast<std::size_t>(full - to) >= kTextBlock) {
        if (!CanReadBlock(from)) {
            for (std::size_t single = 0; single < kTextBlock; ++single) {
                if (*from == '\0' || *from == stop) {
                    return {from, to};
                }
                *to++ = *from++;
            }
            continue;
        }
        const TextBlock block = LoadBlock(from);
        const std::size_t end = FindEnd(block, stop);
        if (end != kTextBlock) {
            StoreBlock(to, FirstBytes(block, end));
            return {from + end, to + end};
        }
        StoreBlock(to, block);
        to += kTextBlock;
        from += kTextBlock;
    }
    return {from, to};
}

} // namespace zelto
