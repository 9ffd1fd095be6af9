#include "qvlib/EventSink.h"
#include "qvlib/framework/connectionpoint.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace
{

constexpr IID kPrices{0x3B0C1F7E, 0x51D2, 0x4E1A, {0x8F, 0x33, 0x10, 0x6A, 0x9E, 0x0D, 0x77, 0x01}};
constexpr IID kOther{0x3B0C1F7E, 0x51D2, 0x4E1A, {0x8F, 0x33, 0x10, 0x6A, 0x9E, 0x0D, 0x77, 0x02}};

/// A source that calls its sinks.
class CExchange : public CCmdTarget
{
public:
    CExchange() { EnableConnections(); }

    void Fire(wchar_t const * name, double price)
    {
        _variant_t arguments[2] = {_variant_t(price), _variant_t(name)};
        DISPPARAMS parameters{arguments, nullptr, 2, 0};
        for (POSITION at = m_xPrices.GetStartPosition(); at != nullptr;)
        {
            _com_ptr_t<IUnknown> const sink(m_xPrices.GetNextConnection(at)); // kept while it runs
            static_cast<IDispatch *>(sink.GetInterfacePtr())
                ->Invoke(1, GUID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr);
        }
    }
    _com_ptr_t<IUnknown> Unknown() { return _com_ptr_t<IUnknown>(GetInterface(&IID_IUnknown)); }
    std::size_t Sinks() const
    {
        std::size_t count = 0;
        for (POSITION at = m_xPrices.GetStartPosition(); at != nullptr; m_xPrices.GetNextConnection(at))
            ++count;
        return count;
    }
    ULONG References() { return InternalAddRef(), InternalRelease(); }
    IConnectionPoint * Point() { return m_xPrices.GetConnectionPoint(); }

    int most = -1;
    int connected = 0;

    BEGIN_CONNECTION_PART(CExchange, Prices)
    CONNECTION_IID(kPrices)
    int GetMaxConnections() override { return Exchange().most; }
    void OnAdvise(BOOL came) override { Exchange().connected += came ? 1 : -1; }
    CExchange & Exchange() { return static_cast<CExchange &>(Owner()); }
    END_CONNECTION_PART(Prices)
    DECLARE_CONNECTION_MAP()
};

BEGIN_CONNECTION_MAP(CExchange, CCmdTarget)
CONNECTION_PART(CExchange, kPrices, Prices)
END_CONNECTION_MAP()

class CPriceSink : public CQVEventSink
{
    DECLARE_INTERFACE_MAP()
    DECLARE_DISPATCH_MAP()

public:
    explicit CPriceSink(IID const & events = kPrices) { SetUUID(events); }

    void OnPrice(wchar_t const * name, double price)
    {
        heard.push_back(name + std::to_wstring(static_cast<int>(price)));
        if (leaves)
            DisconnectSink();
    }
    ULONG References() { return InternalAddRef(), InternalRelease(); }

    std::vector<std::wstring> heard;
    bool leaves = false;
};

BEGIN_INTERFACE_MAP(CPriceSink, CQVEventSink)
INTERFACE_PART(CPriceSink, kPrices, Dispatch)
END_INTERFACE_MAP()
BEGIN_DISPATCH_MAP(CPriceSink, CQVEventSink)
DISP_FUNCTION_ID(CPriceSink, L"Price", 1, OnPrice, VT_EMPTY, VTS_BSTR VTS_R8)
END_DISPATCH_MAP()

class EventSinkTest : public ::testing::Test
{
protected:
    CExchange source;
};

using Heard = std::vector<std::wstring>;

TEST_F(EventSinkTest, HearsTheEventsOfItsSource)
{
    CPriceSink sink;
    EXPECT_EQ(sink.DisconnectSink(), 1); // nothing to do
    EXPECT_EQ(sink.ConnectSink(source.Unknown()), 1);
    EXPECT_EQ(source.Sinks(), 1U);
    EXPECT_EQ(sink.References(), 1U);   // the connection does not keep it
    EXPECT_EQ(source.References(), 2U); // but it keeps the source
    source.Fire(L"gold", 7);
    EXPECT_EQ(sink.heard, (Heard{L"gold7"}));

    EXPECT_EQ(sink.DisconnectSink(), 1);
    EXPECT_EQ(source.Sinks(), 0U);
    EXPECT_EQ(sink.References(), 1U);
    EXPECT_EQ(source.References(), 1U);
    source.Fire(L"gold", 8);
    EXPECT_EQ(sink.heard.size(), 1U);
    EXPECT_EQ(sink.DisconnectSink(), 1);
}

TEST_F(EventSinkTest, MovesToAnotherSource)
{
    CPriceSink sink;
    CExchange other;
    EXPECT_EQ(sink.ConnectSink(source.Unknown()), 1);
    EXPECT_EQ(sink.ConnectSink(other.Unknown()), 1);
    EXPECT_EQ(source.Sinks(), 0U);
    EXPECT_EQ(other.Sinks(), 1U);
    EXPECT_EQ(source.References(), 1U);
    EXPECT_EQ(sink.ConnectSink(other.Unknown()), 1); // anew
    EXPECT_EQ(other.Sinks(), 1U);
    sink.DisconnectSink();
    EXPECT_EQ(sink.References(), 1U);
}

TEST_F(EventSinkTest, HoldsNothingAfterAFailure)
{
    CPriceSink stranger(kOther); // a source without such events
    EXPECT_EQ(stranger.ConnectSink(source.Unknown()), 0);
    CQVEventSink plain; // a sink that does not answer for them
    EXPECT_EQ(plain.ConnectSink(source.Unknown()), 0);
    CPriceSink sink;
    EXPECT_EQ(sink.ConnectSink(nullptr), 0);
    CPriceSink notASource;
    EXPECT_EQ(sink.ConnectSink(_com_ptr_t<IUnknown>(notASource.GetInterface(&IID_IUnknown))), 0);
    source.most = 0;
    EXPECT_EQ(sink.ConnectSink(source.Unknown()), 0);
    for (CQVEventSink * const one : std::initializer_list<CQVEventSink *>{&stranger, &plain, &sink})
        EXPECT_EQ(one->DisconnectSink(), 1);
    EXPECT_EQ(source.References(), 1U);
    EXPECT_EQ(source.Sinks(), 0U);
    EXPECT_EQ(sink.References(), 1U);
}

TEST_F(EventSinkTest, SinksMayLeaveWhileTheyAreCalled)
{
    CPriceSink sinks[4];
    for (CPriceSink & sink : sinks)
        ASSERT_EQ(sink.ConnectSink(source.Unknown()), 1);
    sinks[1].leaves = sinks[2].leaves = true;
    source.Fire(L"a", 1);
    EXPECT_EQ(source.Sinks(), 2U);
    source.Fire(L"b", 2);
    EXPECT_EQ(sinks[0].heard, (Heard{L"a1", L"b2"}));
    EXPECT_EQ(sinks[1].heard, (Heard{L"a1"}));
    EXPECT_EQ(sinks[2].heard, (Heard{L"a1"}));
    EXPECT_EQ(sinks[3].heard, (Heard{L"a1", L"b2"}));
    EXPECT_EQ(source.connected, 2);
    sinks[0].DisconnectSink();
    sinks[3].DisconnectSink();
}

TEST_F(EventSinkTest, GivesTheSourceUpWhateverItAnswers)
{
    CPriceSink sink;
    ASSERT_EQ(sink.ConnectSink(source.Unknown()), 1);
    sink.InternalAddRef(); // for the source, which holds none of its own and gives one back as it drops the sink
    ASSERT_EQ(source.Point()->Unadvise(1), S_OK);
    EXPECT_EQ(sink.DisconnectSink(), 0);
    EXPECT_EQ(source.References(), 1U);
    EXPECT_EQ(sink.References(), 1U);
}

TEST(EventSink, ThrowsWhenItCannotGiveItsInterface)
{
    class CBroken : public CPriceSink
    {
    public:
        IUnknown * GetInterfaceHook(void const *) override { AfxThrowOleException(E_FAIL); }
    };
    CExchange source;
    CBroken broken;
    EXPECT_THROW(broken.ConnectSink(source.Unknown()), std::exception);
    EXPECT_EQ(source.References(), 1U);
    EXPECT_EQ(broken.DisconnectSink(), 1);
}

TEST(EventSink, IsMadeFromItsRecord)
{
    std::unique_ptr<CObject> const made(RUNTIME_CLASS(CQVEventSink)->CreateObject());
    ASSERT_NE(made, nullptr);
    EXPECT_STREQ(CQVEventSink::classCQVEventSink.m_lpszClassName, "CQVEventSink");
    EXPECT_TRUE(made->IsKindOf(RUNTIME_CLASS(CCmdTarget)));
}

TEST_F(EventSinkTest, PointsAndConnectionsCanBeWalked)
{
    CPriceSink sink;
    ASSERT_EQ(sink.ConnectSink(source.Unknown()), 1);
    IConnectionPointContainer * container = nullptr;
    ASSERT_EQ(source.Point()->GetConnectionPointContainer(&container), S_OK);
    IEnumConnectionPoints * points = nullptr;
    ASSERT_EQ(container->EnumConnectionPoints(&points), S_OK);
    IConnectionPoint * got[2] = {};
    ULONG count = 9;
    EXPECT_EQ(points->Next(2, got, &count), S_FALSE);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(got[0], source.Point());
    EXPECT_EQ(points->Skip(1), S_FALSE);
    EXPECT_EQ(points->Reset(), S_OK);
    EXPECT_EQ(points->Skip(1), S_OK);
    IID iid{};
    EXPECT_EQ(got[0]->GetConnectionInterface(&iid), S_OK);
    EXPECT_TRUE(iid == kPrices);

    IEnumConnections * connections = nullptr;
    ASSERT_EQ(got[0]->EnumConnections(&connections), S_OK);
    got[0]->Release();
    EXPECT_EQ(connections->Next(2, nullptr, nullptr), E_POINTER);
    IEnumConnections * copy = nullptr;
    ASSERT_EQ(connections->Clone(&copy), S_OK);
    CONNECTDATA data{};
    EXPECT_EQ(connections->Next(1, &data, nullptr), S_OK);
    EXPECT_EQ(data.dwCookie, 1U);
    data.pUnk->Release();
    EXPECT_EQ(copy->Next(1, &data, nullptr), S_OK);
    data.pUnk->Release();
    EXPECT_EQ(copy->Next(1, &data, nullptr), S_FALSE);
    for (IUnknown * const held : std::initializer_list<IUnknown *>{points, connections, copy, container})
        held->Release();

    EXPECT_EQ(source.Point()->Unadvise(77), CONNECT_E_NOCONNECTION);
    IConnectionPoint * point = source.Point();
    EXPECT_EQ(container->FindConnectionPoint(kOther, &point), CONNECT_E_NOCONNECTION);
    EXPECT_EQ(point, nullptr);
    sink.DisconnectSink();
    EXPECT_EQ(source.References(), 1U);
    EXPECT_EQ(sink.References(), 1U);
}

} // namespace
