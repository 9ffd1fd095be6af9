// How the platform's locale operations hand out text: the length with its NUL, or the size that is needed for size 0.
#pragma once

#include "qvlib/host/error.h"
#include "qvlib/host/types.h"

#include <cwchar>
#include <string_view>

namespace qvlib::host::internal
{

/// Whether the two name a buffer: a size of 0, or one above with a buffer. Leaves the reason otherwise.
inline bool IsBuffer(wchar_t const * buffer, int size)
{
    if (size == 0 || (size > 0 && buffer != nullptr))
    {
        return true;
    }
    SetLastError(ERROR_INVALID_PARAMETER);
    return false;
}

/// Copies a text and its NUL to a buffer that IsBuffer accepted; nothing when it does not fit.
inline int CopyOut(std::wstring_view text, wchar_t * buffer, int size)
{
    int const needed = static_cast<int>(text.size()) + 1;
    if (size != 0)
    {
        if (size < needed)
        {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return 0;
        }
        std::wmemcpy(buffer, text.data(), text.size());
        buffer[text.size()] = 0;
    }
    return needed;
}

} // namespace qvlib::host::internal
