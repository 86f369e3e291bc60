#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/Messages.h"
#include "support/TestDesktop.h"

using namespace platform;
using testing::ElementsAre;

namespace {

constexpr std::uint32_t ours = 0x8000; // WM_APP

/// A hidden window whose messages of the test's own come to a function, as their first parameters.
WindowHandle windowFor(std::function<void(std::uint32_t)> handler) {
    const WindowHandle window = createHiddenWindow(L"test");
    hookWindow(window, [=](WindowHandle to, std::uint32_t message, std::uint32_t wParam, std::int32_t lParam) {
        if (message != ours) return callFormerProcedure(to, message, wParam, lParam);
        EXPECT_TRUE(to == window && lParam == -7);
        handler(wParam);
        return 0;
    });
    return window;
}

void post(WindowHandle window, std::initializer_list<std::uint32_t> messages) {
    for (const std::uint32_t each : messages) testDesktop::postMessage(window, ours, each, -7);
}

TEST(HiddenWindow, GivesItsMessagesToTheHookInOrderWhateverAHandlerDoes) {
    std::vector<std::uint32_t> order;
    WindowHandle window = 0;
    window = windowFor([&](std::uint32_t message) {
        order.push_back(message);
        if (message == 2) pumpMessages();
        if (message == 3) {
            unhookWindow(window);
            EXPECT_TRUE(destroyHiddenWindow(window));
        }
        order.push_back(message + 100);
    });
    ASSERT_NE(window, 0u);
    post(window, {1, 2, 3, 4});
    EXPECT_TRUE(order.empty()) << "nothing arrives outside of the loop";
    for (int i = 0; i < 10 && order.empty(); ++i) waitMessages();
    EXPECT_THAT(order, ElementsAre(1, 101)) << "one message at a time";
    pumpMessages();
    EXPECT_THAT(order, ElementsAre(1, 101, 2, 3, 103, 102)) << "the fourth is lost with the window";
    EXPECT_FALSE(destroyHiddenWindow(window));
}

TEST(Timers, FireAtTheirPaceUntilTheyAreStopped) {
    int fast = 0;
    int once = 0;
    std::uint32_t onceId = 0;
    const std::uint32_t fastId = startTimer(50, [&] { ++fast; });
    onceId = startTimer(60, [&] {
        ++once;
        stopTimer(onceId);
    });
    EXPECT_NE(fastId, 0u);
    EXPECT_NE(fastId, onceId);
    pumpMessages();
    EXPECT_EQ(fast, 0) << "not before its time";
    for (int i = 0; i < 600 && fast < 3; ++i) testDesktop::passTime(50);
    EXPECT_GE(fast, 3);
    EXPECT_EQ(once, 1);
    stopTimer(fastId);
    stopTimer(fastId);
    const int before = fast;
    testDesktop::passTime(150);
    EXPECT_EQ(fast, before);
}

TEST(Escapes, GoToTheirHandlerAndTheLoopGoesOn) {
    std::vector<int> escaped;
    setEscapeHandler([&](std::exception_ptr escape) {
        try {
            std::rethrow_exception(escape);
        } catch (int number) {
            escaped.push_back(number);
            throw; // not even the handler can stop the loop
        }
    });
    const WindowHandle window = windowFor([](std::uint32_t message) { throw static_cast<int>(message); });
    post(window, {1, 2});
    pumpMessages();
    EXPECT_THAT(escaped, ElementsAre(1, 2));
    const std::uint32_t timer = startTimer(10, [] { throw 42; });
    for (int i = 0; i < 3000 && escaped.size() < 4; ++i) testDesktop::passTime(10);
    stopTimer(timer);
    EXPECT_GE(escaped.size(), 4u) << "the timer goes on firing";
    unhookWindow(window);
    destroyHiddenWindow(window);
}

} // namespace
