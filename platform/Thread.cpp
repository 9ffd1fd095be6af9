#include "qvlib/Thread.h"

#include "qvlib/host/thread.h"

namespace qvlib
{

unsigned long Thread::GetExitCode(void * threadHandle)
{
    DWORD code = 0;
    return GetExitCodeThread(threadHandle, &code) != FALSE ? code : 0;
}

bool Thread::IsAlive(void * threadHandle) { return GetExitCode(threadHandle) == STILL_ACTIVE; }

} // namespace qvlib
