// CTLRectF: a rectangle of four numbers, and its archive record.
#pragma once

#include "qvlib/export.h"

class CArchive;

namespace qvlib
{

/// A plain aggregate; nothing keeps the edges in order. Thread-compatible.
class CTLRectF
{
public:
    double left = 0;
    double top = 0;
    double right = 0;
    double bottom = 0;

    friend bool operator==(CTLRectF const & a, CTLRectF const & b) noexcept
    {
        return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
    }
};

/// 32 bytes, out of the declared order: top, bottom, left, right.
QVLIB_API CArchive & operator<<(CArchive & archive, CTLRectF const & rect);
QVLIB_API CArchive & operator>>(CArchive & archive, CTLRectF & rect);

} // namespace qvlib
