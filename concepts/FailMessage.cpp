#include "qvlib/DynamicEnumMetadata.h"
#include "qvlib/TextFunctions.h"
#include "qvlib/host/debug.h"

#include <atomic>

namespace qvlib
{

namespace
{

// Relaxed: a switch, which orders nothing else.
std::atomic<bool> s_messageEnabled{true};

} // namespace

void EnableDynamicEnumFailMessage(bool enable) noexcept { s_messageEnabled.store(enable, std::memory_order_relaxed); }

void FailMessage(bool ok, wchar_t const * subject, wchar_t const * context, int line)
{
    if (ok || !s_messageEnabled.load(std::memory_order_relaxed))
        return;
    std::wstring text = L"Failed Dynamic Enum:";
    text.append(TLStringOrEmpty(subject)).append(L", Context:").append(TLStringOrEmpty(context));
    text.append(L", Line:").append(std::to_wstring(line)).append(L"\n");
    MessageBoxW(GetDesktopWindow(), text.c_str(), L"Error", MB_OK);
}

} // namespace qvlib
