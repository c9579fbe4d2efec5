#include "extbrowser/ipsec_redirect.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

struct Row {
    std::string_view request;
    std::string_view tokenId;
    std::string_view userName;
};

TEST(IpsecRedirectTest, Table) {
    for (const Row& row : {
             Row{"GET /?tokenid=abc&username=j%2Edoe%5Fx HTTP/1.1", "abc", "j.doe_x"},
             {"GET /?tokenid=a%2Fb+c&username=j+doe HTTP/1.1", "a%2Fb+c",
              "j+doe"}, // the token is not decoded
             {"GET /?tokenid=abc&username=j%4 HTTP/1.1", "abc", "j%4"},
             {"GET /?tokenid=abc&username=%e6%97%a5 HTTP/1.1", "abc", "\xE6\x97\xA5"},
             {"GET /?username=bob HTTP/1.1", "", "bob"},
             {"GET /?tokenid=abc& HTTP/1.1", "abc", ""},
             {"GET /?tokenid=abc HTTP/1.1", "", ""},        // no "&" ends the token
             {"GET /?tokenid=abc&username=bob", "abc", ""}, // no blank ends the name
             {"GET /?tokenid=&username= HTTP/1.1", "", ""},
             {"GET /?username=bob&tokenid=abc& HTTP/1.1", "abc", "bob&tokenid=abc&"},
             {"GET /?tokenid=abc&x=y&username=bob HTTP/1.1", "abc", "bob"},
             {"GET /?tokenid=1&tokenid=2&username=a&username=b HTTP/1.1", "1", "a&username=b"},
             {"GET /?TokenId=abc&UserName=bob HTTP/1.1", "", ""},
             {"GET / HTTP/1.1\r\nX: tokenid=abc&username=bob \r\n", "abc", "bob"}, // wherever they stand
             {"GET /?tokenid=abc HTTP/1.1\r\nX: a&b", "abc HTTP/1.1\r\nX: a", ""},
             {"", "", ""},
         }) {
        EXPECT_EQ(ReadTokenId(row.request), row.tokenId) << row.request;
        EXPECT_EQ(ReadUserName(row.request), row.userName) << row.request;
    }
}

} // namespace
} // namespace zelto
