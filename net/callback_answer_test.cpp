#include "net/callback_answer.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

TEST(CallbackAnswerTest, TheHeadIs45BytesToTheLetter) {
    const unsigned char bytes[] = {'H', 'T', 'T', 'P',  '/',  '1',  '.',  '1',  ' ', '2', '0', '0',
                                   ' ', 'O', 'K', 0x0D, 0x0A, ' ',  'C',  'o',  'n', 't', 'e', 'n',
                                   't', 'T', 'y', 'p',  'e',  ':',  ' ',  't',  'e', 'x', 't', '/',
                                   'h', 't', 'm', 'l',  ' ',  0x0D, 0x0A, 0x0D, 0x0A};
    EXPECT_EQ(kCallbackAnswerHead, std::string(std::begin(bytes), std::end(bytes)));
    EXPECT_EQ(kCallbackAnswerHead.size(), 45u);
}

TEST(CallbackAnswerTest, ThePageFollowsTheHead) {
    EXPECT_EQ(CallbackAnswer("<p>\r\n"), std::string(kCallbackAnswerHead) + "<p>\r\n");
}

TEST(CallbackAnswerTest, AMissingPageLeavesTheHeadAlone) {
    EXPECT_EQ(CallbackAnswer(""), kCallbackAnswerHead);
}

TEST(CallbackAnswerTest, OnlyKindOneIsTheZtnaPage) {
    EXPECT_EQ(CallbackPageId(1), 1004u);
    EXPECT_EQ(CallbackPageId(0), 1005u);
    EXPECT_EQ(CallbackPageId(2), 1005u);
    EXPECT_EQ(CallbackPageId(0xFFFFFFFF), 1005u);
}

} // namespace
} // namespace zelto
