#include "net/callback_request.h"

#include <gtest/gtest.h>
#include <new>
#include <string_view>
#include <thread>

namespace zelto {
namespace {

TEST(CallbackRequestTest, IsEmptyUntilATextIsStored) {
    CallbackRequest request;
    EXPECT_EQ(RequestText(request), "");
    StoreRequestText(request, "GET /?id=1 HTTP/1.1\r\n");
    EXPECT_EQ(RequestText(request), "GET /?id=1 HTTP/1.1\r\n");
    StoreRequestText(request, {});
    EXPECT_EQ(RequestText(request), "");
}

TEST(CallbackRequestTest, ReadersThatStoreAtOnceLeaveOneWholeText) {
    CallbackRequest request;
    const auto storeOften = [&request](char letter) {
        for (int round = 0; round < 500; ++round) {
            StoreRequestText(request, std::string(200, letter));
        }
    };
    std::thread first(storeOften, 'a');
    std::thread second(storeOften, 'b');
    for (int round = 0; round < 500; ++round) {
        const std::string text = RequestText(request);
        ASSERT_TRUE(text.empty() || text == std::string(200, text.front()));
    }
    first.join();
    second.join();
    EXPECT_EQ(RequestText(request).size(), 200u);
}

// Short texts lie in the object itself, long ones on the heap.
TEST(CallbackRequestTest, LeavesNoCopyOfAShortTextBehind) {
    alignas(CallbackRequest) unsigned char memory[sizeof(CallbackRequest)];
    auto* request = new (memory) CallbackRequest;
    StoreRequestText(*request, "?id=12345");
    StoreRequestText(*request, "?id");
    const std::string_view left(reinterpret_cast<const char*>(memory), sizeof(memory));
    EXPECT_EQ(left.find("345"), std::string_view::npos); // of the text that is replaced
    request->~CallbackRequest();
    EXPECT_EQ(left.find("?id"), std::string_view::npos);
    EXPECT_EQ(left.find("345"), std::string_view::npos);
}

} // namespace
} // namespace zelto
