#include "trace/text_block.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <windows.h>

namespace zelto {
namespace {

// Whoever reads beyond the page ends the program with an access violation.
TEST(TextBlockPageTest, ATextThatEndsWithItsPageIsReadNoFurther) {
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    const std::size_t page = system.dwPageSize;
    auto* pages = static_cast<char*>(VirtualAlloc(nullptr, 2 * page, MEM_RESERVE, PAGE_NOACCESS));
    ASSERT_NE(pages, nullptr);
    ASSERT_NE(VirtualAlloc(pages, page, MEM_COMMIT, PAGE_READWRITE), nullptr);
    for (std::size_t length = 0; length < 3 * kTextBlock; ++length) {
        char* text = pages + page - length - 1;
        std::memset(text, 'x', length);
        text[length] = '\0';
        char to[5 * kTextBlock];
        const TextCopy copy = CopyUntil(to, to + sizeof(to), text, '%');
        EXPECT_EQ(std::string(to, copy.to), std::string(length, 'x'));
    }
    VirtualFree(pages, 0, MEM_RELEASE);
}

} // namespace
} // namespace zelto
