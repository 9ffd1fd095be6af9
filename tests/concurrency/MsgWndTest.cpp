#include "qvlib/MsgWnd.h"
#include "qvlib/NamedClassWnd.h"

#include "concurrency/message_support.h"
#include "support/threads.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

using namespace qvlib_test;
using qvlib::CTLEvent;

namespace
{

constexpr unsigned int kAsk = WM_APP + 100;
constexpr unsigned int kDestroyWindow = 0x8000;

struct Seen
{
    unsigned int msg;
    WPARAM wParam;
    LPARAM lParam;
    DWORD thread;
};

/// Records what reaches the handler; kAsk is answered with wParam, or runs an action.
template <class Base>
class Probe : public Base
{
public:
    using Base::Base;

    std::vector<Seen> seen;
    std::function<void()> action;

protected:
    bool OnWndMsg(unsigned int msg, WPARAM wParam, LPARAM lParam, LRESULT * result) override
    {
        seen.push_back({msg, wParam, lParam, ::GetCurrentThreadId()});
        if (msg != kAsk)
            return Base::OnWndMsg(msg, wParam, lParam, result);
        *result = static_cast<LRESULT>(wParam);
        if (action)
            action(); // may delete this object
        return true;
    }
};

using MsgWnd = Probe<qvlib::CTLMsgWnd>;

class NamedWnd : public Probe<qvlib::CTLNamedClassWnd>
{
public:
    NamedWnd() : Probe(qvlib::CQVString(L"NamedClassOfATest")) {}
    using CTLNamedClassWnd::GetMsgWndClassName;
};

template <class Window>
class MessageWindow : public ::testing::Test
{
};
using Windows = ::testing::Types<MsgWnd, NamedWnd>;
TYPED_TEST_SUITE(MessageWindow, Windows);

} // namespace

TYPED_TEST(MessageWindow, HasOneWindowAtATimeAndANewOneEachTime)
{
    TypeParam window;
    EXPECT_FALSE(window.Created());
    EXPECT_FALSE(window.IsInThreadCtx());
    window.Destroy();

    ASSERT_TRUE(window.Create());
    HWND const first = window.GetWndHandle();
    EXPECT_TRUE(window.Create());
    EXPECT_EQ(window.GetWndHandle(), first);
    EXPECT_TRUE(::IsWindow(first));
    EXPECT_EQ(::GetWindowLongPtrW(first, GWLP_ID), reinterpret_cast<LONG_PTR>(&window));
    EXPECT_TRUE(window.seen.empty()) << "the messages of its creation do not reach the object";
    EXPECT_TRUE(window.IsInThreadCtx());
    std::thread([&] { EXPECT_FALSE(window.IsInThreadCtx()); }).join();

    window.Destroy();
    EXPECT_FALSE(window.Created());
    EXPECT_FALSE(::IsWindow(first));
    ASSERT_EQ(window.seen.size(), 1U);
    EXPECT_EQ(window.seen[0].msg, WM_DESTROY);

    ASSERT_TRUE(window.Create());
    EXPECT_NE(window.GetWndHandle(), first);
    EXPECT_EQ(::SendMessageW(window.GetWndHandle(), kAsk, 7, 0), 7);
}

TYPED_TEST(MessageWindow, DeliversOnTheThreadThatMadeIt)
{
    TypeParam window;
    MessageThread owner([&] { window.Create(); }, [&] { window.Destroy(); });
    HWND const handle = window.GetWndHandle();
    ASSERT_TRUE(::PostMessageW(handle, kAsk, ~WPARAM{0}, -5));
    EXPECT_EQ(::SendMessageW(handle, kAsk, 3, 4), 3);
    owner.Quit();
    ASSERT_GE(window.seen.size(), 2U);
    // A sent message may pass a posted one.
    Seen const & posted = window.seen[0].lParam == -5 ? window.seen[0] : window.seen[1];
    EXPECT_EQ(posted.msg, kAsk);
    EXPECT_EQ(posted.wParam, ~WPARAM{0});
    EXPECT_EQ(posted.lParam, -5);
    for (Seen const & one : window.seen)
        EXPECT_EQ(one.thread, owner.Id());
    EXPECT_FALSE(::IsWindow(handle));
}

TYPED_TEST(MessageWindow, AHandlerMayDeleteItsObject)
{
    auto * window = new TypeParam;
    ASSERT_TRUE(window->Create());
    HWND const handle = window->GetWndHandle();
    window->action = [window]
    {
        auto const keep = std::move(window->action); // the action outlives the object
        delete window;
    };
    EXPECT_EQ(::SendMessageW(handle, kAsk, 9, 0), 9);
    EXPECT_FALSE(::IsWindow(handle));
}

