// SimpleDestroyedMarker: lets code on the stack find out that the object it works on has been destroyed meanwhile.
//
// An object holds a marker as a member. Whoever calls out from the object's code hangs a link record from the stack
// into the marker first; when the marker dies, every record hung into it says Destroyed, without the object being
// touched. Records are made by a class derived from the marker, which alone sees its value:
//
//     class Marker : public qvlib::SimpleDestroyedMarker
//     {
//     public:
//         class Watch
//         {
//         public:
//             explicit Watch(Marker & marker) : m_record{&marker, marker.AsState()}
//             {
//                 marker.AsState() = RecordAsState(&m_record);
//             }
//             ~Watch()
//             {
//                 if (m_record.next != Destroyed)
//                     static_cast<Marker *>(m_record.owner)->AsState() = m_record.next;
//             }
//             bool IsDestroyed() const { return m_record.next == Destroyed; }
//         private:
//             LinkRecord m_record;
//         };
//     };
//
// Records leave in the reverse order of their coming, as stack objects do. Thread-affine: one thread, no locks.
#pragma once

#include <cstdint>

#include "qvlib/export.h"

namespace qvlib
{

class QVLIB_API SimpleDestroyedMarker
{
public:
    /// A state; in a marker's or a record's word also the address of a link record, which is always greater than 2.
    enum State : std::intptr_t
    {
        Alive = 0,
        Destroying = 1,
        Destroyed = 2
    };

    SimpleDestroyedMarker() noexcept = default;
    SimpleDestroyedMarker(SimpleDestroyedMarker const &) = delete;
    SimpleDestroyedMarker & operator=(SimpleDestroyedMarker const &) = delete;
    /// Says Destroyed in every record of the chain.
    ~SimpleDestroyedMarker();

    /// The state, found at the far end of the chain of records when there is one.
    State GetState() { return *FarEnd(); }
    /// Says Destroying at the far end of the chain: what a destructor calls first.
    void SetDestroying() { *FarEnd() = Destroying; }
    bool IsAlive() const { return *FarEnd() == Alive; }
    bool IsDestroying() const { return *FarEnd() == Destroying; }
    bool IsDestroyed() const { return *FarEnd() == Destroyed; }

protected:
    /// What hangs in the chain. The marker reads and writes the second word only.
    struct LinkRecord
    {
        void * owner; ///< the maker's business: the marker or its owner
        State next;   ///< a state, or the address of the next record
    };

    /// Whether the marker's own word is a state, not the address of a record.
    bool HasState() const noexcept { return m_value <= Destroyed; }
    /// The marker's own word.
    State & AsState() const noexcept { return m_value; }

    /// The word that stands for a record, and back.
    static State RecordAsState(LinkRecord * record) noexcept
    {
        return static_cast<State>(reinterpret_cast<std::intptr_t>(record));
    }
    static LinkRecord * StateAsRecord(State word) noexcept
    {
        return reinterpret_cast<LinkRecord *>(static_cast<std::intptr_t>(word));
    }

private:
    State * FarEnd() const noexcept
    {
        State * word = &m_value;
        while (*word > Destroyed)
            word = &StateAsRecord(*word)->next;
        return word;
    }

    mutable State m_value = Alive;
};

} // namespace qvlib
