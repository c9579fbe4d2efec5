// Answers as another implementation makes them (make_records.py), through an export.

#include "tests/auth_module/channel_test.h"

namespace zelto::test {
namespace {

using RecordsTest = ChannelTest;

constexpr char kFailure[] = "error: Could not decrypt saml data. nRet=";

TEST_F(RecordsTest, EachSoundRecordGivesItsAnswer) {
    int count = 0;
    for (const MadeRecord& record : MadeRecords()) {
        if (record.nRet == "0") {
            Block(record.block);
            EXPECT_EQ(Token(record.plaintext.size() + 2), record.plaintext + '\0' + '\xCC') << record.name;
            ++count;
        }
    }
    EXPECT_EQ(count, 65 + 9 + 7);
    EXPECT_EQ(LogAt("error"), std::vector<std::string>{});
}

TEST_F(RecordsTest, EachDamagedRecordGivesNoAnswerAndItsNumber) {
    std::vector<std::string> expected;
    for (const MadeRecord& record : MadeRecords()) {
        if (record.nRet != "0" && record.nRet != "any") {
            Block(record.block);
            EXPECT_EQ(Token(2), std::string("\0\xCC", 2)) << record.name;
            expected.push_back(kFailure + record.nRet);
        }
    }
    EXPECT_EQ(expected.size(), 17u);
    EXPECT_EQ(LogAt("error"), expected);
}

// 65,536 characters of base64 lose their last one.
TEST_F(RecordsTest, AnAnswerThatIsOneByteTooLargeIsCutAndGivesNone) {
    for (const MadeRecord& record : MadeRecords()) {
        if (record.nRet == "any") {
            EXPECT_EQ(record.block.size(), 65'536u);
            Block(record.block);
            EXPECT_EQ(Token(2), std::string("\0\xCC", 2));
        }
    }
    const std::vector<std::string> errors = LogAt("error");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_TRUE(errors[0] == std::string(kFailure) + "-10" || errors[0] == std::string(kFailure) + "-14")
        << errors[0];
}

TEST_F(RecordsTest, ALaterRecordReplacesNothingOfAnEarlierOne) {
    Block(SoundBlock());
    EXPECT_NE(Token(200).substr(0, 8), std::string(8, '\xCC'));
    Block("");
    EXPECT_EQ(Token(2), std::string("\0\xCC", 2));
}

} // namespace
} // namespace zelto::test
