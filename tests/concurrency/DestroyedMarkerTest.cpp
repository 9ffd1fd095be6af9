#include "qvlib/DestroyedMarker.h"
#include "qvlib/UseCount.h"
#include "support/threads.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <vector>

using qvlib_test::OnThreads;

namespace
{

class Marker : public qvlib::SimpleDestroyedMarker
{
public:
    using SimpleDestroyedMarker::HasState;

    /// Watches a marker from the stack.
    class Watch
    {
    public:
        explicit Watch(Marker & marker) : m_record{&marker, marker.AsState()}
        {
            marker.AsState() = RecordAsState(&m_record);
        }
        ~Watch()
        {
            if (m_record.next != Destroyed)
                static_cast<Marker *>(m_record.owner)->AsState() = m_record.next;
        }
        State Word() const { return m_record.next; }
        bool IsLinkTo(Watch const & other) const { return StateAsRecord(m_record.next) == &other.m_record; }

    private:
        LinkRecord m_record;
    };
};

} // namespace

TEST(SimpleDestroyedMarker, TellsItsStateThroughAChain)
{
    auto marker = std::make_unique<Marker>();
    EXPECT_TRUE(marker->IsAlive());
    EXPECT_TRUE(marker->HasState());
    {
        Marker::Watch const outer(*marker);
        Marker::Watch const inner(*marker);
        EXPECT_FALSE(marker->HasState());
        EXPECT_TRUE(marker->IsAlive());
        marker->SetDestroying();
        EXPECT_TRUE(marker->IsDestroying());
        EXPECT_EQ(outer.Word(), Marker::Destroying) << "the far end is the record that came first";
        EXPECT_TRUE(inner.IsLinkTo(outer)) << "only the last word changes";
        EXPECT_FALSE(marker->HasState());
        marker.reset();
        EXPECT_EQ(outer.Word(), Marker::Destroyed);
        EXPECT_EQ(inner.Word(), Marker::Destroyed);
    } // the records leave without touching the marker
}

TEST(SimpleDestroyedMarker, IsAsBeforeWhenItsRecordsHaveLeft)
{
    Marker marker;
    {
        Marker::Watch const outer(marker);
        {
            Marker::Watch const inner(marker);
        }
        EXPECT_EQ(outer.Word(), Marker::Alive);
        EXPECT_FALSE(marker.HasState());
    }
    EXPECT_TRUE(marker.HasState());
    EXPECT_EQ(marker.GetState(), Marker::Alive);
    marker.SetDestroying();
    EXPECT_EQ(marker.GetState(), Marker::Destroying);
    EXPECT_FALSE(marker.IsDestroyed());
}

TEST(UseCount, TellsOfNestingAndOfTheOwnersEnd)
{
    std::optional<qvlib::CTLUseCount> member(std::in_place);
    EXPECT_EQ(member->OtherHolders(), 0);
    qvlib::CTLUseCount const outer(*member);
    EXPECT_EQ(member->OtherHolders(), 1);
    {
        qvlib::CTLUseCount const inner(outer);
        EXPECT_EQ(member->OtherHolders(), 2);
    }
    EXPECT_EQ(outer.OtherHolders(), 1);
    member.reset();
    EXPECT_EQ(outer.OtherHolders(), 0);
}

TEST(UseCount, IsSharedByThreads)
{
    qvlib::CTLUseCount const count;
    OnThreads(4,
              [copy = count](int)
              {
                  for (int round = 0; round < 1000; ++round)
                      qvlib::CTLUseCount const another(copy);
              });
    EXPECT_EQ(count.OtherHolders(), 0);
}
