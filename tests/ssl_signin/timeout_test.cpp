#include "tests/ssl_signin/sign_in_test.h"

#include <algorithm>
#include <chrono>

namespace zelto::test {
namespace {

class SslSignInTimeoutTest : public SignInTest {
protected:
    // With the exit event signalled beforehand, so that nobody waits.
    void ExpectTimeout(const std::string& gatewaySeconds, std::uint32_t maximum, const std::string& seconds,
                       const std::string& milliseconds) {
        SetGateway(R"({"remoteauthtimeout":)" + gatewaySeconds + "}");
        maximumTimeout_ = maximum;
        SetEvent(exitEvent_);
        EXPECT_EQ(SignIn(), 0xA7000007u);
        ExpectLogged(seconds, milliseconds);
    }

    void ExpectLogged(const std::string& seconds, const std::string& milliseconds) {
        const std::vector<std::string> log = Log();
        EXPECT_EQ(std::count(log.begin(), log.end(), "info: Timeout for external browser auth: " + seconds),
                  1);
        const std::string listener = "info: called. dwPort=" + std::to_string(ssoPort_) +
                                     ", dwTimeout=" + milliseconds + ", hEvtExit=";
        EXPECT_EQ(std::count_if(log.begin(), log.end(),
                                [&](const std::string& line) { return line.starts_with(listener); }),
                  1)
            << listener;
    }
};

TEST_F(SslSignInTimeoutTest, TheCallersMaximumCountsWhenItIsSmaller) {
    ExpectTimeout("300", 120, "120", "120000");
}

TEST_F(SslSignInTimeoutTest, TheGatewaysValueCountsWhenItIsSmaller) {
    ExpectTimeout("60", 120, "60", "60000");
}

TEST_F(SslSignInTimeoutTest, AMaximumOfZeroCounts) {
    ExpectTimeout("60", 0, "0", "0");
}

TEST_F(SslSignInTimeoutTest, AValueThatIsNoNumberIsZero) {
    ExpectTimeout(R"("none")", 120, "0", "0");
}

TEST_F(SslSignInTimeoutTest, TheValuesAreComparedAsUnsignedNumbers) {
    ExpectTimeout("60", 0xFFFFFFFF, "60", "60000");
}

TEST_F(SslSignInTimeoutTest, TheMillisecondsWrapAroundAt32Bits) {
    ExpectTimeout("5000000", 0xFFFFFFFF, "5000000", "705032704");
}

TEST_F(SslSignInTimeoutTest, WithoutAValueTheListenerGetsNoTime) {
    SetGateway(R"({"remoteauthtimeout":null})");
    EXPECT_EQ(SignIn(), 0xA7000003u);
    EXPECT_EQ(Id(), "old");
    ExpectLogged("0", "0");
}

TEST_F(SslSignInTimeoutTest, TheTimePasses) {
    SetGateway(R"({"remoteauthtimeout":1})");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(SignIn(), 0xA7000003u);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(950));
    EXPECT_EQ(browserCalls_.size(), 1u);
    EXPECT_EQ(Id(), "old");
    EXPECT_EQ(Errors(),
              (std::vector<std::string>{
                  "error: RecvReqDataFromExtBrow() After waiting for 1 seconds, there is still no response "
                  "from external browser.",
              }));
}

} // namespace
} // namespace zelto::test
