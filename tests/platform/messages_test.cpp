#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/Messages.h"
#include "support/TestDesktop.h"

using namespace platform;
using testing::ElementsAre;

namespace {

constexpr std::uint32_t socketEvent = 0x8000; // WM_APP

TEST(HiddenWindow, GivesItsMessagesToTheHookInOrder) {
    const WindowHandle window = createHiddenWindow(L"test");
    ASSERT_NE(window, 0u);
    std::vector<std::uint32_t> received;
    hookWindow(window, [&](WindowHandle to, std::uint32_t message, std::uint32_t wParam, std::int32_t lParam) {
        if (message != socketEvent) return callFormerProcedure(to, message, wParam, lParam);
        EXPECT_EQ(to, window);
        EXPECT_EQ(lParam, -7);
        received.push_back(wParam);
        return 0;
    });
    for (std::uint32_t i = 1; i <= 3; ++i) testDesktop::postMessage(window, socketEvent, i, -7);
    EXPECT_TRUE(received.empty()) << "nothing arrives outside of the loop";
    pumpMessages();
    EXPECT_THAT(received, ElementsAre(1, 2, 3));

    testDesktop::postMessage(window, socketEvent, 4, -7);
    unhookWindow(window);
    pumpMessages();
    testDesktop::postMessage(window, socketEvent, 5, -7);
    EXPECT_TRUE(destroyHiddenWindow(window));
    EXPECT_FALSE(destroyHiddenWindow(window));
    pumpMessages();
    EXPECT_EQ(received.size(), 3u);
}

TEST(HiddenWindow, AHandlerMayPumpAndMayTakeItsOwnWindowAway) {
    const WindowHandle window = createHiddenWindow(L"test");
    std::vector<std::uint32_t> order;
    hookWindow(window, [&](WindowHandle to, std::uint32_t message, std::uint32_t wParam, std::int32_t lParam) {
        if (message != socketEvent) return callFormerProcedure(to, message, wParam, lParam);
        order.push_back(wParam);
        if (wParam == 1) pumpMessages();
        if (wParam == 2) {
            unhookWindow(to);
            destroyHiddenWindow(to);
        }
        order.push_back(wParam + 100);
        return 0;
    });
    for (std::uint32_t i = 1; i <= 3; ++i) testDesktop::postMessage(window, socketEvent, i, 0);
    pumpMessages();
    EXPECT_THAT(order, ElementsAre(1, 2, 102, 101)) << "the third is lost with the window";
}

TEST(Loop, WaitsUntilAMessageComes) {
    const WindowHandle window = createHiddenWindow(L"test");
    int received = 0;
    hookWindow(window, [&](WindowHandle to, std::uint32_t message, std::uint32_t wParam, std::int32_t lParam) {
        if (message == socketEvent) ++received;
        return message == socketEvent ? 0 : callFormerProcedure(to, message, wParam, lParam);
    });
    testDesktop::postMessage(window, socketEvent, 0, 0);
    testDesktop::postMessage(window, socketEvent, 0, 0);
    for (int i = 0; i < 10 && received == 0; ++i) waitMessages();
    EXPECT_EQ(received, 1) << "one message at a time";
    pumpMessages();
    unhookWindow(window);
    destroyHiddenWindow(window);
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
    testDesktop::passTime(420);
    EXPECT_GE(fast, 3);
    EXPECT_LE(fast, 8);
    EXPECT_EQ(once, 1);
    stopTimer(fastId);
    stopTimer(fastId);
    const int before = fast;
    testDesktop::passTime(150);
    EXPECT_EQ(fast, before);
}

TEST(Escapes, GoToTheirHandlerAndTheLoopGoesOn) {
    std::vector<std::string> escaped;
    setEscapeHandler([&](std::exception_ptr escape) {
        try {
            std::rethrow_exception(escape);
        } catch (const std::runtime_error& error) {
            escaped.push_back(error.what());
        } catch (int number) {
            escaped.push_back(std::to_string(number));
            throw; // not even the handler can stop the loop
        }
    });
    const WindowHandle window = createHiddenWindow(L"test");
    hookWindow(window, [&](WindowHandle to, std::uint32_t message, std::uint32_t wParam, std::int32_t lParam) {
        if (message == socketEvent) throw std::runtime_error("from a window");
        return callFormerProcedure(to, message, wParam, lParam);
    });
    testDesktop::postMessage(window, socketEvent, 0, 0);
    pumpMessages();
    const std::uint32_t timer = startTimer(10, [] { throw 42; });
    for (int i = 0; i < 500 && escaped.size() < 3; ++i) testDesktop::passTime(10);
    stopTimer(timer);
    ASSERT_GE(escaped.size(), 3u) << "the timer goes on firing";
    EXPECT_EQ(escaped[0], "from a window");
    EXPECT_EQ(escaped[1], "42");
    unhookWindow(window);
    destroyHiddenWindow(window);
}

TEST(MessageBoxes, ShowTheirTextAndReturnTheButton) {
    testDesktop::answerBoxes({box::resultOk, box::resultNo, box::resultYes});
    EXPECT_EQ(messageBox(L"Unknown Login Error", box::ok, L""), box::resultOk);
    EXPECT_EQ(messageBox(L"Exit Quillory?", box::yesNo | box::question, L"Quillory"), box::resultNo);
    EXPECT_EQ(messageBox(L"Sure?", box::yesNo | box::exclamation, L"Quillory"), box::resultYes);
    EXPECT_EQ(messageBox(L"12\r\nreason", box::critical, L"XML Error"), box::resultOk);
    EXPECT_EQ(messageBox(L"Done", box::information, L"Quillory"), box::resultOk);
    const std::vector<testDesktop::ShownBox> expected = {
        {L"Unknown Login Error", L"", box::ok},
        {L"Exit Quillory?", L"Quillory", box::yesNo | box::question},
        {L"Sure?", L"Quillory", box::yesNo | box::exclamation},
        {L"12\r\nreason", L"XML Error", box::critical},
        {L"Done", L"Quillory", box::information},
    };
    EXPECT_EQ(testDesktop::shownBoxes(), expected);
}

} // namespace
