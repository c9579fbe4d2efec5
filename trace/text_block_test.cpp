#include "trace/text_block.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace zelto {
namespace {

constexpr std::size_t kPages = 3;
constexpr std::size_t kLongest = 40; // more than two blocks

// Texts anywhere in memory of which we know where its pages begin. Around them is neither zero nor blank.
class TextBlockTest : public testing::Test {
protected:
    TextBlockTest() : memory_(new char[(kPages + 1) * kMemoryPage]) {
        std::fill_n(memory_.get(), (kPages + 1) * kMemoryPage, '#');
        const auto address = reinterpret_cast<std::uintptr_t>(memory_.get());
        page_ = memory_.get() + (kMemoryPage - address % kMemoryPage);
    }

    // A text of `length` characters and its end, `before` bytes before the second page.
    const char* TextBefore(std::size_t before, std::size_t length, char end) {
        char* text = page_ + kMemoryPage - before;
        for (std::size_t i = 0; i < length; ++i) {
            text[i] = static_cast<char>('a' + i % 26);
        }
        text[length] = end;
        return text;
    }

    std::unique_ptr<char[]> memory_;
    char* page_;
};

TEST_F(TextBlockTest, ATextIsCopiedUpToItsEndWhereverItLies) {
    for (const char end : {'\0', '%'}) {
        for (std::size_t before = 0; before < 3 * kTextBlock; ++before) {
            for (std::size_t length = 0; length < kLongest; ++length) {
                const char* text = TextBefore(before, length, end);
                char to[kLongest + 2 * kTextBlock];
                const TextCopy copy = CopyUntil(to, to + sizeof(to), text, '%');
                ASSERT_EQ(copy.from, text + length) << "length " << length << ", before " << before;
                ASSERT_EQ(std::string(to, copy.to), std::string(text, length));
                std::fill_n(page_ + kMemoryPage - before, length + 1, '#');
            }
        }
    }
}

TEST_F(TextBlockTest, OnlyAZeroEndsATextThatStopsAtZeros) {
    const char* text = TextBefore(100, 30, '\0');
    const_cast<char*>(text)[11] = '%';
    char to[64];
    EXPECT_EQ(CopyUntil(to, to + sizeof(to), text, '\0').from, text + 30);
    EXPECT_EQ(CopyUntil(to, to + sizeof(to), text, '%').from, text + 11);
}

TEST_F(TextBlockTest, NothingBehindTheEndIsCopied) {
    for (const char end : {'\0', '%'}) {
        for (std::size_t length = 0; length < kLongest; ++length) {
            const char* text = TextBefore(200, length, end); // "###" behind it
            char to[kLongest + 2 * kTextBlock];
            std::fill_n(to, sizeof(to), '-');
            const TextCopy copy = CopyUntil(to, to + sizeof(to), text, '%');
            const std::size_t rest = kTextBlock - length % kTextBlock; // of the last block
            EXPECT_EQ(std::string(copy.to, rest), std::string(rest, '\0')) << length;
            EXPECT_EQ(std::count(copy.to + rest, to + sizeof(to), '-'), to + sizeof(to) - (copy.to + rest));
            std::fill_n(page_ + kMemoryPage - 200, length + 1, '#');
        }
    }
}

TEST_F(TextBlockTest, WithoutRoomForABlockTheRestIsLeft) {
    for (std::size_t before = 0; before < 3 * kTextBlock; ++before) {
        const char* text = TextBefore(before, kLongest, '\0');
        for (std::size_t room = 0; room <= 2 * kTextBlock; ++room) {
            char to[3 * kTextBlock];
            std::fill_n(to, sizeof(to), '-');
            const TextCopy copy = CopyUntil(to, to + room, text, '\0');
            const std::size_t copied = room / kTextBlock * kTextBlock;
            ASSERT_EQ(copy.to - to, static_cast<std::ptrdiff_t>(copied)) << room << ", before " << before;
            ASSERT_EQ(copy.from - text, static_cast<std::ptrdiff_t>(copied)) << room << ", before " << before;
            ASSERT_EQ(std::count(to + copied, to + sizeof(to), '-'),
                      static_cast<std::ptrdiff_t>(sizeof(to) - copied));
        }
    }
}

TEST_F(TextBlockTest, BytesAboveAsciiAreNoEnd) {
    char text[64];
    for (std::size_t i = 0; i < 63; ++i) {
        text[i] = static_cast<char>(0x80 + i * 2);
    }
    text[63] = '\0';
    char to[80];
    const TextCopy copy = CopyUntil(to, to + sizeof(to), text, '%');
    EXPECT_EQ(std::string(to, copy.to), std::string(text, 63));
}

} // namespace
} // namespace zelto
