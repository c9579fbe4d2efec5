// The record's text as the trace makes it, held against the same text made slowly: the message, the time block, and the
// time block that is kept for a second.

#include "fuzz/slow_formatter.h"
#include "trace/formatter.h"
#include "trace/time_block.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fuzzer/FuzzedDataProvider.h>
#include <iterator>
#include <string>
#include <vector>

namespace zelto::fuzz {
namespace {

constexpr std::size_t kSlots = 16; // arguments that a format can take here

void Same(const std::string& fast, const std::string& slow, const char* what) {
    if (fast != slow) {
        std::fprintf(stderr, "%s differs\nfast: <%s>\nslow: <%s>\n", what, fast.c_str(), slow.c_str());
        std::abort();
    }
}

std::string FastMessage(std::size_t area, const char* format, ...) {
    std::vector<char> memory(area); // the sanitizer sees a byte too many
    BoundedText out(memory.data(), area);
    std::va_list arguments;
    va_start(arguments, format);
    AppendMessage(out, format, arguments);
    va_end(arguments);
    return std::string(out.View());
}

// Formats are mostly made of what means something; the rest is left as it comes.
std::string MakeFormat(FuzzedDataProvider& data) {
    constexpr const char* kPieces[] = {"%",  "%s",  "%d",   "%u",   "%x",   "%X",   "%p", "%S",   "%ws",
                                       "%c", "%%",  "%0",   "% ",   "%-",   "%*",   "ll", "l",    "d",
                                       "s",  "u",   "5",    "08",   "%i",   "()",   " ",  "text", "=",
                                       "w",  "%5s", "%08x", "%lld", "%llu", "16390"};
    std::string format;
    std::size_t arguments = 0;
    for (int pieces = data.ConsumeIntegralInRange<int>(0, 24); pieces > 0; --pieces) {
        const std::string piece = data.ConsumeBool() ? std::string(data.PickValueInArray(kPieces))
                                                     : data.ConsumeRandomLengthString(12);
        for (const char character : piece) {
            arguments += character == '%' ? 1u : 0u;
            arguments += character == '*' ? 1u : 0u;
        }
        if (arguments > kSlots) {
            break;
        }
        format += piece;
    }
    return format.substr(0, format.find('\0'));
}

// Arguments out of the input, and the memory that the strings among them lie in.
class Supply {
public:
    explicit Supply(FuzzedDataProvider& data) : data_(data) {}

    std::uint64_t Next(Wanted wanted) {
        const std::uint64_t slot = wanted == Wanted::Integer ? Integer() : Text(wanted == Wanted::Wide);
        slots[used_++] = slot;
        return slot;
    }

