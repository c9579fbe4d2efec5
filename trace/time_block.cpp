#include "trace/time_block.h"

#include "trace/number_text.h"

#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>

namespace zelto {
namespace {

constexpr std::uint64_t kUnitsPerSecond = 10'000'000; // of a FILETIME
constexpr std::uint64_t kSecondsFrom1601To1970 = 11'644'473'600;
constexpr std::size_t kFractionPlace = 21; // in a plain block
constexpr std::size_t kFractionDigits = 7;

void AppendPadded(BoundedText& out, std::int32_t value, std::size_t digits, char behind) noexcept {
    out.AppendDecimal(static_cast<std::uint32_t>(value), digits);
    out.Append(behind);
}

} // namespace

void AppendTimeBlock(BoundedText& out, const RecordTime& time) noexcept {
    out.Append('[');
    AppendPadded(out, time.year, 4, '-');
    AppendPadded(out, time.month, 2, '-');
    AppendPadded(out, time.day, 2, ' ');
    AppendPadded(out, time.hour, 2, ':');
    AppendPadded(out, time.minute, 2, ':');
    AppendPadded(out, time.second, 2, '.');
    out.AppendDecimal(time.fraction, 7);
    out.Append(time.secondsWestOfUtc > 0 ? " UTC-" : " UTC+");
    const std::uint64_t offset = static_cast<std::uint64_t>(std::abs(std::int64_t{time.secondsWestOfUtc}));
    out.AppendDecimal(offset / 3600, 2);
    out.Append(':');
    out.AppendDecimal(offset % 3600 / 60, 2);
    out.Append("] ");
}

SplitTime SplitFileTime(std::uint64_t fileTime) noexcept {
    const std::uint64_t seconds = fileTime / kUnitsPerSecond;
    return {static_cast<std::int64_t>(seconds) - static_cast<std::int64_t>(kSecondsFrom1601To1970),
            static_cast<std::uint32_t>(fileTime % kUnitsPerSecond)};
}

// Nothing that was just written is read back on this way: the processor would have to wait for it.
bool LastTimeBlock::Put(char* text, const TimeBlockKey& key, std::uint32_t fraction) const noexcept {
    const std::uint32_t version = version_.load(std::memory_order_acquire);
    const auto wanted = std::bit_cast<std::array<std::uint64_t, kKeyWords>>(key);
    std::uint64_t different =
        version == 0 || version % 2 != 0; // nothing is kept yet, or is being kept right now
    for (std::size_t i = 0; i < kKeyWords; ++i) {
        different |= key_[i].load(std::memory_order_relaxed) ^ wanted[i];
    }
    std::uint64_t words[kTextWords];
    for (std::size_t i = 0; i < kTextWords; ++i) {
        words[i] = text_[i].load(std::memory_order_relaxed);
    }
    std::atomic_thread_fence(std::memory_order_acquire);
    if (different != 0 || version_.load(std::memory_order_relaxed) != version) {
        return false;
    }
    for (std::size_t i = 0; i < kTextWords; ++i) {
        std::memcpy(text + i * 8, &words[i], 8);
    }
    PutDecimal(text + kFractionPlace, fraction, kFractionDigits);
    return true;
}

void LastTimeBlock::Keep(const TimeBlockKey& key, std::string_view block) noexcept {
    std::uint32_t version = version_.load(std::memory_order_relaxed);
    if (version % 2 != 0 ||
        !version_.compare_exchange_strong(version, version + 1, std::memory_order_acquire)) {
        return; // another thread is at it
    }
    std::uint64_t words[kTextWords] = {};
    std::memcpy(words, block.data(), kPlainTimeBlock);
    std::atomic_thread_fence(std::memory_order_release);
    const auto keyWords = std::bit_cast<std::array<std::uint64_t, kKeyWords>>(key);
    for (std::size_t i = 0; i < kKeyWords; ++i) {
        key_[i].store(keyWords[i], std::memory_order_relaxed);
    }
    for (std::size_t i = 0; i < kTextWords; ++i) {
        text_[i].store(words[i], std::memory_order_relaxed);
    }
    version_.store(version + 2 == 0 ? 2 : version + 2, std::memory_order_release);
}

} // namespace zelto