TYPED_TEST(MessageWindow, DestroyOnAForeignThreadEndsTheWindowOfAThreadThatTakesMessages)
{
    TypeParam window;
    MessageThread owner([&] { window.Create(); });
    HWND const handle = window.GetWndHandle();
    window.Destroy();
    EXPECT_FALSE(window.Created());
    ::SendMessageW(handle, kAsk, 1, 0);
    owner.Quit();
    EXPECT_TRUE(window.seen.empty()) << "no message reaches the object any more";
    EXPECT_FALSE(::IsWindow(handle));
}

TYPED_TEST(MessageWindow, ABusyThreadIsLeftWithAWindowThatDiesWhenItTakesMessages)
{
    constexpr bool kWaits = std::is_same_v<TypeParam, MsgWnd>;
    auto window = std::make_unique<TypeParam>();
    CTLEvent busy;
    CTLEvent goOn;
    HWND handle = nullptr;
    std::thread owner(
        [&]
        {
            window->Create();
            handle = window->GetWndHandle();
            ::PostMessageW(handle, kAsk, 1, 0);
            busy.SetEvent();
            goOn.Lock();
            EXPECT_TRUE(::IsWindow(handle));
            Pump();
            EXPECT_FALSE(::IsWindow(handle));
        });
    busy.Lock();
    auto const start = std::chrono::steady_clock::now();
    window->Destroy();
    auto const took = std::chrono::steady_clock::now() - start;
    EXPECT_FALSE(window->Created());
    if (kWaits)
        EXPECT_GE(took, std::chrono::milliseconds(3000));
    else
        EXPECT_LT(took, std::chrono::milliseconds(2500));
    EXPECT_TRUE(window->seen.empty());
    window.reset(); // the window does not need its object any more
    goOn.SetEvent();
    owner.join();
}

TYPED_TEST(MessageWindow, DiesWithItsThread)
{
    TypeParam window;
    std::thread([&] { ASSERT_TRUE(window.Create()); }).join();
    EXPECT_FALSE(::IsWindow(window.GetWndHandle()));
    EXPECT_FALSE(::PostMessageW(window.GetWndHandle(), kAsk, 0, 0));
    EXPECT_TRUE(window.Create());
    EXPECT_TRUE(::IsWindow(window.GetWndHandle()));
    window.Destroy();
    std::thread([&] { ASSERT_TRUE(window.Create()); }).join();
    window.Destroy();
    EXPECT_FALSE(window.Created());
}

TEST(MsgWnd, PostsAndSends)
{
    MsgWnd window;
    EXPECT_FALSE(window.SendMessageW(kAsk, 1, 0));
    ASSERT_TRUE(window.Create());
    EXPECT_TRUE(window.SendMessageW(kAsk, 1, 0));
    EXPECT_FALSE(window.SendMessageW(kAsk, 0, 0));
    EXPECT_TRUE(window.PostMessageW(kAsk, 2, 0));
    EXPECT_TRUE(window.PostMessageDebug(kAsk, 3, 0));
    EXPECT_EQ(window.seen.size(), 2U);
    EXPECT_EQ(Pump(), 2);
    ASSERT_EQ(window.seen.size(), 4U);
    EXPECT_EQ(window.seen[3].wParam, 3U);
}

TEST(MsgWnd, PostWithoutAWindowGoesToTheCallingThread)
{
    MsgWnd window;
    EXPECT_TRUE(window.PostMessageW(kAsk, 2, 0));
    MSG message{};
    ASSERT_TRUE(::PeekMessageW(&message, nullptr, kAsk, kAsk, PM_REMOVE));
    EXPECT_EQ(message.hwnd, nullptr);
    EXPECT_EQ(message.wParam, 2U);
}

TEST(MsgWnd, SharesOneClassAmongRacingThreads)
{
    OnThreads(8,
              [](int)
              {
                  MsgWnd window;
                  NamedWnd named;
                  EXPECT_TRUE(window.Create() && named.Create());
              });
    EXPECT_STREQ(qvlib::CTLMsgWnd::GetMsgWndClassName(), L"QVMSGWNDCLASSu");
    WNDCLASSEXW type{};
    type.cbSize = sizeof type;
    ASSERT_TRUE(::GetClassInfoExW(nullptr, L"QVMSGWNDCLASSu", &type));
    EXPECT_EQ(type.style, CS_GLOBALCLASS);
    ASSERT_TRUE(::GetClassInfoExW(nullptr, NamedWnd().GetMsgWndClassName(), &type));
    EXPECT_EQ(type.style, 0U);
}

TEST(NamedClassWnd, WithoutAUsableClassNameHasNoWindow)
{
    Probe<qvlib::CTLNamedClassWnd> window{qvlib::CQVString(L"")};
    EXPECT_FALSE(window.Create());
    EXPECT_FALSE(window.Created());
}
