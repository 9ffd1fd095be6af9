#include "qvlib/EventsViaHandles.h"
#include "qvlib/framework/exceptions.h"
#include "qvlib/host/messages.h"

#include "host/message_thread.h"
#include "support/threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

using qvlib::EventsViaHandles;
using qvlib_test::OnThreads;

namespace
{

constexpr UINT kMessage = WM_APP + 1;
std::string s_received; // the ids of the windows that got the message, in order

/// A window that notes its id when the message reaches it.
HWND MakeWindow(char id)
{
    static std::deque<test::Procedure> s_procedures;
    return test::NewWindow(&s_procedures.emplace_back(
        [id](HWND, UINT message, WPARAM wParam, LPARAM lParam) -> LRESULT
        {
            EXPECT_EQ(message, kMessage);
            EXPECT_EQ(wParam, WPARAM{7});
            EXPECT_EQ(lParam, LPARAM{-8});
            s_received += id;
            return 0;
        }));
}

std::string Delivered()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE)
        DispatchMessageW(&message);
    return std::exchange(s_received, {});
}

struct Slots : EventsViaHandles
{
    using EventsViaHandles::EventsViaHandles;
    using EventsViaHandles::StoreValue;
};

} // namespace

TEST(EventsViaHandles, KeepsEachHandleOnceInTheCallersMemory)
{
    HWND slots[2] = {};
    EventsViaHandles table(slots, 2);
    EXPECT_EQ(table.FirstHandlePointer(), slots);
    EXPECT_EQ(table.MaxHandleCount(), 2UL);
    EXPECT_FALSE(table.RegisterHandle(nullptr));
    EXPECT_TRUE(table.HandleIsRegistered(nullptr)); // asks for a free slot

    HWND const a = MakeWindow('a'), b = MakeWindow('b'), c = MakeWindow('c');
    EXPECT_TRUE(table.RegisterHandle(a) && table.RegisterHandle(a) && table.RegisterHandle(b));
    EXPECT_EQ(slots[0], a);
    EXPECT_EQ(slots[1], b);
    EXPECT_FALSE(table.HandleIsRegistered(nullptr));
    EXPECT_TRUE(table.RegisterHandle(b)); // full, but it is there
    EXPECT_FALSE(table.FreeInvalideHandles());
    EXPECT_THROW(table.RegisterHandle(c), CInvalidArgException);
    EXPECT_FALSE(table.UnregisterHandle(c));

    // A full table with a dead window throws once more, on purpose: the freed slot is for the next call.
    DestroyWindow(a);
    EXPECT_TRUE(table.HandleIsRegistered(a));
    EXPECT_THROW(table.RegisterHandle(c), CInvalidArgException);
    EXPECT_EQ(slots[0], nullptr);
    EXPECT_TRUE(table.RegisterHandle(c));
    EXPECT_EQ(slots[0], c);

    EventsViaHandles copy = table; // the same slots
    EXPECT_TRUE(copy.UnregisterHandle(b));
    EXPECT_FALSE(table.UnregisterHandle(b));
    EXPECT_TRUE(table.FreeInvalideHandles()); // kept on purpose: a slot that was free counts
    EXPECT_EQ(slots[0], c);

    EXPECT_FALSE(Slots::StoreValue(slots, b, a));
    EXPECT_TRUE(Slots::StoreValue(slots, b, c));
    EXPECT_EQ(slots[0], b);
    EXPECT_THROW(EventsViaHandles(nullptr, 0).RegisterHandle(b), CInvalidArgException);
    DestroyWindow(b);
    DestroyWindow(c);
}

TEST(EventsViaHandles, MessagesReachClientsInTheOrderOfSlots)
{
    HWND const a = MakeWindow('a'), b = MakeWindow('b'), c = MakeWindow('c'), dead = MakeWindow('d');
    DestroyWindow(dead);
    HWND slots[6] = {nullptr, b, dead, a, nullptr, c};
    EventsViaHandles table(slots, 6);
    int const message = static_cast<int>(kMessage);

    table.PosMessageToClients(message, 7, -8);
    EXPECT_EQ(s_received, ""); // posted, not sent
    EXPECT_EQ(Delivered(), "bac");
    table.PosMessageToClientsExcluding(a, message, 7, -8);
    EXPECT_EQ(Delivered(), "bc");
    table.PosMessageToAnyExcluding(nullptr, message, 7, -8);
    EXPECT_EQ(Delivered(), "b");
    table.PosMessageToAnyExcluding(b, message, 7, -8); // the first other client is dead: that ends the walk, too
    EXPECT_EQ(Delivered(), "");
    EXPECT_EQ(slots[2], dead);
    table.UnregisterHandle(dead);
    table.PosMessageToAnyExcluding(b, message, 7, -8);
    EXPECT_EQ(Delivered(), "a");

    table.SendMessageToClients(kMessage, 7, -8);
    EXPECT_EQ(std::exchange(s_received, {}), "bac");
    table.SendMessageToAnyExcluding(b, message, 7, -8);
    EXPECT_EQ(std::exchange(s_received, {}), "a");

    EventsViaHandles one(slots + 5, 1);
    one.PosMessageToAnyExcluding(c, message, 7, -8);
    one.SendMessageToAnyExcluding(c, message, 7, -8);
    EXPECT_EQ(Delivered(), "");
    for (HWND const window : {a, b, c})
        DestroyWindow(window);
}

TEST(EventsViaHandles, NoRegistrationIsLostBetweenThreads)
{
    constexpr std::size_t kThreads = 4;
    std::vector<HWND> slots(kThreads);
    EventsViaHandles table(slots.data(), kThreads);
    std::vector<HWND> windows;
    for (std::size_t i = 0; i < kThreads; ++i)
        windows.push_back(MakeWindow('x'));
    OnThreads(kThreads,
              [&](int i)
              {
                  HWND const window = windows[static_cast<std::size_t>(i)];
                  for (int round = 0; round < 2000; ++round)
                  {
                      EXPECT_TRUE(table.RegisterHandle(window));
                      EXPECT_TRUE(table.HandleIsRegistered(window));
                      table.FreeInvalideHandles(); // frees no live window
                      EXPECT_TRUE(table.UnregisterHandle(window));
                  }
                  EXPECT_TRUE(table.RegisterHandle(window));
              });
    EXPECT_TRUE(std::is_permutation(slots.begin(), slots.end(), windows.begin(), windows.end()));
    for (HWND const window : windows)
        DestroyWindow(window);
}
