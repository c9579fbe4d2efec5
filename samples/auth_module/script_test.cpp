#include "script.h"

#include <gtest/gtest.h>

namespace authmodule {
namespace {

TEST(Script, StepsInOrder) {
    const Script script = ReadScript("delay 20\nanswer alice\nblock AAAA\ncrash\nexit 7\n");
    ASSERT_EQ(script.badLine, 0u);
    ASSERT_EQ(script.steps.size(), 5u);
    EXPECT_EQ(std::get<Delay>(script.steps[0]).milliseconds, 20u);
    EXPECT_EQ(std::get<Answer>(script.steps[1]).text, "alice");
    EXPECT_EQ(std::get<RawBlock>(script.steps[2]).bytes, "AAAA");
    EXPECT_TRUE(std::holds_alternative<Crash>(script.steps[3]));
    EXPECT_EQ(std::get<Exit>(script.steps[4]).code, 7u);
}

TEST(Script, NothingIsAScript) {
    EXPECT_TRUE(ReadScript("").steps.empty());
    EXPECT_EQ(ReadScript("").badLine, 0u);
}

TEST(Script, CommentsEmptyLinesAndCarriageReturns) {
    const Script script = ReadScript("# a remark\r\n\r\nexit 0xA7000007\r\n");
    ASSERT_EQ(script.steps.size(), 1u);
    EXPECT_EQ(std::get<Exit>(script.steps[0]).code, 0xA7000007u);
}

TEST(Script, Escapes) {
    const Script script = ReadScript(R"(answer a\nb\r\\\x00\xfF c )");
    ASSERT_EQ(script.steps.size(), 1u);
    EXPECT_EQ(std::get<Answer>(script.steps[0]).text, std::string("a\nb\r\\\0\xFF c ", 10));
}

TEST(Script, AnEmptyAnswerIsAnAnswer) {
    for (const char* text : {"answer", "answer "}) {
        const Script script = ReadScript(text);
        ASSERT_EQ(script.steps.size(), 1u);
        EXPECT_EQ(std::get<Answer>(script.steps[0]).text, "");
    }
}

TEST(Script, FirstBadLineIsNamed) {
    for (const char* line : {"dance", "crash now", "exit", "exit -1", "exit 1x", "exit 4294967296", "delay x",
                             "answer \\", "answer \\q", "answer \\x1", "answer \\xg0", " answer x"}) {
        EXPECT_EQ(ReadScript("exit 1\n\n" + std::string(line) + "\ncrash").badLine, 3u) << line;
    }
}

} // namespace
} // namespace authmodule
