// One enum, several views: filtered, in a context, in another language, as a variable.

#include "example.h"

#include <qvlib/DynamicEnum.h>
#include <qvlib/Settings.h>
#include <qvlib/StringResourcesTable.h>

int main()
{
    qvlib::EnableDynamicEnumFailMessage(false);
    auto const services = LoadEnum("ServiceLevel.xml");

    // Filters say where a value is offered.
    for (wchar_t const * mode : {L"Air", L"Sea", L"Road"})
    {
        qvlib::Settings where;
        where.SetProperty(L"Carriage", mode);
        auto const offered = services->Filter(where);
        std::cout << Utf8(std::wstring(mode)) << " offers";
        for (auto const & value : offered->GetValues())
            std::cout << ' ' << Utf8(value->GetName());
        std::cout << '\n';
    }

    // Overrides say what it is called in a context.
    qvlib::Settings web;
    web.SetProperty(L"Channel", L"Web");
    auto const express = services->FindName(L"Express");
    std::cout << "Express is called " << Utf8(express->GetDisplay()) << ", on the web "
              << Utf8(express->GetDisplay(web)) << '\n';

    // A string table replaces displays while an enum is being put together, before it is shared.
    qvlib::StringResourcesTable german;
    german.FromXml(*LoadXmlFile("Strings.de.xml"));
    qvlib::CTLDynamicEnumMetadata localised;
    for (auto const & value : services->GetValues())
    {
        auto translated = std::make_shared<qvlib::CTLEnumValueDefinition>(*value);
        translated->ReplaceDisplayStrings(german);
        localised.AddValue(translated);
    }
    for (auto const & value : localised.GetValues())
        std::cout << Utf8(value->GetName()) << " is " << Utf8(value->GetDisplay()) << " in German\n";

    // A variable of an enum type.
    auto const packaging = LoadEnum("Packaging.xml");
    qvlib::CTLDynamicEnum wrapping(packaging);
    std::cout << "The usual packaging is " << Utf8(wrapping.GetDisplay()) << '\n';
    wrapping = L"Drum";
    auto const [known, most] = wrapping.GetDefinition()->TryGetCustomAttribute<double>(L"MaxWeight");
    std::cout << "A " << Utf8(wrapping.GetDisplay()) << " (code " << wrapping.GetCode() << ") holds up to " << most
              << " kg\n";
    std::cout << "Can a box be set? " << (wrapping.TrySetValue(L"Box") ? "yes" : "no") << '\n';
}
