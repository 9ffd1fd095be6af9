// Window classes, and who still uses them.
#pragma once

#include "qvlib/host/messages.h"

#include <atomic>
#include <cstddef>
#include <string>

namespace qvlib::host
{

struct WindowClass
{
    std::wstring name;
    std::string key; ///< the name folded
    WNDCLASSEXW record{};
    ATOM atom = 0;
    std::atomic<std::size_t> windows{0}; ///< added to under the table's lock
};

/// A class by its name or number, with one more window to its count; null when there is none.
WindowClass * UseWindowClass(LPCWSTR name) noexcept;
/// One window fewer; the class may go from then on.
void LeaveWindowClass(WindowClass & type) noexcept;

} // namespace qvlib::host