    std::array<std::uint64_t, kSlots> slots{};

private:
    std::uint64_t Integer() {
        constexpr std::uint64_t kBorders[] = {0,
                                              9,
                                              10,
                                              99,
                                              100,
                                              999,
                                              1000,
                                              9999,
                                              10'000,
                                              99'999,
                                              0x7FFFFFFF,
                                              0x80000000u,
                                              0xFFFFFFFF,
                                              ~0ull,
                                              1ull << 63,
                                              10'000'000,
                                              99'999'999,
                                              100'000'000,
                                              9'999'999'999'999'999ull};
        return data_.ConsumeBool() ? data_.PickValueInArray(kBorders)
                                   : data_.ConsumeIntegral<std::uint64_t>();
    }

    std::uint64_t Text(bool wide) {
        if (data_.ConsumeProbability<float>() < 0.1f) {
            return 0;
        }
        std::string text = data_.ConsumeRandomLengthString(100);
        if (data_.ConsumeProbability<float>() < 0.02f) { // up to the end of the message's area, and beyond
            text.append(data_.ConsumeIntegralInRange<std::size_t>(4000, 17'000), 'x');
        }
        if (!wide) {
            narrow_.push_back(text);
            return reinterpret_cast<std::uint64_t>(narrow_.back().c_str());
        }
        std::wstring units;
        for (const char character : text) {
            units.push_back(static_cast<wchar_t>(
                WideUnit(static_cast<unsigned char>(character), static_cast<std::uint32_t>(units.size()))));
        }
        wide_.push_back(units);
        return reinterpret_cast<std::uint64_t>(wide_.back().c_str());
    }

    // Half of the bytes stand for themselves, a quarter for surrogates, a quarter for the borders of what counts.
    static std::uint32_t WideUnit(std::uint32_t byte, std::uint32_t position) {
        constexpr std::uint32_t kBorders[] = {0x80,   0x7FF,  0x800,   0xD7FF,   0xDBFF,   0xDC00,    0xDFFF,
                                              0xE000, 0xFFFF, 0x10000, 0x10FFFF, 0x110000, 0xFFFFFFFF};
        if (byte < 0x80) {
            return byte;
        }
        return byte < 0xC0 ? 0xD800 + byte % 64 * 32 + position % 32 : kBorders[byte % std::size(kBorders)];
    }

    FuzzedDataProvider& data_;
    std::size_t used_ = 0;
    std::deque<std::string> narrow_;
    std::deque<std::wstring> wide_;
};

void CompareMessages(FuzzedDataProvider& data) {
    const std::size_t area =
        data.ConsumeBool() ? kMessageArea - 1 : data.ConsumeIntegralInRange<std::size_t>(0, 80);
    const std::string format = MakeFormat(data);
    Supply supply(data);
    const std::string slow = SlowMessage(format, [&](Wanted wanted) { return supply.Next(wanted); }, area);
    // Whatever its type, an argument takes a 64-bit slot where this is built.
    const auto& s = supply.slots;
    Same(FastMessage(area, format.c_str(), s[0], s[1], s[2], s[3], s[4], s[5], s[6], s[7], s[8], s[9], s[10],
                     s[11], s[12], s[13], s[14], s[15]),
         slow, "message");
}

std::string SlowTimeBlock(const RecordTime& time) {
    const long long offset = std::llabs(static_cast<long long>(time.secondsWestOfUtc));
    char text[200];
    std::snprintf(text, sizeof(text), "[%04u-%02u-%02u %02u:%02u:%02u.%07u UTC%c%02lld:%02lld] ",
                  static_cast<unsigned>(time.year), static_cast<unsigned>(time.month),
                  static_cast<unsigned>(time.day), static_cast<unsigned>(time.hour),
                  static_cast<unsigned>(time.minute), static_cast<unsigned>(time.second), time.fraction,
                  time.secondsWestOfUtc > 0 ? '-' : '+', offset / 3600, offset % 3600 / 60);
    return text;
}

RecordTime MakeTime(FuzzedDataProvider& data) {
    if (data.ConsumeProbability<float>() < 0.1f) {
        const auto any = [&] { return data.ConsumeIntegral<std::int32_t>(); };
        return {any(), any(), any(), any(), any(), any(), data.ConsumeIntegral<std::uint32_t>(), any()};
    }
    const auto within = [&](int first, int last) {
        return data.ConsumeIntegralInRange<std::int32_t>(first, last);
    };
    return {within(1601, 9999),
            within(1, 12),
            within(1, 31),
            within(0, 23),
            within(0, 59),
            within(0, 60),
            data.ConsumeIntegralInRange<std::uint32_t>(0, 9'999'999),
            within(-14, 14) * 3600 + within(0, 3) * 900};
}

// The way a record takes: what is kept for the key, with its own fraction; otherwise made anew, and kept.
std::string FastTimeBlock(LastTimeBlock& last, const TimeBlockKey& key, const RecordTime& time) {
    char memory[kMaximumTimeBlock];
    if (last.Put(memory, key, time.fraction)) {
        return {memory, kPlainTimeBlock};
    }
    BoundedText out(memory, sizeof(memory));
    AppendTimeBlock(out, time);
    if (out.Length() == kPlainTimeBlock) {
        last.Keep(key, out.View());
    }
    return std::string(out.View());
}

// Changes one part of the key, to what it has not been before.
void ChangeKey(TimeBlockKey& key, FuzzedDataProvider& data) {
    const auto bit = [&](int bits) {
        return std::int64_t{1} << data.ConsumeIntegralInRange<int>(0, bits - 1);
    };
    switch (data.ConsumeIntegralInRange<int>(0, 3)) {
    case 0:
        key.seconds += bit(60);
        break;
    case 1:
        key.zoneSeconds += static_cast<std::int32_t>(bit(24));
        break;
    case 2:
        key.zoneDaylight += static_cast<std::int32_t>(bit(24));
        break;
    default:
        key.zoneReading += static_cast<std::uint64_t>(bit(60));
        break;
    }
}

void CompareTimeBlocks(FuzzedDataProvider& data) {
    LastTimeBlock last;
    RecordTime time = MakeTime(data);
    TimeBlockKey key = {};
    for (int records = data.ConsumeIntegralInRange<int>(1, 6); records > 0; --records) {
        Same(FastTimeBlock(last, key, time), SlowTimeBlock(time), "time block");
        if (data.ConsumeBool()) {
            ChangeKey(key, data);
            time = MakeTime(data);
        } else {
            time.fraction = data.ConsumeIntegralInRange<std::uint32_t>(0, 9'999'999);
        }
    }
}

} // namespace
} // namespace zelto::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    FuzzedDataProvider data(bytes, size);
    if (data.ConsumeProbability<float>() < 0.75f) {
        zelto::fuzz::CompareMessages(data);
    } else {
        zelto::fuzz::CompareTimeBlocks(data);
    }
    return 0;
}
