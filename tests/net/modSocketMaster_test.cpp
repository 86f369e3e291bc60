#include "NetTest.h"
#include "Peer.h"
#include "platform/Network.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using ModSocketMaster = NetTest;

CSocketMaster* objectAt(std::uintptr_t place) { return reinterpret_cast<CSocketMaster*>(place); }

TEST(OwnerTable, FillsFreeRowsFirstAndKeepsTheOwnerOfAHandleItMeetsBefore) {
    OwnerTable table;
    table.add(5, objectAt(1));
    table.add(6, objectAt(2));
    table.add(7, objectAt(3));
    table.add(6, objectAt(9));
    EXPECT_EQ(table.find(6), objectAt(2)) << "a handle added twice keeps its first owner";
    EXPECT_EQ(table.count(), 3);

    table.remove(5);
    EXPECT_EQ(table.find(5), nullptr);
    EXPECT_EQ(table.count(), 3) << "rows stay";
    table.add(7, objectAt(4)); // the free row comes before the one that has it
    EXPECT_EQ(table.find(7), objectAt(4)) << "the lower row counts";
    table.remove(7);
    EXPECT_EQ(table.find(7), objectAt(3));
    table.add(8, objectAt(5));
    EXPECT_EQ(table.count(), 3);

    table.changeOwner(8, objectAt(6));
    table.changeOwner(99, objectAt(6));
    table.remove(99);
    EXPECT_EQ(table.find(8), objectAt(6));
    table.removeOwner(objectAt(6));
    EXPECT_EQ(table.find(8), nullptr);
    EXPECT_EQ(table.find(6), objectAt(2));
}

TEST_F(ModSocketMaster, TheLibraryLivesWithTheObjectsAndTheWindowWithTheirSockets) {
    const auto first = CSocketMaster::create();
    auto second = CSocketMaster::create();
    EXPECT_EQ(InstanceCount, 2);
    EXPECT_EQ(MessageWindow, 0u) << "no socket, no window";

    first->Bind(0, L"127.0.0.1");
    const platform::WindowHandle window = MessageWindow;
    EXPECT_NE(window, 0u);
    second->Bind(0, L"127.0.0.1");
    EXPECT_EQ(MessageWindow, window);
    EXPECT_EQ(SocketTable.count(), 2);
    EXPECT_TRUE(IsSocketRegistered(second->SocketHandle()));

    first->CloseSck();
    EXPECT_EQ(MessageWindow, window);
    EXPECT_EQ(SocketTable.count(), 2) << "rows are not moved up";
    second.reset();
    EXPECT_EQ(MessageWindow, 0u) << "a dying object closes its socket";
    EXPECT_EQ(SocketTable.count(), 0);
    EXPECT_TRUE(ProcessesInitiated);

    first->Bind(0, L"127.0.0.1");
    EXPECT_NE(MessageWindow, window) << "each first socket gets a new window";
    EXPECT_EQ(SocketTable.count(), 1);
}

TEST_F(ModSocketMaster, MessagesForNobodyAndOtherMessagesReachNoObject) {
    Watched watched;
    watched->Bind(0, L"127.0.0.1");
    const auto unknown = static_cast<std::uint32_t>(watched->SocketHandle() + 1000);
    constexpr std::int32_t refusal = 10061 << 16;
    testDesktop::postMessage(MessageWindow, SocketMessage, unknown, refusal | platform::events::connect);
    testDesktop::postMessage(MessageWindow, ResolveMessage, unknown, refusal);
    testDesktop::postMessage(MessageWindow, SocketMessage + 1, static_cast<std::uint32_t>(watched->SocketHandle()),
                             refusal);
    platform::pumpMessages();
    EXPECT_THAT(watched.events, IsEmpty());
    EXPECT_EQ(watched->State(), StateOpen);

    testDesktop::postMessage(MessageWindow, SocketMessage, static_cast<std::uint32_t>(watched->SocketHandle()),
                             refusal);
    platform::pumpMessages();
    EXPECT_EQ(watched->State(), StateError) << "what is for the object does reach it";
}

TEST_F(ModSocketMaster, ClosingDoesNotFailForTheWindowsSakeAndTheNextSocketHasAWorkingOne) {
    Watched watched;
    watched->Bind(0, L"127.0.0.1");
    platform::destroyHiddenWindow(MessageWindow); // so that destroying it again fails
    EXPECT_NO_THROW(watched->CloseSck());
    EXPECT_EQ(watched->State(), StateClosed);

    peers::Server server;
    watched->Connect(L"127.0.0.1", server.port());
    EXPECT_TRUE(watched.hears("Connect"));
}

TEST_F(ModSocketMaster, ALookupsRowOutlivesTheLookupAndEndsWithItsObjectOrTheWindow) {
    const auto other = CSocketMaster::create();
    other->Bind(0, L"127.0.0.1");
    {
        peers::Server server;
        Watched watched;
        watched->Connect(L"localhost", server.port());
        EXPECT_EQ(LookupTable.count(), 1);
        ASSERT_TRUE(watched.hears("Connect"));
        watched->CloseSck();
        EXPECT_EQ(LookupTable.count(), 1) << "nobody takes the row out while object and window live";
        watched->Connect(L"localhost", server.port());
        EXPECT_EQ(LookupTable.count(), 2);
    }
    settle(); // the message of the second lookup finds no row, and no object that is gone
    Watched next;
    next->Connect(L"localhost", 9);
    EXPECT_EQ(LookupTable.count(), 2) << "a free row is used again";
}

TEST(GetErrorDescription, KnowsTheCodesOfTheLibraryAndNoOthers) {
    EXPECT_EQ(GetErrorDescription(10050), L"Network is down.");
    EXPECT_EQ(GetErrorDescription(11001), L"Host not found.");
    for (const std::int32_t code : {0, -1, 7, 10009, 10034, 10059, 10064, 11005, 40006})
        EXPECT_EQ(GetErrorDescription(code), L"Unknown error.") << code;
}

} // namespace
