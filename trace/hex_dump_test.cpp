#include "trace/hex_dump.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace zelto {
namespace {

std::string LineAt(std::string_view data, std::size_t offset) {
    char memory[kHexDumpLine];
    BoundedText out(memory, sizeof(memory));
    AppendHexDumpLine(out, data.data(), data.size(), offset);
    return std::string(out.View());
}

TEST(HexDumpTest, FullLine) {
    const std::string line = LineAt("0123456789ABCDEF", 0);
    EXPECT_EQ(line, "00000000  30 31 32 33 34 35 36 37 38 39 41 42 43 44 45 46   0123456789ABCDEF\r\n");
    EXPECT_EQ(line.size(), kHexDumpLine);
}

TEST(HexDumpTest, BytesPastTheEndAreBlank) {
    EXPECT_EQ(LineAt("AB\r", 0), "00000000  41 42 0D " + std::string(13 * 3, ' ') + "  AB.\r\n");
}

TEST(HexDumpTest, LinesGoOnAtTheirOffset) {
    const std::string data(40, 'z');
    EXPECT_TRUE(LineAt(data, 16).starts_with("00000010  7A 7A"));
    EXPECT_EQ(LineAt(data, 32),
              "00000020  7A 7A 7A 7A 7A 7A 7A 7A " + std::string(8 * 3, ' ') + "  zzzzzzzz\r\n");
}

TEST(HexDumpTest, OnlyPrintableBytesAreShown) {
    EXPECT_TRUE(LineAt(std::string_view("\x1F\x20\x7E\x7F\x00\x80\xFF", 7), 0).ends_with("  . ~....\r\n"));
    EXPECT_TRUE(LineAt(std::string_view("\x1F\x20\x7E\x7F\x00\x80\xFF", 7), 0)
                    .starts_with("00000000  1F 20 7E 7F 00 80 FF "));
}

} // namespace
} // namespace zelto
