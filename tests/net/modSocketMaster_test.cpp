#include <array>

#include "NetTest.h"
#include "Peer.h"
#include "platform/Hash.h"

using testing::IsEmpty;

namespace {

using ModSocketMaster = NetTest;

CSocketMaster* objectAt(std::uintptr_t place) { return reinterpret_cast<CSocketMaster*>(place); }

TEST(OwnerTable, FillsFreeRowsFirstAndKeepsTheOwnerOfAHandleItMeetsBefore) {
    OwnerTable table;
    for (const std::int32_t handle : {5, 6, 7}) table.add(handle, objectAt(1));
    table.add(6, objectAt(9)); // its first owner stays
    table.remove(5);
    table.remove(99);
    table.add(7, objectAt(4)); // the free row comes before the one that has it, and the lower row counts
    table.changeOwner(99, objectAt(6));
    EXPECT_EQ((std::array{table.find(5), table.find(6), table.find(7)}),
              (std::array{objectAt(0), objectAt(1), objectAt(4)}));
    EXPECT_EQ(table.count(), 3) << "rows stay";
    table.changeOwner(7, objectAt(6));
    EXPECT_EQ(table.find(7), objectAt(6));
    table.removeOwner(objectAt(6));
    EXPECT_EQ(table.find(7), objectAt(1)) << "of the other row";
}

TEST_F(ModSocketMaster, TheLibraryLivesWithTheObjectsAndTheWindowWithTheirSockets) {
    const auto first = CSocketMaster::create();
    Watched second;
    EXPECT_EQ(InstanceCount, 2);
    EXPECT_EQ(MessageWindow, 0u) << "no socket, no window";

    first->Bind(0, L"127.0.0.1");
    const platform::WindowHandle window = MessageWindow;
    EXPECT_NE(window, 0u);
    second->Bind(0, L"127.0.0.1");
    first->CloseSck();
    EXPECT_EQ(MessageWindow, window);
    EXPECT_EQ(SocketTable.count(), 2) << "rows are not moved up";

    // Messages for nobody and other messages reach no object.
    const auto handle = static_cast<std::uint32_t>(second->SocketHandle());
    constexpr std::int32_t refusal = 10061 << 16;
    testDesktop::postMessage(window, SocketMessage, handle + 1000, refusal);
    testDesktop::postMessage(window, ResolveMessage, handle, refusal);
    testDesktop::postMessage(window, SocketMessage + 1, handle, refusal);
    platform::pumpMessages();
    EXPECT_THAT(second.events, IsEmpty());
    testDesktop::postMessage(window, SocketMessage, handle, refusal);
    platform::pumpMessages();
    EXPECT_EQ(second->State(), StateError) << "what is for the object does reach it";

    second.socket.reset();
    EXPECT_EQ(MessageWindow, 0u) << "a dying object closes its socket";
    EXPECT_EQ(SocketTable.count(), 0);
    EXPECT_TRUE(ProcessesInitiated);
    first->Bind(0, L"127.0.0.1");
    EXPECT_NE(MessageWindow, window) << "each first socket gets a new window";
    EXPECT_EQ(SocketTable.count(), 1);

    platform::destroyHiddenWindow(MessageWindow); // so that destroying it again fails
    EXPECT_NO_THROW(first->CloseSck()) << "closing does not fail for the window's sake";
    peers::Server server;
    first->Connect(L"127.0.0.1", server.port());
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return first->State() == StateConnected; })) << "a new one works";
}

/// People read these words, and every code has its own: a slip in any of them shows here.
TEST(GetErrorDescription, KnowsTheCodesOfTheLibraryAndNoOthers) {
    std::string all;
    for (std::int32_t code = -1; code < 12'000; ++code) {
        const std::wstring text = GetErrorDescription(code);
        if (text != L"Unknown error.") all += std::to_string(code) + ' ' + std::string(text.begin(), text.end()) + '\n';
    }
    EXPECT_EQ(platform::md5(all), "66207a732cd041efc661de753e6d3a65") << all;
}

} // namespace
