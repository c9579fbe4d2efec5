#include "tests/auth_module/auth_module_test.h"

namespace zelto::test {
namespace {

using SamlTest = AuthModuleTest;
using Lines = std::vector<std::string>;

TEST_F(SamlTest, TheThreeLinesOfAnAnswer) {
    Script({Answer("RESP\nServerIp:10.0.0.1\nOther:x")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_STREQ(response_.data(), "RESP");
    EXPECT_STREQ(serverIp_.data(), "10.0.0.1");
    const Lines log = Log();
    const Lines end(log.end() - 6, log.end());
    EXPECT_EQ(end, (Lines{"info: RunZeltoAuthInSession=0x00000000",
                          "debug: [SamlGetResponseUsingExternalAuthProvider] Response buffer set",
                          "debug: Processing line 1: ServerIp:10.0.0.1",
                          "debug: [SamlGetResponseUsingExternalAuthProvider] Server IP set to 10.0.0.1",
                          "debug: Processing line 2: Other:x",
                          "info: SamlGetResponseUsingExternalAuthProvider exit with HRESULT=0x0x00000000"}));
}

} // namespace
} // namespace zelto::test
