#include "qvlib/DestroyedMarker.h"

namespace qvlib
{

SimpleDestroyedMarker::~SimpleDestroyedMarker()
{
    // Each record gets its own word, so that it answers after its neighbours have left the stack.
    State * word = &m_value;
    while (*word > Destroyed)
    {
        LinkRecord * const record = StateAsRecord(*word);
        *word = Destroyed;
        word = &record->next;
    }
    *word = Destroyed;
}

} // namespace qvlib
