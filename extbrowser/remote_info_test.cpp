#include "extbrowser/remote_info.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

constexpr char kAnswer[] = "<?xml version='1.0' encoding='utf-8'?>\n"
                           "<info><signin sso_port='8020' remoteauthtimeout='300' /></info>\n";

TEST(RemoteInfoTest, ReadsPortAndTimeout) {
    EXPECT_EQ(ReadSsoPort(kAnswer), 8020u);
    EXPECT_EQ(ReadRemoteAuthTimeout(kAnswer), 300u);
}

TEST(RemoteInfoTest, MissingValuesAreZero) {
    EXPECT_EQ(ReadSsoPort("<info/>"), 0u);
    EXPECT_EQ(ReadRemoteAuthTimeout("<info/>"), 0u);
    EXPECT_EQ(ReadSsoPort(""), 0u);
    EXPECT_EQ(ReadRemoteAuthTimeout(""), 0u);
}

TEST(RemoteInfoTest, EmptyValuesAreZero) {
    EXPECT_EQ(ReadSsoPort("sso_port=''"), 0u);
    EXPECT_EQ(ReadRemoteAuthTimeout("remoteauthtimeout=''"), 0u);
}

TEST(RemoteInfoTest, ValuesThatAreNoNumberAreZero) {
    EXPECT_EQ(ReadSsoPort("sso_port='none'"), 0u);
    EXPECT_EQ(ReadRemoteAuthTimeout("remoteauthtimeout='none'"), 0u);
}

TEST(RemoteInfoTest, AValueThatIsCutOffIsZero) {
    EXPECT_EQ(ReadSsoPort("sso_port='8020"), 0u);
    EXPECT_EQ(ReadRemoteAuthTimeout("remoteauthtimeout='300"), 0u);
}

TEST(RemoteInfoTest, DoubleQuotesAreNotRead) {
    EXPECT_EQ(ReadSsoPort("sso_port=\"8020\""), 0u);
}

TEST(RemoteInfoTest, ANumberBeforeOtherTextCounts) {
    EXPECT_EQ(ReadSsoPort("sso_port=' 8020 tcp'"), 8020u);
}

TEST(RemoteInfoTest, TooLargeGivesTheMaximum) {
    EXPECT_EQ(ReadSsoPort("sso_port='99999999999'"), 4294967295u);
    EXPECT_EQ(ReadRemoteAuthTimeout("remoteauthtimeout='99999999999'"), 4294967295u);
}

TEST(RemoteInfoTest, TheFirstOfTwoCounts) {
    EXPECT_EQ(ReadSsoPort("sso_port='1' sso_port='2'"), 1u);
}

} // namespace
} // namespace zelto
