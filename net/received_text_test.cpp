#include "net/received_text.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

using namespace std::string_view_literals;

TEST(ReceivedTextTest, EndsBeforeTheFirstZeroByte) {
    EXPECT_EQ(TextBeforeZero("0123456789\0abc\0def"sv), "0123456789");
    EXPECT_EQ(TextBeforeZero("\0abc"sv), "");
}

TEST(ReceivedTextTest, WithoutAZeroByteEverythingIsTaken) {
    EXPECT_EQ(TextBeforeZero(""sv), "");
    EXPECT_EQ(TextBeforeZero("GET / HTTP/1.1\r\n\r\n"sv), "GET / HTTP/1.1\r\n\r\n");
    const std::string full(kMostReceivedBytes, 'x');
    EXPECT_EQ(TextBeforeZero(full), full);
}

TEST(ReceivedTextTest, BytesAboveAsciiStayAsTheyAre) {
    EXPECT_EQ(TextBeforeZero("\xC3\xA4\xFF\x80"sv), "\xC3\xA4\xFF\x80");
}

} // namespace
} // namespace zelto
