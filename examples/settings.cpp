// Settings: typed values by name or number, some of them localised.

#include "example.h"

#include <qvlib/Settings.h>
#include <qvlib/StringResourcesTable.h>
#include <qvlib/XmlWriter.h>

int main()
{
    qvlib::Settings desk;
    if (!desk.FromXml(*LoadXmlFile("Settings.xml")))
        return 1;
    std::cout << "The settings of " << Utf8(desk.GetName()) << ":\n";
    for (auto const & [key, property] : desk)
        std::cout << "  " << Utf8(key.ToString()) << " = " << Utf8(property.value.GetAsString()) << " ("
                  << Utf8(std::wstring(property.value.GetType().ToString())) << ")\n";

    // Equality and access are strict about types: 250 was read as an Int.
    int pieces = 0;
    desk.GetProperty(L"MaxPieces").GetValue(pieces);
    std::cout << "At most " << pieces << " pieces; number 7 is " << Utf8(desk.GetProperty(7u).GetAsString()) << '\n';

    for (char const * table : {"Strings.de.xml", "Strings.fr.xml"})
    {
        qvlib::StringResourcesTable texts;
        texts.FromXml(*LoadXmlFile(table));
        desk.ProcessStringResources(texts);
        std::cout << Utf8(desk.GetProperty(L"Greeting").GetAsString()) << '\n';
    }

    // Another set of settings laid over them wins where both have a property.
    qvlib::Settings sunday;
    sunday.SetProperty(L"OpenOnSunday", true);
    sunday.SetProperty(L"MaxPieces", 50);
    desk.Merge(sunday);
    std::cout << Utf8(qvlib::XmlWriter::Write(desk.ToXml())) << '\n';
}
