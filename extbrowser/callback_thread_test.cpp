#include "extbrowser/callback_thread.h"

#include "tests/support/scripted_browser.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace zelto {
namespace {

class CallbackThreadTest : public ::testing::Test {
protected:
    CallbackThreadTest() {
        task_.port = test::FreePort();
        task_.timeoutMs = 60'000;
        task_.request = request_;
        task_.exitEvent = exitEvent_.get();
    }

    const KernelHandle exitEvent_{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    const std::shared_ptr<CallbackRequest> request_ = std::make_shared<CallbackRequest>();
    CallbackTask task_;
    std::future<HttpUtilsError> result_ = task_.result.get_future();
};

TEST_F(CallbackThreadTest, TheListenersOutcomeArrives) {
    const std::uint32_t port = task_.port;
    const JoiningThread thread(StartCallbackThread(std::move(task_)));
    test::RequestOnce(static_cast<std::uint16_t>(port), "GET /?id=XYZ HTTP/1.1\r\n\r\n");
    EXPECT_EQ(WaitForCallback(result_), HttpUtilsError::Success);
    EXPECT_EQ(RequestText(*request_), "GET /?id=XYZ HTTP/1.1\r\n\r\n");
}

TEST_F(CallbackThreadTest, TheChosenPortArrives) {
    task_.port = 0;
    std::future<std::uint32_t> port = task_.portPromise.get_future();
    const JoiningThread thread(StartCallbackThread(std::move(task_)));
    EXPECT_NE(port.get(), 0u);
    SetEvent(exitEvent_.get());
    EXPECT_EQ(WaitForCallback(result_), HttpUtilsError::Cancelled);
}

TEST_F(CallbackThreadTest, AListenerWithoutAnOutcomeHasFailed) {
    const std::uint32_t port = task_.port;
    const JoiningThread thread(StartCallbackThread(std::move(task_)));
    test::ScriptedConnection(static_cast<std::uint16_t>(port)).Close();
    EXPECT_EQ(WaitForCallback(result_), HttpUtilsError::Failed);
}

// The listener raises "promise already satisfied".
TEST_F(CallbackThreadTest, AListenerThatRaisesHasFailed) {
    task_.port = 0;
    task_.portPromise.set_value(1);
    const JoiningThread thread(StartCallbackThread(std::move(task_)));
    EXPECT_EQ(WaitForCallback(result_), HttpUtilsError::Failed);
}

TEST_F(CallbackThreadTest, AnExceptionOfTheFlowJoinsTheThread) {
    task_.request = std::make_shared<CallbackRequest>();
    const std::weak_ptr<CallbackRequest> ofTheThread = task_.request;
    try {
        const JoiningThread thread(StartCallbackThread(std::move(task_)));
        SetEvent(exitEvent_.get());
        throw std::runtime_error("the flow");
    } catch (const std::runtime_error&) {
        EXPECT_TRUE(ofTheThread.expired()); // and with it all that the thread owned
    }
    EXPECT_EQ(WaitForCallback(result_), HttpUtilsError::Cancelled);
}

} // namespace
} // namespace zelto
