// Keep values, and a whole record, in the registry.
//
// The registry lies in the folder that QVLIB_REGISTRY names, by default in the user's configuration.

#include "example.h"

#include <qvlib/DynamicConcept.h>
#include <qvlib/Registry.h>

int main()
{
    qvlib::EnableDynamicEnumFailMessage(false);
    wchar_t const * const place = L"Software\\Example\\Shipping";
    {
        qvlib::CRegistry registry(place, true, KEY_ALL_ACCESS);
        registry.SetValue(L"LastReference", L"S-1001");
        registry.SetValue(L"Count", 17);
        registry.SetValue(L"Rate", 0.0125);
    }
    qvlib::CRegistry registry(place, false, KEY_ALL_ACCESS);
    std::cout << "Reference " << Utf8(registry.GetString(L"LastReference", L"none")) << ", count "
              << registry.GetInteger(L"Count", 0) << ", rate " << registry.GetDouble(L"Rate", 0) << ", colour "
              << Utf8(registry.GetString(L"Colour", L"none")) << '\n';

    auto const metadata = LoadShipment();
    qvlib::CTLDynamicConcept shipment(metadata);
    shipment = L"Sea";
    shipment.Set(L"Vessel", L"Polarstern");
    shipment.Set(L"Weight", 812.25);
    shipment.Set(L"Insured", true);

    // Every item becomes a text; what type it is read back as comes from the metadata.
    registry.Down(L"Draft", true);
    shipment.SerializeRegistry(registry, true);
    qvlib::CQVString name;
    for (unsigned long i = 0; registry.EnumValue(i, name); ++i)
        std::cout << "  " << Utf8(name) << " = " << Utf8(registry.GetString(name, L"")) << '\n';

    qvlib::CTLDynamicConcept copy(metadata);
    copy.SerializeRegistry(registry, false);
    std::cout << "Read back " << (copy == shipment ? "equal" : "different") << '\n';

    registry.Root();
    registry.DeleteKey(place, true);
    std::cout << "Key " << (registry.KeyExist(place) ? "still there" : "gone") << '\n';
}
