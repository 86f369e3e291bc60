#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "net/CSocketMaster.h"
#include "net/modSocketMaster.h"
#include "platform/Network.h"
#include "platform/RunTimeError.h"
#include "support/TestDesktop.h"

#ifndef _WIN32
#include "platform/headless/Sockets.h"
#endif

/// Every test of the network begins and ends with nothing open, and sees what escapes from a message handler.
class NetTest : public testing::Test {
public:
    std::vector<RunTimeError> escaped;

protected:
    NetTest() {
#ifndef _WIN32
        headless::resetNetwork();
        headless::useResolver(false);
#endif
        platform::setEscapeHandler([this](std::exception_ptr error) {
            try {
                std::rethrow_exception(error);
            } catch (const RunTimeError& caught) {
                escaped.push_back(caught);
            }
        });
    }

    ~NetTest() override {
        EXPECT_EQ(InstanceCount, 0) << "an object is still alive";
        EXPECT_EQ(MessageWindow, 0u) << "a socket is still registered";
        EXPECT_EQ(SocketTable.count(), 0);
        EXPECT_EQ(LookupTable.count(), 0);
        EXPECT_FALSE(AcceptRegistry);
#ifndef _WIN32
        EXPECT_EQ(headless::openSockets(), 0u);
#endif
        platform::setEscapeHandler(nullptr);
    }
};

/// Lets happen what may still happen, for a test that expects nothing.
inline void settle() {
    for (int i = 0; i < 20; ++i) {
        platform::pumpMessages();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// What this network says of a name that nobody has: "11001 Host not found.", or that it has nobody to ask.
inline std::string unknownHost() {
    const auto starts = CSocketMaster::create();
    if (platform::gethostbyname("nobody.invalid")) return "an address";
    const std::int32_t code = platform::lastNetworkError();
    const std::wstring text = GetErrorDescription(code);
    return std::to_string(code) + " " + std::string(text.begin(), text.end());
}

/// A socket object that writes down its events: "Connect", "DataArrival 5", "Error 10061 Connection refused.
/// CSocketMaster.PostSocket".
struct Watched {
    std::shared_ptr<CSocketMaster> socket = CSocketMaster::create();
    std::vector<std::string> events;
    std::int32_t request = -1; // the last ConnectionRequest

    Watched() {
        socket->on.CloseSck = [this] { events.push_back("CloseSck"); };
        socket->on.Connect = [this] { events.push_back("Connect"); };
        socket->on.ConnectionRequest = [this](std::int32_t id) {
            request = id;
            events.push_back("ConnectionRequest");
        };
        socket->on.DataArrival = [this](std::int32_t total) {
            events.push_back("DataArrival " + std::to_string(total));
        };
        socket->on.Error = [this](std::int16_t Number, std::wstring& Description, std::int32_t Scode,
                                  const std::wstring& Source, const std::wstring& HelpFile, std::int32_t HelpContext,
                                  bool& CancelDisplay) {
            EXPECT_EQ(Scode, 0);
            EXPECT_EQ(HelpFile, L"");
            EXPECT_EQ(HelpContext, 0);
            EXPECT_TRUE(CancelDisplay);
            events.push_back("Error " + std::to_string(Number) + " " +
                             std::string(Description.begin(), Description.end()) + " " +
                             std::string(Source.begin(), Source.end()));
        };
        socket->on.SendComplete = [this] { events.push_back("SendComplete"); };
        socket->on.SendProgress = [this](std::int32_t sent, std::int32_t remaining) {
            events.push_back("SendProgress " + std::to_string(sent) + " " + std::to_string(remaining));
        };
    }
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;
    ~Watched() {
        if (socket) socket->on = {};
    }

    CSocketMaster* operator->() const { return socket.get(); }

    bool reaches(std::int32_t state) const {
        return testDesktop::pumpUntil([this, state] { return socket->State() == state; });
    }
    bool hears(const std::string& event) const {
        return testDesktop::pumpUntil([this, &event] { return testing::Value(events, testing::Contains(event)); });
    }
};

inline RunTimeError failureOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const RunTimeError& error) {
        return error;
    }
    return RunTimeError(0, L"", L"no error");
}

/// Expects that an action raises an error with this number, source and text.
inline void expectRaise(const std::function<void()>& action, std::int32_t number, const std::wstring& source,
                        const std::wstring& text) {
    const RunTimeError error = failureOf(action);
    EXPECT_EQ(error.Number, number);
    EXPECT_EQ(error.Source, source);
    EXPECT_EQ(error.Description, text);
}

namespace texts {
inline const std::wstring invalidState = L"Invalid operation at current state";
inline const std::wstring outOfRange =
    L"The argument passed to a function was not in the correct format or in the specified range.";
inline const std::wstring wrongState = L"Wrong protocol or connection state for the requested transaction or request";
inline const std::wstring unsupported = L"Unsupported variant type.";
} // namespace texts
