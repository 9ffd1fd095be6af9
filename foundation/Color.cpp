#include "qvlib/Color.h"

#include "foundation/internal/narrow32.h"
#include "qvlib/host/crt.h"

namespace qvlib
{

void CRGBColor::SetColor(unsigned long color) { m_color = internal::NarrowULong(color); }

CQVString CRGBColor::ToString() const
{
    CQVString text;
    text.Format(L"{%d,%d,%d}", int{GetRed()}, int{GetGreen()}, int{GetBlue()});
    return text;
}

unsigned long AsColorRef(CQVString text)
{
    wchar_t const * at = text;
    if (text.GetLength() >= 4 && CQVString(at, 4) == L"RGB(")
        at += 4;
    unsigned char components[3] = {};
    for (unsigned char & component : components)
    {
        while (*at == L',')
            ++at;
        component = static_cast<unsigned char>(_wtoi(at)); // stops at the comma or the parenthesis by itself
        while (*at != 0 && *at != L',')
            ++at;
    }
    CRGBColor color;
    color.SetColor(components[0], components[1], components[2]);
    return color;
}

} // namespace qvlib
