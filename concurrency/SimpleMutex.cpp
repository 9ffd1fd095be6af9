#include "qvlib/SimpleMutex.h"

#include "qvlib/host/thread.h"

namespace qvlib
{

void CTLSimpleMutex::GiveWay() noexcept { Sleep(0); }

} // namespace qvlib
