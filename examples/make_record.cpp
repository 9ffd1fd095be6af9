// Make a record, store it in an archive, read it back.

#include "example.h"

#include <qvlib/DynamicConcept.h>
#include <qvlib/framework/archive.h>
#include <qvlib/framework/memfile.h>

int main()
{
    // Failed look-ups must not open a message box in a program without a window.
    qvlib::EnableDynamicEnumFailMessage(false);
    auto const metadata = LoadShipment();

    qvlib::CTLDynamicConcept shipment(metadata);
    shipment = L"Air"; // writes the selector and so begins a new record
    shipment.Set(L"Reference", L"S-1001");
    shipment.Set(L"Weight", L"12.5");      // text is parsed into the field's type
    shipment.Set(L"Pieces", 3);            // or give the type itself
    shipment.Set(L"Packaging", L"pallet"); // a value of an enum goes by its name, in any case

    if (!shipment.TrySet(L"Packaging", L"Crate"))
        std::cout << "Crate is no packaging\n";
    if (!shipment.TrySet(L"Colour", L"red"))
        std::cout << "A shipment has no colour\n";

    // A file on disk would be a CFile; the archive does not see the difference.
    CMemFile file;
    {
        CArchive archive(&file, CArchive::store);
        shipment.Serialize(archive);
        archive.Close();
    }
    std::cout << "The archive has " << file.GetLength() << " bytes\n";

    file.SeekToBegin();
    qvlib::CTLDynamicConcept copy(metadata);
    CArchive archive(&file, CArchive::load);
    copy.Serialize(archive);
    std::cout << "Read back " << (copy == shipment ? "equal" : "different") << ":\n";
    for (auto const & item : copy)
    {
        // Items are kept by id and enum values by code; the stored form has their names.
        auto const stored = copy.PrepareForStoring(item);
        std::cout << "  " << Utf8(item.first.ToString()) << ' ' << Utf8(stored.first.GetName()) << " = "
                  << Utf8(stored.second.GetAsString()) << '\n';
    }
    double const weight = copy.Get(L"Weight").GetDouble();
    std::cout << "Twice the weight is " << 2 * weight << '\n';
}
