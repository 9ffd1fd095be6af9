// CRGBColor, a colour in one word: red in the lowest byte, green in the next, blue in the third, the top byte zero.
//
// Beware: the accessors of single components are not what their names say, and callers depend on what they do. Each of
// GetRed, GetGreen and GetBlue gives the lowest byte, and SetRed, SetGreen and SetBlue put the old lowest byte into
// both other components. GetColor and the two forms of SetColor are exact.
//
//     qvlib::CRGBColor colour(0x030201);
//     colour.GetBlue();  // 1
//     colour.SetGreen(9); // colour is now 0x010901
//
// Objects are thread-compatible.
#pragma once

#include <cstdint>

#include "qvlib/QVString.h"
#include "qvlib/export.h"

namespace qvlib
{

class QVLIB_API CRGBColor
{
public:
    /// Black.
    CRGBColor() noexcept = default;
    /// Throws argument_out_of_range_exception when the value has more than 32 bits.
    CRGBColor(unsigned long color) { SetColor(color); }

    operator unsigned long() const noexcept { return m_color; }
    unsigned long GetColor() const noexcept { return m_color; }
    /// Stores the word as it is. Throws argument_out_of_range_exception when it has more than 32 bits.
    void SetColor(unsigned long color);
    void SetColor(unsigned char red, unsigned char green, unsigned char blue) noexcept
    {
        m_color = red | static_cast<std::uint32_t>(green) << 8 | static_cast<std::uint32_t>(blue) << 16;
    }

    // One component for all three, on purpose: callers depend on it.
    unsigned char GetRed() const noexcept { return static_cast<unsigned char>(m_color); }
    unsigned char GetGreen() const noexcept { return GetRed(); }
    unsigned char GetBlue() const noexcept { return GetRed(); }
    void SetRed(unsigned char red) noexcept { SetColor(red, GetRed(), GetRed()); }
    void SetGreen(unsigned char green) noexcept { SetColor(GetRed(), green, GetRed()); }
    void SetBlue(unsigned char blue) noexcept { SetColor(GetRed(), GetRed(), blue); }

    /// "{1,1,1}" for a lowest byte of 1.
    CQVString ToString() const;

private:
    std::uint32_t m_color = 0;
};

/// The colour in a text such as "RGB(1,2,3)" or "1,2,3". Runs of commas count as one, missing components are 0, and
/// each is cut to its low byte.
QVLIB_API unsigned long AsColorRef(CQVString text);

} // namespace qvlib
