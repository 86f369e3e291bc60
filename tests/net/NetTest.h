#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "net/CSocketMaster.h"
#include "net/modSocketMaster.h"
#include "platform/Network.h"
#include "platform/RunTimeError.h"
#include "support/TestDesktop.h"

#ifndef _WIN32
#include "platform/headless/Sockets.h"
#endif

/// A failure in one line: "10061 Connection refused. CSocketMaster.PostSocket".
inline std::string told(const RunTimeError& error) {
    return error.what() + (' ' + std::string(error.Source.begin(), error.Source.end()));
}

/// The failure that an action raises; "" if it raises none.
inline std::string raisedBy(const std::function<void()>& action) {
    try {
        action();
    } catch (const RunTimeError& error) {
        return told(error);
    }
    return {};
}

/// What the sockets themselves refuse, but for the name of the operation.
namespace refusals {
inline const std::string state = "40020 Invalid operation at current state CSocketMaster.";
inline const std::string transfer =
    "40006 Wrong protocol or connection state for the requested transaction or request CSocketMaster.";
inline const std::string range =
    "40014 The argument passed to a function was not in the correct format or in the specified range. CSocketMaster.";
inline const std::string type = "40018 Unsupported variant type. CSocketMaster.";
} // namespace refusals

/// Every test of the network begins and ends with nothing open, and sees what escapes from a message handler.
class NetTest : public testing::Test {
protected:
    std::vector<std::string> escaped;

    NetTest() { begin(); }
    ~NetTest() override { expectNothingLeft(); }

    void begin() {
#ifndef _WIN32
        headless::resetNetwork();
        headless::useResolver(false);
#endif
        escaped.clear();
        platform::setEscapeHandler(
            [this](std::exception_ptr error) { escaped.push_back(raisedBy([&] { std::rethrow_exception(error); })); });
    }

    void expectNothingLeft() const {
        EXPECT_EQ(InstanceCount, 0) << "an object is still alive";
        EXPECT_EQ(MessageWindow, 0u) << "a socket is still registered";
        EXPECT_EQ(SocketTable.count() + LookupTable.count(), 0);
        EXPECT_FALSE(AcceptRegistry);
#ifndef _WIN32
        EXPECT_EQ(headless::openSockets(), 0u);
#endif
    }
};

/// A socket object that writes down its events: "Connect", "DataArrival 5", "Error 10061 Connection refused.
/// CSocketMaster.PostSocket".
struct Watched {
    std::shared_ptr<CSocketMaster> socket = CSocketMaster::create();
    std::vector<std::string> events;

    Watched() {
        socket->on.CloseSck = [this] { events.push_back("CloseSck"); };
        socket->on.Connect = [this] { events.push_back("Connect"); };
        socket->on.DataArrival = [this](std::int32_t total) {
            events.push_back("DataArrival " + std::to_string(total));
        };
        socket->on.Error = [this](std::int16_t Number, std::wstring& Description, std::int32_t Scode,
                                  const std::wstring& Source, const std::wstring& HelpFile, std::int32_t HelpContext,
                                  bool& CancelDisplay) {
            EXPECT_TRUE(Scode == 0 && HelpFile.empty() && HelpContext == 0 && CancelDisplay);
            events.push_back("Error " + told(RunTimeError(Number, Source, Description)));
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
