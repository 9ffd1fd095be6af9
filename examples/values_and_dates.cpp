// Delimited strings, tagged values and dates.

#include "example.h"

#include <qvlib/DateTime.h>
#include <qvlib/DelimitedString.h>
#include <qvlib/GenericVal.h>
#include <qvlib/TimeSpan.h>

int main()
{
    // A string that is a list.
    qvlib::CDelimitedString ports(L"Bremen, Oslo,Riga");
    ports.AddToken(L"Ghent");
    std::cout << ports.GetTokenCount() << " ports, the second is " << Utf8(ports.GetTokenAt(1)) << '\n';
    ports.RemoveToken(L"Oslo");
    ports.Trim();
    std::cout << Utf8(ports) << '\n';

    // A value knows its type: equality never crosses types, and only what is called "GetAs" converts.
    for (wchar_t const * text : {L"12", L"12.5", L"TRUE", L"yes"})
    {
        qvlib::CGenericVal value;
        value.SmartConvert(text);
        std::cout << Utf8(std::wstring(text)) << " looks like a " << Utf8(std::wstring(value.GetType().ToString()))
                  << '\n';
    }
    std::cout << "Int 1 and Long 1 are " << (qvlib::CGenericVal(1) == qvlib::CGenericVal(1L) ? "equal" : "different")
              << '\n';
    qvlib::CGenericVal text(L"abc");
    double number = 0;
    std::cout << "A double from a text? " << (text.GetValue(number) ? "yes" : "no") << '\n';

    // Dates count days; differences are spans.
    qvlib::CDateTime const pickup(2024, 2, 27, 14, 30, 0);
    qvlib::CDateTime const delivery(2024, 3, 1, 9, 0, 0);
    qvlib::CTimeSpan const onTheWay = delivery - pickup;
    std::cout << "Picked up " << Utf8(pickup.Format(L"%Y-%m-%d %H:%M")) << ", delivered "
              << Utf8(delivery.Format(L"%Y-%m-%d %H:%M")) << ", " << onTheWay.GetTotalHours() << " hours on the way\n";
}
